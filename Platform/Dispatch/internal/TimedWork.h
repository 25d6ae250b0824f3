// What a run loop can have on its schedule.
#pragma once

#include <chrono>
#include <cstdint>

namespace qz::detail {

using SteadyTime = std::chrono::steady_clock::time_point;

class TimedWork {
public:
    /// Where work stands in the schedule of a loop: equal times keep the order in which they were scheduled.
    struct Place {
        SteadyTime time;
        std::uint64_t number = 0;  // 0: nowhere

        [[nodiscard]] explicit operator bool() const noexcept { return number != 0; }
        [[nodiscard]] bool operator==(const Place&) const noexcept = default;
        [[nodiscard]] bool operator<(const Place& other) const noexcept {
            return time != other.time ? time < other.time : number < other.number;
        }
    };

    /// Called on the loop's thread when its time has come, after it was taken off the schedule.
    virtual void becomeDue(const Place& place) = 0;
    /// Called instead when the loop has ended first.
    virtual void loopEnded() noexcept {}

protected:
    ~TimedWork() = default;
};

/// A delay of `seconds`, rounded up to a microsecond. Negative seconds and NaN are none; a century or more is
/// a century, which is never.
[[nodiscard]] std::chrono::nanoseconds delayOf(double seconds) noexcept;
[[nodiscard]] inline SteadyTime steadyTimeIn(double seconds) noexcept {
    return std::chrono::steady_clock::now() + delayOf(seconds);
}

}  // namespace qz::detail
