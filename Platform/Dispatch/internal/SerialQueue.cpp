#include "Platform/Dispatch/internal/SerialQueue.h"

#include "Platform/Dispatch/internal/Futex.h"
#include "Platform/Dispatch/internal/ServiceThread.h"
#include "Platform/Dispatch/internal/ThreadPool.h"
#include "Platform/Dispatch/internal/Waiter.h"

namespace qz::detail {
namespace {

constexpr unsigned batch = 256;  // blocks in a row while other tasks wait for the thread

}  // namespace

void SerialQueue::submit(Item* item) noexcept {
    if (push(item))
        schedule();
}

void SerialQueue::schedule() noexcept {
    ThreadPool::shared().submit(*this, DispatchPriority::standard);
}

/// True when the queue was idle: it is the caller's now, on behalf of the item. Otherwise the queue may be
/// gone on return.
bool SerialQueue::push(Item* item) noexcept {
    std::uint64_t state = state_.load(std::memory_order_relaxed);
    std::uint64_t pushed = 0;
    do {
        item->next = reinterpret_cast<Item*>(state & ~flags);
        pushed = reinterpret_cast<std::uintptr_t>(item) | held | (state & waiting);
    } while (
        !state_.compare_exchange_weak(state, pushed, std::memory_order_acq_rel, std::memory_order_relaxed));
    return state == 0;
}

/// The owner's next item, null when nothing waits.
Item* SerialQueue::takeNext() noexcept {
    if (backlog_ == nullptr && state_.load(std::memory_order_relaxed) != held) {
        auto* youngest = reinterpret_cast<Item*>(state_.exchange(held, std::memory_order_acq_rel) & ~flags);
        while (youngest != nullptr) {
            Item* const older = youngest->following();
            putBack(youngest);
            youngest = older;
        }
    }
    Item* const item = backlog_;
    if (item != nullptr)
        backlog_ = item->following();
    return item;
}

void SerialQueue::putBack(Item* item) noexcept {
    item->next = backlog_;
    backlog_ = item;
}

/// A synchronous owner looks at nothing but the word when it leaves.
void SerialQueue::markBacklog() noexcept {
    if (backlog_ != nullptr)
        state_.fetch_or(waiting, std::memory_order_relaxed);
}

bool SerialQueue::becomeIdle() noexcept {
    std::uint64_t alone = held;
    return state_.compare_exchange_strong(alone, 0, std::memory_order_release, std::memory_order_relaxed);
}

/// True when the queue belongs to the waiter of `item` now, or is gone; false when the waiter has given up.
bool SerialQueue::giveAway(Item* item) noexcept {
    if (item->role == Item::Role::farewell) {
        Item::recycle(item);
        delete this;
        return true;
    }
    if (chooseWaiter(*item)) {
        markBacklog();
        giveTurn(*item);
        return true;
    }
    Item::recycle(item);
    return false;
}

/// Passes the queue on to what was submitted first, from a thread that does not run asynchronous blocks.
void SerialQueue::passOn() noexcept {
    for (;;) {
        Item* const item = takeNext();
        if (item == nullptr) {
            if (becomeIdle())
                return;
        } else if (item->role == Item::Role::block) {
            putBack(item);
            return schedule();
        } else if (giveAway(item)) {
            return;
        }
    }
}

void SerialQueue::drain(Task& task) {
    auto& queue = static_cast<SerialQueue&>(task);
    const ThreadPool& pool = ThreadPool::shared();
    for (unsigned run = 0;;) {
        Item* const item = queue.takeNext();
        if (item == nullptr) {
            if (queue.becomeIdle())
                return;
        } else if (item->role != Item::Role::block) {
            if (queue.giveAway(item))
                return;
        } else if (run++ >= batch && pool.hasWaitingTasks()) {
            queue.putBack(item);
            return queue.schedule();
        } else {
            try {
                item->perform(*item);
            } catch (...) {
                endForException(queue.label().c_str());
            }
        }
    }
}

bool SerialQueue::waitForTurn(const std::stop_token* stop) {
    // Short blocks end while one spins. Nothing is overtaken: the queue is not idle while an item waits in
    // it.
    constexpr int spins = 100;
    std::uint64_t state = state_.load(std::memory_order_relaxed);
    for (int i = 0; i < spins && (state == 0 || state == held); ++i) {
        if (state == 0 &&
            state_.compare_exchange_weak(state, held, std::memory_order_acquire, std::memory_order_relaxed))
            return true;
        relax();
        state = state_.load(std::memory_order_relaxed);
    }
    Item* const item = Item::make(Item::Role::waiter, true);
    if (push(item)) {
        // The queue is the caller's, and its own item is the first of what there is.
        Item::recycle(takeNext());
        markBacklog();
        return true;
    }
    if (!awaitTurn(*item, stop))
        return false;
    Item::recycle(item);
    return true;
}

void SerialQueue::retire() noexcept {
    Item* const end = Item::make(Item::Role::farewell, true);
    if (push(end)) {
        Item::recycle(end);
        delete this;
    }
}

}  // namespace qz::detail
