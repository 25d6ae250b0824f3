#include "Platform/Network/internal/NetworkWatch.h"

#include <linux/rtnetlink.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <mutex>

#include "Platform/Dispatch/internal/ServiceThread.h"
#include "Platform/Network/internal/NetlinkSocket.h"
#include "Platform/Network/internal/ReachabilityTarget.h"

namespace qz::internal {

namespace {

using namespace std::chrono_literals;

/// One change of the network is several messages: the link's, its addresses', its routes'.
constexpr auto quietTime = 20ms;
constexpr auto longestBurst = 200ms;

constexpr unsigned groupOf(int number) {
    return 1U << (number - 1);
}
constexpr unsigned groups = groupOf(RTNLGRP_LINK) | groupOf(RTNLGRP_IPV4_IFADDR) |
                            groupOf(RTNLGRP_IPV4_ROUTE) | groupOf(RTNLGRP_IPV4_RULE) |
                            groupOf(RTNLGRP_IPV6_IFADDR) | groupOf(RTNLGRP_IPV6_ROUTE) |
                            groupOf(RTNLGRP_IPV6_RULE);

}  // namespace

struct NetworkWatch::Registry {
    std::mutex mutex;  // guards what follows, and the targets
    std::shared_ptr<NetworkWatch> running;
};

NetworkWatch::Registry& NetworkWatch::registry() {
    static auto& registry = *new Registry;  // threads may use it until the process is gone
    return registry;
}

NetworkWatch::NetworkWatch(std::unique_ptr<NetlinkSocket> socket, FileDescriptor wakeUp)
    : socket_(std::move(socket)), wakeUp_(std::move(wakeUp)) {}

std::shared_ptr<NetworkWatch> NetworkWatch::start() {
    auto socket = NetlinkSocket::open(groups);
    FileDescriptor wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!socket || !wakeUp) {
        return nullptr;
    }
    std::shared_ptr<NetworkWatch> watch(new NetworkWatch(std::move(socket), std::move(wakeUp)));
    auto own = std::make_unique<std::shared_ptr<NetworkWatch>>(watch);
    const auto begin = [](void* context) -> void* {
        const std::unique_ptr<std::shared_ptr<NetworkWatch>> self(
            static_cast<std::shared_ptr<NetworkWatch>*>(context));
        ::pthread_setname_np(::pthread_self(), "qz-reachability");
        (*self)->run();
        return nullptr;
    };
    if (!detail::startServiceThread(begin, own.get())) {
        return nullptr;
    }
    static_cast<void>(own.release());
    return watch;
}

bool NetworkWatch::add(const std::shared_ptr<ReachabilityTarget>& target) {
    auto& [mutex, running] = registry();
    const std::lock_guard lock(mutex);
    if (!running) {
        running = start();
    }
    if (!running) {
        return false;
    }
    running->targets_.emplace(target.get(), target);
    running->signal();
    return true;
}

void NetworkWatch::remove(const ReachabilityTarget& target) {
    auto& [mutex, running] = registry();
    const std::lock_guard lock(mutex);
    if (running && running->targets_.erase(&target) != 0 && running->targets_.empty()) {
        // Nobody waits for the thread: the last handle may have been released by it. The next one gets
        // another.
        running->isEnding_ = true;
        running->signal();
        running.reset();
    }
}

void NetworkWatch::wake() {
    auto& [mutex, running] = registry();
    const std::lock_guard lock(mutex);
    if (running) {
        running->signal();
    }
}

void NetworkWatch::signal() const {
    const std::uint64_t one = 1;
    // A counter that is full wakes as well.
    [[maybe_unused]] const auto written = ::write(*wakeUp_, &one, sizeof one);
}

void NetworkWatch::run() {
    std::optional<Clock::time_point> due;
    while (!isEnding_) {
        const bool hasChanged = waitForChange(due);
        if (hasChanged) {
            waitForEndOfBurst();
        }
        due.reset();
        for (const auto& target : targets()) {
            if (hasChanged) {
                target->networkChanged();
            }
            const auto next = target->resolveIfDue();
            due = due && next ? std::min(*due, *next) : (next ? next : due);
        }
    }
}

/// False when it was woken, or the time has come.
bool NetworkWatch::waitForChange(std::optional<Clock::time_point> until) const {
    std::array<pollfd, 2> events{{{socket_->descriptor(), POLLIN, 0}, {*wakeUp_, POLLIN, 0}}};
    const auto left = until ? std::chrono::ceil<std::chrono::milliseconds>(*until - Clock::now()) : -1ms;
    ::poll(events.data(), events.size(), until ? static_cast<int>(std::max(left, 0ms).count()) : -1);
    std::uint64_t count = 0;
    [[maybe_unused]] const auto size = ::read(*wakeUp_, &count, sizeof count);
    return socket_->drain();
}

void NetworkWatch::waitForEndOfBurst() const {
    const auto end = Clock::now() + longestBurst;
    pollfd event{socket_->descriptor(), POLLIN, 0};
    while (!isEnding_ && Clock::now() < end && ::poll(&event, 1, static_cast<int>(quietTime.count())) > 0) {
        static_cast<void>(socket_->drain());
    }
}

std::vector<std::shared_ptr<ReachabilityTarget>> NetworkWatch::targets() const {
    std::vector<std::shared_ptr<ReachabilityTarget>> alive;
    const std::lock_guard lock(registry().mutex);
    for (const auto& [key, target] : targets_) {
        if (auto one = target.lock()) {
            alive.push_back(std::move(one));
        }
    }
    return alive;
}

}  // namespace qz::internal
