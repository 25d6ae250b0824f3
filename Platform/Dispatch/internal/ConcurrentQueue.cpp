#include "Platform/Dispatch/internal/ConcurrentQueue.h"

#include <pthread.h>

#include <array>
#include <mutex>

#include "Platform/Dispatch/internal/ServiceThread.h"
#include "Platform/Dispatch/internal/ThreadPool.h"
#include "Platform/Dispatch/internal/Waiter.h"

namespace qz::detail {
namespace {

constexpr unsigned batch = 64;  // blocks in a row while other tasks wait for the thread

// So many contended turns are worth one look at all slots.
constexpr std::uint32_t biasThreshold = 256;

// A thread has its own line of slots, unless two share one by chance, and a queue has a place in each line.
constexpr std::size_t slotsPerLine = 8;
constexpr std::size_t lines = 256;
struct alignas(64) Line {
    std::array<std::atomic<const QueueCore*>, slotsPerLine> slots;
};
constinit std::array<Line, lines> slotTable{};

QueueCore::Slot slotFor(const QueueCore& queue) noexcept {
    constexpr std::uint64_t golden = 0x9E3779B97F4A7C15;  // Fibonacci hashing: Knuth, TAOCP 3, 6.4
    const std::uint64_t thread = static_cast<std::uint64_t>(pthread_self()) * golden;
    const std::uint64_t place = reinterpret_cast<std::uintptr_t>(&queue) * golden;
    return &slotTable[thread >> 56].slots[place >> 61];
}

static_assert(lines == 1 << 8 && slotsPerLine == 1 << 3, "what slotFor() shifts by");

}  // namespace

// Shared turns

bool ConcurrentQueue::noteInSlot(Slot& slot) noexcept {
    const Slot candidate = slotFor(*this);
    const QueueCore* noted = nullptr;
    if (!candidate->compare_exchange_strong(noted, this, std::memory_order_seq_cst,
                                            std::memory_order_relaxed))
        return false;
    // Either this sees that the bias was revoked, or the revoker sees the slot.
    if ((state_.load(std::memory_order_seq_cst) & biased) != 0) {
        slot = candidate;
        return true;
    }
    noted = this;
    // An emptied slot means that the turn is counted already.
    return !candidate->compare_exchange_strong(noted, nullptr, std::memory_order_acq_rel,
                                               std::memory_order_acquire);
}

bool ConcurrentQueue::waitForShare(Slot& slot, const std::stop_token* stop) {
    std::uint64_t state = state_.load(std::memory_order_relaxed);
    if ((state & biased) != 0 && noteInSlot(slot))
        return true;
    constexpr int spins = 100;
    for (int i = 0; i < spins; ++i) {
        state = state_.load(std::memory_order_relaxed);
        if ((state & waiting) != 0)
            break;
        if ((state & held) == 0 &&
            state_.compare_exchange_weak(state, state + reader, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
            if (contention_.fetch_add(1, std::memory_order_relaxed) >= biasThreshold)
                becomeBiased();
            return true;
        }
        relax();
    }
    return waitInBacklog(Item::make(Item::Role::waiter, false), stop);
}

/// By somebody who has a turn, so that the queue is there.
void ConcurrentQueue::becomeBiased() noexcept {
    contention_.store(0, std::memory_order_relaxed);
    std::uint64_t state = state_.load(std::memory_order_relaxed);
    while ((state & flags) == 0 &&
           !state_.compare_exchange_weak(state, state | biased, std::memory_order_release,
                                         std::memory_order_relaxed)) {
    }
}

/// Counts in the word what the slots note. Under the lock; nothing waits while the queue is biased.
void ConcurrentQueue::revokeBias() noexcept {
    state_.fetch_xor(biased | revoking, std::memory_order_seq_cst);
    for (Line& line : slotTable) {
        const Slot slot =
            &line.slots[static_cast<std::size_t>(slotFor(*this) - line.slots.data()) % slotsPerLine];
        const QueueCore* noted = this;
        if (slot->load(std::memory_order_seq_cst) != this)
            continue;
        // Counted first: its owner may leave as soon as the slot is empty.
        state_.fetch_add(reader, std::memory_order_acq_rel);
        if (!slot->compare_exchange_strong(noted, nullptr, std::memory_order_acq_rel,
                                           std::memory_order_acquire))
            state_.fetch_sub(reader, std::memory_order_acq_rel);
    }
    state_.fetch_and(~revoking, std::memory_order_acq_rel);
    contention_.store(0, std::memory_order_relaxed);
}

// Waiting

/// Under the lock: true when `item` may start, and the word says so; false when it lies in the backlog.
bool ConcurrentQueue::admit(Item* item) noexcept {
    std::uint64_t state = state_.load(std::memory_order_relaxed);
    for (;;) {
        if (item->barrier && (state & biased) != 0) {
            revokeBias();
            state = state_.load(std::memory_order_relaxed);
        }
        const bool mustWait = (state & (held | waiting)) != 0 || (item->barrier && state != 0);
        const std::uint64_t wanted = mustWait ? state | waiting : item->barrier ? held : state + reader;
        if (!state_.compare_exchange_weak(state, wanted, std::memory_order_acq_rel,
                                          std::memory_order_relaxed))
            continue;
        if (mustWait)
            backlog_.append(item);
        return !mustWait;
    }
}

bool ConcurrentQueue::waitInBacklog(Item* item, const std::stop_token* stop) {
    mutex_.lock();
    const bool admitted = admit(item);
    mutex_.unlock();
    if (!admitted && !awaitTurn(*item, stop))
        return false;
    Item::recycle(item);
    return true;
}

bool ConcurrentQueue::waitForTurn(const std::stop_token* stop) {
    constexpr int spins = 100;
    std::uint64_t state = state_.load(std::memory_order_relaxed);
    for (int i = 0; i < spins && (state & (waiting | biased)) == 0; ++i) {
        if (state == 0 &&
            state_.compare_exchange_weak(state, held, std::memory_order_acquire, std::memory_order_relaxed))
            return true;
        relax();
        state = state_.load(std::memory_order_relaxed);
    }
    return waitInBacklog(Item::make(Item::Role::waiter, true), stop);
}

// Going on

/// Gives the empty queue to what waited longest. By whoever left it empty, before or after its own last step:
/// the word is `waiting` with or without `held`, and nobody but the holder of the lock changes it.
void ConcurrentQueue::goOn() noexcept {
    ItemList chosen;
    mutex_.lock();
    const bool over = startBacklog(chosen);
    const bool call = !over && callAttendant();
    mutex_.unlock();
    if (over) {
        delete this;
        return;
    }
    if (call)
        schedule();
    while (Item* const waiter = chosen.pop())
        giveTurn(*waiter);
}

/// True when the queue is at its end.
bool ConcurrentQueue::startBacklog(ItemList& chosen) noexcept {
    std::uint64_t state = 0;
    while (Item* const item = backlog_.front()) {
        if (item->barrier && state != 0)
            break;
        static_cast<void>(backlog_.pop());
        if (item->role == Item::Role::farewell) {
            Item::recycle(item);
            return true;
        }
        if (item->role == Item::Role::waiter) {
            if (!chooseWaiter(*item)) {
                Item::recycle(item);
                continue;
            }
            chosen.append(item);
        } else if (item->barrier) {
            barrier_ = item;
        } else {
            ready_.append(item);
        }
        state += item->barrier ? held : reader;
        if (item->barrier)
            break;
    }
    state_.store(state | (backlog_.empty() ? 0 : waiting), std::memory_order_release);
    return false;
}

/// Whether schedule() is due, after the lock is open, for somebody to run what is ready.
bool ConcurrentQueue::callAttendant() noexcept {
    if (attended_ || (barrier_ == nullptr && ready_.empty()))
        return false;
    retain();  // the task may come when others have done its work
    return attended_ = true;
}

void ConcurrentQueue::schedule() noexcept {
    ThreadPool::shared().submit(*this, DispatchPriority::standard);
}

void ConcurrentQueue::submit(Item* item) noexcept {
    mutex_.lock();
    const bool admitted = admit(item);
    if (admitted && item->barrier)
        barrier_ = item;
    else if (admitted)
        ready_.append(item);
    const bool call = callAttendant();
    mutex_.unlock();
    if (call)
        schedule();
}

void ConcurrentQueue::attend(Task& task) {
    auto& queue = static_cast<ConcurrentQueue&>(task);
    queue.runReadyBlocks();
    queue.release();
}

void ConcurrentQueue::runReadyBlocks() {
    const ThreadPool& pool = ThreadPool::shared();
    std::unique_lock lock(mutex_);
    attended_ = false;
    for (unsigned run = 0;; ++run) {
        Item* item = nullptr;
        if (run < batch || !pool.hasWaitingTasks())
            item = barrier_ != nullptr ? std::exchange(barrier_, nullptr) : ready_.pop();
        const bool call = callAttendant();
        lock.unlock();
        if (call)
            schedule();
        if (item == nullptr)
            return;
        const bool isBarrier = item->barrier;
        try {
            item->perform(*item);
        } catch (...) {
            endForException(label().c_str());
        }
        if (isBarrier)
            leaveExclusive();
        else
            leaveShared(nullptr);
        lock.lock();
    }
}

void ConcurrentQueue::retire() noexcept {
    // As a barrier: the queue ends when nothing runs and nothing waits.
    Item* const end = Item::make(Item::Role::farewell, true);
    mutex_.lock();
    const bool over = admit(end);
    mutex_.unlock();
    if (over) {
        Item::recycle(end);
        delete this;
    }
}

}  // namespace qz::detail
