#include "Platform/Dispatch/internal/DelayedSubmissions.h"

#include <pthread.h>

#include <algorithm>
#include <mutex>
#include <utility>

#include "Platform/Dispatch/internal/ServiceThread.h"

namespace qz::detail {
namespace {

constexpr std::chrono::seconds idleLife{2};

}  // namespace

DelayedSubmissions& DelayedSubmissions::shared() {
    static auto* const submissions = new DelayedSubmissions;
    return *submissions;
}

bool DelayedSubmissions::isLater(const Entry& left, const Entry& right) noexcept {
    return std::pair(left.time, left.number) > std::pair(right.time, right.number);
}

void DelayedSubmissions::add(Time time, QueueCore& queue, Item* item) {
    {
        const std::lock_guard lock(mutex_);
        if (!threadLives_)
            startThread();
        heap_.push_back({time, number_++, &queue, item});
        std::push_heap(heap_.begin(), heap_.end(), isLater);
        queue.retain();
        if (heap_.front().item != item)
            return;
        changes_.fetch_add(1, std::memory_order_release);
    }
    futexWake(changes_);
}

void DelayedSubmissions::startThread() {
    if (!startServiceThread(&run, this))
        endForLackOfThreads();
    threadLives_ = true;
}

/// The entries whose time has come, in order, and the time of the one after them.
std::vector<DelayedSubmissions::Entry> DelayedSubmissions::takeDue(Time now, Time& next) {
    std::vector<Entry> due;
    while (!heap_.empty() && heap_.front().time <= now) {
        std::pop_heap(heap_.begin(), heap_.end(), isLater);
        due.push_back(heap_.back());
        heap_.pop_back();
    }
    next = heap_.empty() ? now + idleLife : heap_.front().time;
    return due;
}

void* DelayedSubmissions::run(void* context) {
    pthread_setname_np(pthread_self(), "qz-delay");
    auto& self = *static_cast<DelayedSubmissions*>(context);
    Time next;
    for (bool waited = false;;) {
        std::vector<Entry> due;
        std::uint32_t changes = 0;
        {
            const std::lock_guard lock(self.mutex_);
            changes = self.changes_.load(std::memory_order_relaxed);
            if (waited && self.heap_.empty()) {
                self.threadLives_ = false;
                return nullptr;
            }
            due = self.takeDue(std::chrono::steady_clock::now(), next);
        }
        for (const Entry& entry : due) {
            entry.queue->submit(entry.item);
            entry.queue->release();
        }
        waited = !futexWaitFor(self.changes_, changes, next - std::chrono::steady_clock::now());
    }
}

}  // namespace qz::detail
