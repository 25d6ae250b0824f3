// Waiting for a word to change, and the lock made of it. The standard's atomic wait has no time limit, and
// its mutex is ten times the size and sleeps at once, while the sections guarded here last tens of
// nanoseconds.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace qz::detail {

/// Tells the processor that the caller spins.
inline void relax() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

/// Sleeps while `word` is `expected`. May return early without reason: callers look again.
void futexWait(const std::atomic<std::uint32_t>& word, std::uint32_t expected) noexcept;

/// The same for at most `limit`; false when the time is over.
bool futexWaitFor(const std::atomic<std::uint32_t>& word, std::uint32_t expected,
                  std::chrono::nanoseconds limit) noexcept;

/// Wakes one sleeper. The word may be gone already: at worst somebody else is woken without reason.
void futexWake(const std::atomic<std::uint32_t>& word) noexcept;

/// A mutex of four bytes after U. Drepper, "Futexes Are Tricky" (2011), that spins shortly before it sleeps.
class Mutex {
public:
    void lock() noexcept {
        std::uint32_t open = 0;
        if (!word_.compare_exchange_strong(open, 1, std::memory_order_acquire, std::memory_order_relaxed))
            [[unlikely]]
            lockSlowly();
    }
    void unlock() noexcept {
        if (word_.exchange(0, std::memory_order_release) == 2) [[unlikely]]
            futexWake(word_);
    }

private:
    void lockSlowly() noexcept;

    std::atomic<std::uint32_t> word_{0};  // 0 open, 1 locked, 2 locked and somebody may sleep
};

}  // namespace qz::detail
