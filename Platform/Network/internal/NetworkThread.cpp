#include "Platform/Network/internal/NetworkThread.h"

#include <pthread.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "Platform/Network/internal/PartialFile.h"
#include "Platform/Network/internal/Transfer.h"

namespace qz::internal {

namespace {

/// How often idle times are checked and progress is told of, while anything is under way.
constexpr std::chrono::milliseconds interval{50};
constexpr int longWait = 3'600'000;  // milliseconds

}  // namespace

NetworkThread& NetworkThread::shared() {
    static auto* const thread = new NetworkThread;  // threads may use it until the process is gone
    return *thread;
}

NetworkThread::NetworkThread() : multi_((curl_global_init(CURL_GLOBAL_DEFAULT), curl_multi_init())) {
    std::thread([this] {
        ::pthread_setname_np(::pthread_self(), "qz-network");
        sigset_t all;
        ::sigfillset(&all);  // a connection that breaks while it is written to must not end the program
        ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
        run();
    }).detach();
    std::thread(&PartialFile::sweep).detach();
}

void NetworkThread::perform(std::function<void()> command) {
    bool isFirst = false;
    {
        const std::lock_guard lock(mutex_);
        isFirst = commands_.empty();
        commands_.push_back(std::move(command));
    }
    if (isFirst) {
        curl_multi_wakeup(multi_);
    }
}

void NetworkThread::run() {
    auto checked = std::chrono::steady_clock::now();
    for (;;) {
        runCommands();
        int running = 0;
        curl_multi_perform(multi_, &running);
        takeResults();
        const auto now = std::chrono::steady_clock::now();
        if (now - checked >= interval) {
            checked = now;
            checkTimes();
        }
        const int wait = hosts_.empty() ? longWait : static_cast<int>(interval.count());
        curl_multi_poll(multi_, nullptr, 0, wait, nullptr);
    }
}

void NetworkThread::runCommands() {
    std::vector<std::function<void()>> commands;
    {
        const std::lock_guard lock(mutex_);
        commands.swap(commands_);
    }
    for (const auto& command : commands) {
        command();
    }
}

void NetworkThread::takeResults() {
    int left = 0;
    while (const auto* message = curl_multi_info_read(multi_, &left)) {
        if (message->msg == CURLMSG_DONE) {
            void* owner = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &owner);
            static_cast<Transfer*>(owner)->ended(message->data.result);
        }
    }
}

void NetworkThread::checkTimes() {
    std::vector<std::shared_ptr<Transfer>> running;  // those that time out leave their host
    for (const auto& [key, host] : hosts_) {
        running.insert(running.end(), host.running.begin(), host.running.end());
    }
    for (const auto& transfer : running) {
        transfer->checkTime();
    }
}

void NetworkThread::admit(const std::shared_ptr<Transfer>& transfer) {
    auto& host = hosts_[transfer->hostKey()];
    host.waiting.push_back(transfer);
    startWaiting(host);
}

void NetworkThread::startWaiting(Host& host) {
    while (!host.waiting.empty() && host.running.size() < host.waiting.front()->maximumConnectionsPerHost()) {
        const auto next = host.waiting.front();
        host.waiting.pop_front();
        host.running.insert(next);
        next->start(multi_);
    }
}

void NetworkThread::release(const std::shared_ptr<Transfer>& transfer) {
    const auto place = hosts_.find(transfer->hostKey());
    if (place == hosts_.end()) {
        return;
    }
    auto& host = place->second;
    host.running.erase(transfer);
    std::erase(host.waiting, transfer);
    startWaiting(host);
    if (host.running.empty() && host.waiting.empty()) {
        hosts_.erase(place);
    }
}

}  // namespace qz::internal
