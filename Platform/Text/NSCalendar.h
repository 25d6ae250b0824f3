// NSCalendar: what day it is at a time in a place, and when a day is.
//
//     const auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
//     const auto day = calendar->components(
//         NSCalendarUnit::Year | NSCalendarUnit::Month | NSCalendarUnit::Day, date);
//     calendar->dateFromComponents(day);   // the start of that day
//
// Unless set, the time zone is the default one at each call. NSDateComponents are plain values for one
// thread; a calendar may be used from any, and threads that use the same one take turns.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Text/NSLocale.h"
#include "Platform/Text/NSTimeZone.h"

namespace qz {

/// Calendars that are often wanted; every type of Unicode's is known by its name there ("buddhist").
inline constexpr std::string_view NSCalendarIdentifierGregorian = "gregorian";
inline constexpr std::string_view NSCalendarIdentifierISO8601 = "iso8601";

/// Bits of the parts of a date.
enum class NSCalendarUnit : std::uint64_t {
    Era = 2,
    Year = 4,
    Month = 8,
    Day = 16,
    Hour = 32,
    Minute = 64,
    Second = 128,
    Weekday = 512,
};
[[nodiscard]] constexpr NSCalendarUnit operator|(NSCalendarUnit left, NSCalendarUnit right) noexcept {
    return static_cast<NSCalendarUnit>(static_cast<std::uint64_t>(left) | static_cast<std::uint64_t>(right));
}

/// A part that was not asked for or not given.
inline constexpr std::int64_t NSDateComponentUndefined = INT64_MAX;

/// The parts of a date.
class QZ_EXPORT NSDateComponents : public NSObject {
    QZ_OBJECT(NSDateComponents, NSObject)
public:
    [[nodiscard]] static Ref<NSDateComponents> init() { return make<NSDateComponents>(); }

    [[nodiscard]] std::int64_t era() const noexcept { return era_; }
    void setEra(std::int64_t era) noexcept { era_ = era; }
    [[nodiscard]] std::int64_t year() const noexcept { return year_; }
    void setYear(std::int64_t year) noexcept { year_ = year; }
    /// January is 1.
    [[nodiscard]] std::int64_t month() const noexcept { return month_; }
    void setMonth(std::int64_t month) noexcept { month_ = month; }
    [[nodiscard]] std::int64_t day() const noexcept { return day_; }
    void setDay(std::int64_t day) noexcept { day_ = day; }
    [[nodiscard]] std::int64_t hour() const noexcept { return hour_; }
    void setHour(std::int64_t hour) noexcept { hour_ = hour; }
    [[nodiscard]] std::int64_t minute() const noexcept { return minute_; }
    void setMinute(std::int64_t minute) noexcept { minute_ = minute; }
    [[nodiscard]] std::int64_t second() const noexcept { return second_; }
    void setSecond(std::int64_t second) noexcept { second_ = second; }
    /// Sunday is 1. It does not count where a date is made of components.
    [[nodiscard]] std::int64_t weekday() const noexcept { return weekday_; }
    void setWeekday(std::int64_t weekday) noexcept { weekday_ = weekday; }

protected:
    NSDateComponents() noexcept = default;

private:
    std::int64_t era_ = NSDateComponentUndefined;
    std::int64_t year_ = NSDateComponentUndefined;
    std::int64_t month_ = NSDateComponentUndefined;
    std::int64_t day_ = NSDateComponentUndefined;
    std::int64_t hour_ = NSDateComponentUndefined;
    std::int64_t minute_ = NSDateComponentUndefined;
    std::int64_t second_ = NSDateComponentUndefined;
    std::int64_t weekday_ = NSDateComponentUndefined;
};

class QZ_EXPORT NSCalendar : public NSObject {
    QZ_OBJECT(NSCalendar, NSObject)
public:
    /// Null for a calendar that is not known.
    [[nodiscard]] static Ref<NSCalendar> calendarWithIdentifier(std::string_view identifier);
    /// That of the user's locale.
    [[nodiscard]] static Ref<NSCalendar> currentCalendar();
    ~NSCalendar() override;

    [[nodiscard]] const std::string& calendarIdentifier() const noexcept { return identifier_; }
    /// Never null: the default zone unless one was set, which null takes back.
    [[nodiscard]] Ref<NSTimeZone> timeZone() const;
    void setTimeZone(const Ref<NSTimeZone>& zone);
    /// Sunday is 1; 0, as at first: as the locale says.
    [[nodiscard]] int firstWeekday() const;
    void setFirstWeekday(int weekday);
    /// 0, as at first: as the locale says.
    [[nodiscard]] int minimumDaysInFirstWeek() const;
    void setMinimumDaysInFirstWeek(int days);

    /// The parts that are asked for; null for a null date and one that is no number.
    [[nodiscard]] Ref<NSDateComponents> components(NSCalendarUnit units, const Ref<NSDate>& fromDate) const;
    /// What is not given is the first of its kind; what goes beyond its range runs over, so that 32 January
    /// is 1 February. A time that the clocks show twice is the first one, one that they leave out is as much
    /// later. Null for null, and for a date beyond the calendar.
    [[nodiscard]] Ref<NSDate> dateFromComponents(const Ref<NSDateComponents>& components) const;

protected:
    NSCalendar(std::string identifier, Ref<NSLocale> locale);

private:
    struct Prepared;
    [[nodiscard]] Prepared* preparedLocked() const;

    const std::string identifier_;
    const Ref<NSLocale> locale_;
    mutable std::mutex mutex_;  // guards what follows
    Ref<NSTimeZone> timeZone_;
    int firstWeekday_ = 0;
    int minimumDays_ = 0;
    mutable std::unique_ptr<Prepared> prepared_;  // null until used after a change
};

}  // namespace qz
