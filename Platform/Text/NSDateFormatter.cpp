#include "Platform/Text/NSDateFormatter.h"

#include <unicode/dtptngen.h>

#include <cmath>
#include <limits>
#include <list>
#include <tuple>
#include <utility>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Text/NSCalendar.h"
#include "Platform/Text/internal/DateEngine.h"
#include "Platform/Text/internal/DateTimes.h"

namespace qz {

namespace {

icu::DateFormat::EStyle styleOfICU(NSDateFormatterStyle style) {
    switch (style) {
        case NSDateFormatterStyle::Short:
            return icu::DateFormat::kShort;
        case NSDateFormatterStyle::Medium:
            return icu::DateFormat::kMedium;
        case NSDateFormatterStyle::Long:
            return icu::DateFormat::kLong;
        case NSDateFormatterStyle::Full:
            return icu::DateFormat::kFull;
        case NSDateFormatterStyle::None:
            break;
    }
    return icu::DateFormat::kNone;
}

std::string utf8(const icu::UnicodeString& units) {
    std::string text;
    return units.toUTF8String(text);
}

std::string patternOfStyles(NSDateFormatterStyle date, NSDateFormatterStyle time, const icu::Locale& locale) {
    if (date == NSDateFormatterStyle::None && time == NSDateFormatterStyle::None) {
        return {};
    }
    const std::unique_ptr<icu::DateFormat> format(
        icu::DateFormat::createDateTimeInstance(styleOfICU(date), styleOfICU(time), locale));
    const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get());
    icu::UnicodeString pattern;
    return simple ? utf8(simple->toPattern(pattern)) : std::string();
}

/// The generator for a locale takes a millisecond to make, and a host asks with few templates.
std::string patternOfTemplate(std::string_view fields, const std::string& localeIdentifier) {
    struct Known {
        std::string fields;
        std::string locale;
        std::string pattern;
    };
    constexpr std::size_t kept = 64;
    static auto& mutex = *new std::mutex;
    static auto& known = *new std::list<Known>;
    const std::lock_guard lock(mutex);
    for (auto entry = known.begin(); entry != known.end(); ++entry) {
        if (entry->fields == fields && entry->locale == localeIdentifier) {
            known.splice(known.begin(), known, entry);
            return entry->pattern;
        }
    }
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(icu::Locale(localeIdentifier.c_str()), error));
    auto pattern =
        U_SUCCESS(error) ? utf8(generator->getBestPattern(internal::fromUTF8(fields), error)) : std::string();
    if (U_FAILURE(error)) {
        return {};
    }
    known.push_front({std::string(fields), localeIdentifier, pattern});
    if (known.size() > kept) {
        known.pop_back();
    }
    return pattern;
}

}  // namespace

namespace internal {

double millisecondsOf(const NSDate& date) noexcept {
    const auto exact = date.timeIntervalSince1970() * 1000;
    const auto nearest = std::round(exact);
    // Seconds since 2001 and since 1970 are rounded once each.
    const auto precision = 2 * std::numeric_limits<double>::epsilon() *
                           (std::abs(exact) + NSDate::timeIntervalBetween1970AndReferenceDate * 1000);
    return std::abs(exact - nearest) <= precision ? nearest : exact;
}

Ref<NSDate> dateOf(const std::optional<double>& milliseconds) {
    return milliseconds ? NSDate::dateWithTimeIntervalSince1970(*milliseconds / 1000) : nullptr;
}

}  // namespace internal

QZ_DEFINE_CLASS(NSDateFormatter, cls) {
    using Self = NSDateFormatter;
    using Style = NSDateFormatterStyle;
    cls.classMethod("init", [](Class&) { return init(); });
    cls.property("dateFormat", &Self::dateFormat, &Self::setDateFormat);
    cls.property(
        "dateStyle", [](const Self& self) { return static_cast<std::uint64_t>(self.dateStyle()); },
        [](Self& self, std::uint64_t style) { self.setDateStyle(static_cast<Style>(style)); });
    cls.property(
        "timeStyle", [](const Self& self) { return static_cast<std::uint64_t>(self.timeStyle()); },
        [](Self& self, std::uint64_t style) { self.setTimeStyle(static_cast<Style>(style)); });
    cls.property("locale", &Self::locale, &Self::setLocale);
    cls.property("timeZone", &Self::timeZone, &Self::setTimeZone);
    cls.property("calendar", &Self::calendar, &Self::setCalendar);
    cls.propertyWithGetter("lenient", "isLenient", &Self::isLenient, &Self::setLenient);
    cls.dependsOn("dateFormat", {"dateStyle", "timeStyle"});
    cls.method("setLocalizedDateFormatFromTemplate:", &Self::setLocalizedDateFormatFromTemplate);
    cls.method("dateFromString:", &Self::dateFromString);
    cls.method("stringFromDate:", &Self::stringFromDate);
}

NSDateFormatter::NSDateFormatter() = default;
NSDateFormatter::~NSDateFormatter() = default;

template <class F>
void NSDateFormatter::change(std::string_view key, F&& change) {
    changing(*this, key, [&] {
        const std::lock_guard lock(mutex_);
        change();
        engine_.reset();
    });
}

std::string NSDateFormatter::dateFormat() const {
    const std::lock_guard lock(mutex_);
    return patternLocked();
}
void NSDateFormatter::setDateFormat(std::string_view format) {
    change("dateFormat", [&] { format_ = format; });
}

void NSDateFormatter::setLocalizedDateFormatFromTemplate(std::string_view dateFormatTemplate) {
    change("dateFormat", [&] {
        format_ = patternOfTemplate(dateFormatTemplate.substr(0, maximumLength), localeIdentifierLocked());
    });
}

std::string NSDateFormatter::dateFormatFromTemplate(std::string_view dateFormatTemplate,
                                                    const Ref<NSLocale>& locale) {
    return patternOfTemplate(dateFormatTemplate.substr(0, maximumLength),
                             (locale ? locale : NSLocale::currentLocale())->localeIdentifier());
}

NSDateFormatterStyle NSDateFormatter::dateStyle() const {
    const std::lock_guard lock(mutex_);
    return dateStyle_;
}
void NSDateFormatter::setDateStyle(NSDateFormatterStyle style) {
    change("dateStyle", [&] {
        dateStyle_ = style;
        format_.reset();
    });
}

NSDateFormatterStyle NSDateFormatter::timeStyle() const {
    const std::lock_guard lock(mutex_);
    return timeStyle_;
}
void NSDateFormatter::setTimeStyle(NSDateFormatterStyle style) {
    change("timeStyle", [&] {
        timeStyle_ = style;
        format_.reset();
    });
}

Ref<NSLocale> NSDateFormatter::locale() const {
    const std::lock_guard lock(mutex_);
    return locale_;
}
void NSDateFormatter::setLocale(const Ref<NSLocale>& locale) {
    change("locale", [&] { locale_ = locale; });
}

Ref<NSTimeZone> NSDateFormatter::timeZone() const {
    const std::lock_guard lock(mutex_);
    return timeZone_ ? timeZone_ : NSTimeZone::defaultTimeZone();
}
void NSDateFormatter::setTimeZone(const Ref<NSTimeZone>& zone) {
    change("timeZone", [&] { timeZone_ = zone; });
}
void NSDateFormatter::setTimeZoneName(Text name) {
    const auto zone = NSTimeZone::timeZoneWithName(name);
    setTimeZone(zone || !name ? zone : NSTimeZone::timeZoneForSecondsFromGMT(0));
}

Ref<NSCalendar> NSDateFormatter::calendar() const {
    const std::lock_guard lock(mutex_);
    return calendar_;
}
void NSDateFormatter::setCalendar(const Ref<NSCalendar>& calendar) {
    change("calendar", [&] {
        calendar_ = calendar;
        calendarSettings_ = calendar
                                ? std::make_unique<internal::CalendarSettings>(internal::CalendarSettings{
                                      calendar->calendarIdentifier(), calendar->firstWeekday(),
                                      calendar->minimumDaysInFirstWeek()})
                                : nullptr;
    });
}

bool NSDateFormatter::isLenient() const {
    const std::lock_guard lock(mutex_);
    return isLenient_;
}
void NSDateFormatter::setLenient(bool lenient) {
    change("lenient", [&] { isLenient_ = lenient; });
}

std::string NSDateFormatter::localeIdentifierLocked() const {
    return (locale_ ? locale_ : NSLocale::currentLocale())->localeIdentifier();
}

std::string NSDateFormatter::patternLocked() const {
    const auto calendar = calendarSettings_ ? *calendarSettings_ : internal::CalendarSettings();
    return format_ ? *format_
                   : patternOfStyles(dateStyle_, timeStyle_,
                                     internal::localeWith(localeIdentifierLocked(), calendar));
}

/// Null for a pattern that is too long.
std::shared_ptr<const internal::DateEngine> NSDateFormatter::engine() const {
    const auto generation = NSTimeZone::defaultGeneration();
    const std::lock_guard lock(mutex_);
    if (!engine_ || (!timeZone_ && generation_ != generation)) {
        auto pattern = patternLocked();
        if (pattern.size() > maximumLength) {
            return nullptr;
        }
        const auto zone = timeZone_ ? timeZone_ : NSTimeZone::defaultTimeZone();
        engine_ = internal::DateEngine::shared(
            {std::move(pattern), localeIdentifierLocked(), zone->rules(),
             calendarSettings_ ? *calendarSettings_ : internal::CalendarSettings(), isLenient_});
        generation_ = generation;
    }
    return engine_;
}

Ref<NSDate> NSDateFormatter::dateFromString(std::string_view text) const {
    const auto engine = text.empty() || text.size() > maximumLength ? nullptr : this->engine();
    return engine ? internal::dateOf(engine->parse(text)) : nullptr;
}

bool NSDateFormatter::getObjectValue(id* object, Text forString, std::size_t length,
                                     Ref<NSError>* error) const {
    const auto text = internal::leadingUnits(forString.view(), length);
    const auto engine = text && length > 0 && length <= maximumLength ? this->engine() : nullptr;
    const auto date = engine ? internal::dateOf(engine->parseBeginning(*text)) : nullptr;
    if (object) {
        *object = date;
    }
    if (!date && error) {
        *error = NSError::errorWithDomain(
            std::string(NSCocoaErrorDomain), static_cast<std::int64_t>(NSCocoaErrorCode::Formatting),
            NSDictionary::dictionary({{NSLocalizedDescriptionKey, "\"" + std::string(text.value_or("")) +
                                                                      "\" does not begin with a date"}}));
    }
    return date != nullptr;
}

std::string NSDateFormatter::stringFromDate(const Ref<NSDate>& date) const {
    const auto engine = date ? this->engine() : nullptr;
    return engine ? engine->format(internal::millisecondsOf(*date)) : std::string();
}

}  // namespace qz
