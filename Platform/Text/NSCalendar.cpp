#include "Platform/Text/NSCalendar.h"

#include <unicode/calendar.h>
#include <unicode/strenum.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/internal/DateEngine.h"

namespace qz {

namespace {

struct Part {
    NSCalendarUnit unit;
    UCalendarDateFields field;
    std::int64_t first;  // of the unit, where ICU counts from zero
    std::int64_t (NSDateComponents::*get)() const noexcept;
    void (NSDateComponents::*set)(std::int64_t) noexcept;
};

constexpr std::array<Part, 8> parts{{
    {NSCalendarUnit::Era, UCAL_ERA, 0, &NSDateComponents::era, &NSDateComponents::setEra},
    {NSCalendarUnit::Year, UCAL_YEAR, 0, &NSDateComponents::year, &NSDateComponents::setYear},
    {NSCalendarUnit::Month, UCAL_MONTH, 1, &NSDateComponents::month, &NSDateComponents::setMonth},
    {NSCalendarUnit::Day, UCAL_DATE, 0, &NSDateComponents::day, &NSDateComponents::setDay},
    {NSCalendarUnit::Hour, UCAL_HOUR_OF_DAY, 0, &NSDateComponents::hour, &NSDateComponents::setHour},
    {NSCalendarUnit::Minute, UCAL_MINUTE, 0, &NSDateComponents::minute, &NSDateComponents::setMinute},
    {NSCalendarUnit::Second, UCAL_SECOND, 0, &NSDateComponents::second, &NSDateComponents::setSecond},
    {NSCalendarUnit::Weekday, UCAL_DAY_OF_WEEK, 0, &NSDateComponents::weekday, &NSDateComponents::setWeekday},
}};

bool isKnown(std::string_view identifier) {
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<icu::StringEnumeration> names(
        icu::Calendar::getKeywordValuesForLocale("calendar", icu::Locale::getRoot(), false, error));
    const char* name = nullptr;
    while (U_SUCCESS(error) && (name = names->next(nullptr, error))) {
        if (identifier == name) {
            return true;
        }
    }
    return false;
}

}  // namespace

struct NSCalendar::Prepared {
    std::unique_ptr<icu::Calendar> calendar;
    std::uint64_t generation;  // of the default zone
};

QZ_DEFINE_CLASS(NSDateComponents, cls) {
    using Self = NSDateComponents;
    cls.classMethod("init", [](Class&) { return init(); });
    cls.property("era", &Self::era, &Self::setEra);
    cls.property("year", &Self::year, &Self::setYear);
    cls.property("month", &Self::month, &Self::setMonth);
    cls.property("day", &Self::day, &Self::setDay);
    cls.property("hour", &Self::hour, &Self::setHour);
    cls.property("minute", &Self::minute, &Self::setMinute);
    cls.property("second", &Self::second, &Self::setSecond);
    cls.property("weekday", &Self::weekday, &Self::setWeekday);
}

QZ_DEFINE_CLASS(NSCalendar, cls) {
    using Self = NSCalendar;
    cls.classMethod("calendarWithIdentifier:",
                    [](Class&, std::string_view name) { return calendarWithIdentifier(name); });
    cls.classMethod("currentCalendar", [](Class&) { return currentCalendar(); });
    cls.property("calendarIdentifier", &Self::calendarIdentifier);
    cls.property("timeZone", &Self::timeZone, &Self::setTimeZone);
    cls.property("firstWeekday", &Self::firstWeekday, &Self::setFirstWeekday);
    cls.property("minimumDaysInFirstWeek", &Self::minimumDaysInFirstWeek, &Self::setMinimumDaysInFirstWeek);
    cls.method("components:fromDate:", [](const Self& self, std::uint64_t units, const Ref<NSDate>& date) {
        return self.components(static_cast<NSCalendarUnit>(units), date);
    });
    cls.method("dateFromComponents:", &Self::dateFromComponents);
}

NSCalendar::NSCalendar(std::string identifier, Ref<NSLocale> locale)
    : identifier_(std::move(identifier)), locale_(std::move(locale)) {}
NSCalendar::~NSCalendar() = default;

Ref<NSCalendar> NSCalendar::calendarWithIdentifier(std::string_view identifier) {
    if (!isKnown(identifier)) {
        return nullptr;
    }
    return make<NSCalendar>(std::string(identifier), NSLocale::currentLocale());
}

Ref<NSCalendar> NSCalendar::currentCalendar() {
    auto locale = NSLocale::currentLocale();
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<icu::Calendar> calendar(
        icu::Calendar::createInstance(icu::Locale(locale->localeIdentifier().c_str()), error));
    std::string identifier(U_SUCCESS(error) ? calendar->getType() : NSCalendarIdentifierGregorian.data());
    return make<NSCalendar>(std::move(identifier), std::move(locale));
}

Ref<NSTimeZone> NSCalendar::timeZone() const {
    const std::lock_guard lock(mutex_);
    return timeZone_ ? timeZone_ : NSTimeZone::defaultTimeZone();
}
void NSCalendar::setTimeZone(const Ref<NSTimeZone>& zone) {
    const std::lock_guard lock(mutex_);
    timeZone_ = zone;
    prepared_.reset();
}

int NSCalendar::firstWeekday() const {
    const std::lock_guard lock(mutex_);
    return firstWeekday_;
}
void NSCalendar::setFirstWeekday(int weekday) {
    const std::lock_guard lock(mutex_);
    firstWeekday_ = std::clamp(weekday, 0, 7);
    prepared_.reset();
}

int NSCalendar::minimumDaysInFirstWeek() const {
    const std::lock_guard lock(mutex_);
    return minimumDays_;
}
void NSCalendar::setMinimumDaysInFirstWeek(int days) {
    const std::lock_guard lock(mutex_);
    minimumDays_ = std::clamp(days, 0, 7);
    prepared_.reset();
}

NSCalendar::Prepared* NSCalendar::preparedLocked() const {
    const auto generation = NSTimeZone::defaultGeneration();
    if (!prepared_ || (!timeZone_ && prepared_->generation != generation)) {
        const internal::CalendarSettings settings{identifier_, firstWeekday_, minimumDays_};
        const auto zone = timeZone_ ? timeZone_ : NSTimeZone::defaultTimeZone();
        prepared_ = std::make_unique<Prepared>();
        prepared_->generation = generation;
        prepared_->calendar = internal::makeCalendar(
            internal::localeWith(locale_->localeIdentifier(), settings), zone->rules()->zone(), settings);
        if (!prepared_->calendar) {
            raise(NSInternalInconsistencyException, "the calendar " + identifier_ + " cannot be made");
        }
        prepared_->calendar->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
    }
    return prepared_.get();
}

Ref<NSDateComponents> NSCalendar::components(NSCalendarUnit units, const Ref<NSDate>& fromDate) const {
    if (!fromDate || !std::isfinite(fromDate->timeIntervalSince1970())) {
        return nullptr;
    }
    auto components = NSDateComponents::init();
    const std::lock_guard lock(mutex_);
    auto& calendar = *preparedLocked()->calendar;
    UErrorCode error = U_ZERO_ERROR;
    calendar.setTime(fromDate->timeIntervalSince1970() * 1000, error);
    for (const auto& part : parts) {
        if ((static_cast<std::uint64_t>(units) & static_cast<std::uint64_t>(part.unit)) != 0) {
            const std::int64_t value = calendar.get(part.field, error) + part.first;
            ((*components).*part.set)(U_SUCCESS(error) ? value : NSDateComponentUndefined);
        }
    }
    return components;
}

Ref<NSDate> NSCalendar::dateFromComponents(const Ref<NSDateComponents>& components) const {
    if (!components) {
        return nullptr;
    }
    constexpr std::int64_t reach = 1'000'000'000;  // ICU counts in 32 bits
    const std::lock_guard lock(mutex_);
    auto& calendar = *preparedLocked()->calendar;
    calendar.clear();
    for (const auto& part : parts) {
        const auto value = ((*components).*part.get)();
        if (value == NSDateComponentUndefined || part.unit == NSCalendarUnit::Weekday) {
            continue;
        }
        if (value < -reach || value > reach) {
            return nullptr;
        }
        calendar.set(part.field, static_cast<std::int32_t>(value - part.first));
    }
    UErrorCode error = U_ZERO_ERROR;
    const auto time = calendar.getTime(error);
    return U_SUCCESS(error) ? NSDate::dateWithTimeIntervalSince1970(time / 1000) : nullptr;
}

}  // namespace qz
