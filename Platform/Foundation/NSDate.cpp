#include "Platform/Foundation/NSDate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

/// "2026-11-22 21:07:33 +0000", always in UTC; the plain number of seconds for years that the calendar cannot
/// express.
std::string describe(const NSDate& date) {
    using namespace std::chrono;
    constexpr double limit = 32000.0 * 366 * 86400;
    const double since1970 = std::floor(date.timeIntervalSince1970());
    std::array<char, 64> text{};
    if (!(std::abs(since1970) < limit)) {
        std::snprintf(text.data(), text.size(), "%.6g s since 1970-01-01 00:00:00 +0000", since1970);
        return text.data();
    }
    const sys_seconds time{seconds(static_cast<std::int64_t>(since1970))};
    const auto day = floor<days>(time);
    const year_month_day calendar{day};
    const hh_mm_ss clock{time - day};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d +0000",
                  static_cast<int>(calendar.year()), static_cast<unsigned>(calendar.month()),
                  static_cast<unsigned>(calendar.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return text.data();
}

}  // namespace

QZ_DEFINE_CLASS(NSDate, cls) {
    cls.method("description", &describe);
    cls.method("isEqual:", [](const NSDate& self, const id& other) {
        const auto* date = dynamic_cast<const NSDate*>(other.get());
        return date && date->seconds_ == self.seconds_;
    });
    cls.method("hash", [](const NSDate& self) { return std::hash<double>()(self.seconds_); });
    cls.method("copy", [](NSDate& self) { return id(self.ref()); });
}

Ref<NSDate> NSDate::date() {
    return dateWithTimePoint(std::chrono::system_clock::now());
}

Ref<NSDate> NSDate::dateWithTimeIntervalSinceReferenceDate(double seconds) {
    return make<NSDate>(seconds);
}

Ref<NSDate> NSDate::dateWithTimeIntervalSince1970(double seconds) {
    return make<NSDate>(seconds - timeIntervalBetween1970AndReferenceDate);
}

Ref<NSDate> NSDate::dateWithTimePoint(TimePoint time) {
    return dateWithTimeIntervalSince1970(std::chrono::duration<double>(time.time_since_epoch()).count());
}

const Ref<NSDate>& NSDate::distantPast() {
    static const auto& date = *new Ref<NSDate>(make<NSDate>(-63113904000.0));
    return date;
}

const Ref<NSDate>& NSDate::distantFuture() {
    static const auto& date = *new Ref<NSDate>(make<NSDate>(63113904000.0));
    return date;
}

NSDate::TimePoint NSDate::timePoint() const noexcept {
    using Duration = TimePoint::duration;
    constexpr double perSecond = static_cast<double>(Duration::period::den) / Duration::period::num;
    // The largest double below 2^63, so that the conversion back to an integer is defined.
    constexpr double limit = 9223372036854774784.0;
    const double ticks = std::clamp(timeIntervalSince1970() * perSecond, -limit, limit);
    return TimePoint(Duration(std::isnan(ticks) ? 0 : static_cast<Duration::rep>(ticks)));
}

Ref<Object> Boxing<std::chrono::system_clock::time_point>::box(
    const std::chrono::system_clock::time_point& time) {
    return NSDate::dateWithTimePoint(time);
}

std::optional<std::chrono::system_clock::time_point> Boxing<std::chrono::system_clock::time_point>::unbox(
    const Object& object) {
    const auto* date = dynamic_cast<const NSDate*>(&object);
    return date ? std::optional(date->timePoint()) : std::nullopt;
}

}  // namespace qz
