#include "Platform/Dispatch/internal/Futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace qz::detail {

static long futex(const std::atomic<std::uint32_t>& word, int operation, std::uint32_t value,
                  const timespec* limit) noexcept {
    return syscall(SYS_futex, &word, operation, value, limit, nullptr, 0);
}

void futexWait(const std::atomic<std::uint32_t>& word, std::uint32_t expected) noexcept {
    futex(word, FUTEX_WAIT_PRIVATE, expected, nullptr);
}

bool futexWaitFor(const std::atomic<std::uint32_t>& word, std::uint32_t expected,
                  std::chrono::nanoseconds limit) noexcept {
    if (limit <= std::chrono::nanoseconds::zero())
        return false;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    const timespec time{.tv_sec = seconds.count(), .tv_nsec = (limit - seconds).count()};
    return futex(word, FUTEX_WAIT_PRIVATE, expected, &time) == 0 || errno != ETIMEDOUT;
}

void futexWake(const std::atomic<std::uint32_t>& word) noexcept {
    futex(word, FUTEX_WAKE_PRIVATE, 1, nullptr);
}

void Mutex::lockSlowly() noexcept {
    constexpr int spins = 60;
    for (int i = 0; i < spins; ++i) {
        std::uint32_t open = 0;
        if (word_.load(std::memory_order_relaxed) == 0 &&
            word_.compare_exchange_weak(open, 1, std::memory_order_acquire, std::memory_order_relaxed))
            return;
        relax();
    }
    while (word_.exchange(2, std::memory_order_acquire) != 0)
        futexWait(word_, 2);
}

}  // namespace qz::detail
