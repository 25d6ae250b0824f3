// What handles of a queue share: one atomic word that decides who may run, and the entrances and exits that
// touch nothing else while nobody else is there. The rest happens in the library.
//
// The word, for a serial queue:      0 idle; else `held`, `waiting`, and the youngest submitted item's
// address. For a concurrent queue:            flags, and above them the number of blocks that run or may run
// at once.
#pragma once

#include <sys/single_threaded.h>

#include <atomic>
#include <cstdint>
#include <stop_token>
#include <string>

#include "Platform/Dispatch/internal/Item.h"
#include "Platform/Export.h"

namespace qz::detail {

class QZ_EXPORT QueueCore {
public:
    enum class Kind : std::uint8_t { serial, concurrent, global, main };

    /// Where a shared turn is noted instead of in the queue's word; null when it is counted there.
    using Slot = std::atomic<const QueueCore*>*;

    QueueCore(const QueueCore&) = delete;
    QueueCore& operator=(const QueueCore&) = delete;

    void retain() noexcept { handles_.fetch_add(1, std::memory_order_relaxed); }
    void release() noexcept {
        if (handles_.fetch_sub(1, std::memory_order_acq_rel) == 1)
            retire();
    }

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    [[nodiscard]] const std::string& label() const noexcept { return label_; }

    /// Takes over `item` and runs its block when its turn comes.
    void submit(Item* item) noexcept;

    /// Waits until nothing else runs, or, with a token, until stop is requested: false then.
    bool enterExclusive(const std::stop_token* stop = nullptr) {
        return changeState(0, held) || enterExclusiveSlowly(stop);
    }
    void leaveExclusive() noexcept {
        if (!changeState(held, 0)) [[unlikely]]
            leaveExclusiveSlowly();
    }

    /// Waits until no barrier runs or waits, or for the token. Of concurrent queues only.
    bool enterShared(Slot& slot, const std::stop_token* stop = nullptr) {
        const std::uint64_t state = state_.load(std::memory_order_relaxed);
        return ((state & flags) == 0 && changeState(state, state + reader)) || enterSharedSlowly(slot, stop);
    }
    void leaveShared(Slot slot) noexcept {
        const QueueCore* noted = this;
        if (slot != nullptr && slot->compare_exchange_strong(noted, nullptr, std::memory_order_release,
                                                             std::memory_order_relaxed))
            return;
        if (__libc_single_threaded && changeState(reader, 0))
            return;
        if (state_.fetch_sub(reader, std::memory_order_acq_rel) == (reader | waiting)) [[unlikely]]
            leaveSharedSlowly();
    }

    /// Has the main thread perform `work` and waits for that. Of the main queue only.
    bool performOnMain(void (*work)(void*), void* context, const std::stop_token* stop);

protected:
    static constexpr std::uint64_t held = 1;      // a block runs that overlaps nothing
    static constexpr std::uint64_t waiting = 2;   // something waits in the backlog: nobody else enters
    static constexpr std::uint64_t biased = 4;    // shared turns are noted in slots
    static constexpr std::uint64_t revoking = 8;  // slots are being emptied into the count
    static constexpr std::uint64_t flags = 15;
    static constexpr std::uint64_t reader = 16;  // the count's unit

    QueueCore(Kind kind, std::string label) : kind_(kind), label_(std::move(label)) {}
    ~QueueCore() = default;

    std::atomic<std::uint64_t> state_{0};

private:
    /// One atomic step, or in a process of one thread the same in ordinary ones at a third of the price. The
    /// answer of the C library may change between entrance and exit, when the block starts a thread: each
    /// step is whole in itself.
    bool changeState(std::uint64_t from, std::uint64_t to) noexcept {
        if (!__libc_single_threaded) [[likely]]
            return state_.compare_exchange_strong(from, to, std::memory_order_acq_rel,
                                                  std::memory_order_relaxed);
        const bool asExpected = state_.load(std::memory_order_relaxed) == from;
        if (asExpected) [[likely]]
            state_.store(to, std::memory_order_relaxed);
        return asExpected;
    }

    void retire() noexcept;
    bool enterExclusiveSlowly(const std::stop_token* stop);
    void leaveExclusiveSlowly() noexcept;
    bool enterSharedSlowly(Slot& slot, const std::stop_token* stop);
    void leaveSharedSlowly() noexcept;

    std::atomic<std::uint32_t> handles_{1};
    const Kind kind_;
    const std::string label_;
};

}  // namespace qz::detail
