#include "Platform/Dispatch/internal/Waiter.h"

#include "Platform/Dispatch/internal/Futex.h"
#include "Platform/Dispatch/internal/ThreadPool.h"

namespace qz::detail {
namespace {

// Bits of `turn`.
constexpr std::uint32_t asleep = 1;      // giving the turn takes a wake-up
constexpr std::uint32_t chosen = 2;      // too late to give up
constexpr std::uint32_t given = 4;       // the waiter may go on
constexpr std::uint32_t stopping = 8;    // stop was requested
constexpr std::uint32_t abandoned = 16;  // the waiter is gone

/// Sleeps until one of `bits` is set; true when `given` is.
bool sleepUntil(Item& item, std::uint32_t bits) noexcept {
    std::uint32_t turn = item.turn.fetch_or(asleep, std::memory_order_acquire) | asleep;
    while ((turn & bits) == 0) {
        futexWait(item.turn, turn);
        turn = item.turn.load(std::memory_order_acquire);
    }
    return (turn & given) != 0;
}

bool giveUp(Item& item) noexcept {
    std::uint32_t turn = item.turn.load(std::memory_order_relaxed);
    while ((turn & (chosen | given)) == 0)
        if (item.turn.compare_exchange_weak(turn, turn | abandoned, std::memory_order_acq_rel))
            return true;
    return false;
}

bool spinFor(Item& item) noexcept {
    constexpr int spins = 200;  // a few microseconds: what a sleep and a wake-up cost at least
    for (int i = 0; i < spins; ++i) {
        if ((item.turn.load(std::memory_order_acquire) & given) != 0)
            return true;
        relax();
    }
    return false;
}

}  // namespace

bool awaitTurn(Item& item, const std::stop_token* stop) {
    if (spinFor(item))
        return true;
    const ThreadPool::Blocked blocked;
    if (stop == nullptr)
        return sleepUntil(item, given);
    {
        // The callback only tells: whoever abandons the item must not look at it again, and that is this
        // thread.
        const auto tell = [&item] {
            item.turn.fetch_or(stopping, std::memory_order_release);
            futexWake(item.turn);
        };
        const std::stop_callback callback(*stop, tell);
        if (sleepUntil(item, given | stopping))
            return true;
    }
    return !giveUp(item) && sleepUntil(item, given);
}

bool chooseWaiter(Item& item) noexcept {
    std::uint32_t turn = item.turn.load(std::memory_order_acquire);
    while ((turn & abandoned) == 0)
        if (item.turn.compare_exchange_weak(turn, turn | chosen, std::memory_order_acq_rel))
            return true;
    return false;
}

void giveTurn(Item& item) noexcept {
    if ((item.turn.exchange(chosen | given, std::memory_order_acq_rel) & asleep) != 0)
        futexWake(item.turn);
}

}  // namespace qz::detail
