// NSDate: a point in time as an object, in seconds from 1 January 2001 00:00 UTC, the reference date.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class QZ_EXPORT NSDate : public NSObject {
    QZ_OBJECT(NSDate, NSObject)
public:
    using TimePoint = std::chrono::system_clock::time_point;

    /// Seconds from 1 January 1970 to the reference date.
    static constexpr double timeIntervalBetween1970AndReferenceDate = 978307200.0;

    /// Now.
    [[nodiscard]] static Ref<NSDate> date();
    [[nodiscard]] static Ref<NSDate> dateWithTimeIntervalSinceReferenceDate(double seconds);
    [[nodiscard]] static Ref<NSDate> dateWithTimeIntervalSince1970(double seconds);
    [[nodiscard]] static Ref<NSDate> dateWithTimePoint(TimePoint time);
    /// Before (after) every date that occurs: 1 January of the years 1 and 4001.
    [[nodiscard]] static const Ref<NSDate>& distantPast();
    [[nodiscard]] static const Ref<NSDate>& distantFuture();

    [[nodiscard]] double timeIntervalSinceReferenceDate() const noexcept { return seconds_; }
    [[nodiscard]] double timeIntervalSince1970() const noexcept {
        return seconds_ + timeIntervalBetween1970AndReferenceDate;
    }
    /// Seconds from `other` to this date.
    [[nodiscard]] double timeIntervalSinceDate(const NSDate& other) const noexcept {
        return seconds_ - other.seconds_;
    }
    /// The nearest time that the clock's type can hold.
    [[nodiscard]] TimePoint timePoint() const noexcept;

protected:
    explicit NSDate(double seconds) noexcept : seconds_(seconds) {}

private:
    double seconds_;
};

/// std::chrono times travel as NSDate.
template <>
struct QZ_EXPORT Boxing<std::chrono::system_clock::time_point> {
    [[nodiscard]] static Ref<Object> box(const std::chrono::system_clock::time_point& time);
    [[nodiscard]] static std::optional<std::chrono::system_clock::time_point> unbox(const Object& object);
};

}  // namespace qz
