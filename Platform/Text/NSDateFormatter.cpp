#include "Platform/Text/NSDateFormatter.h"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include <utility>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz {

namespace {

icu::UnicodeString fromUTF8(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

std::unique_ptr<icu::TimeZone> timeZone(const std::optional<std::string>& name) {
    return std::unique_ptr<icu::TimeZone>(name ? icu::TimeZone::createTimeZone(fromUTF8(*name))
                                               : icu::TimeZone::createDefault());
}

}  // namespace

/// What ICU makes of the settings; `format` is null when it can make nothing of them.
struct NSDateFormatter::Prepared {
    std::unique_ptr<icu::SimpleDateFormat> format;
};

QZ_DEFINE_CLASS(NSDateFormatter, cls) {
    using Self = NSDateFormatter;
    cls.classMethod("init", [](Class&) { return init(); });
    cls.property("dateFormat", &Self::dateFormat, &Self::setDateFormat);
    cls.property("locale", &Self::locale, &Self::setLocale);
    cls.propertyWithGetter("lenient", "isLenient", &Self::isLenient, &Self::setLenient);
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
        prepared_.reset();
    });
}

std::string NSDateFormatter::dateFormat() const {
    const std::lock_guard lock(mutex_);
    return format_;
}
void NSDateFormatter::setDateFormat(std::string_view format) {
    change("dateFormat", [&] { format_ = format; });
}

Ref<NSLocale> NSDateFormatter::locale() const {
    const std::lock_guard lock(mutex_);
    return locale_;
}
void NSDateFormatter::setLocale(const Ref<NSLocale>& locale) {
    change("locale", [&] { locale_ = locale; });
}

std::optional<std::string> NSDateFormatter::timeZoneName() const {
    const std::lock_guard lock(mutex_);
    return timeZone_;
}
void NSDateFormatter::setTimeZoneName(Text name) {
    change("timeZoneName", [&] { timeZone_ = name.toString(); });
}

bool NSDateFormatter::isLenient() const {
    const std::lock_guard lock(mutex_);
    return isLenient_;
}
void NSDateFormatter::setLenient(bool lenient) {
    change("lenient", [&] { isLenient_ = lenient; });
}

NSDateFormatter::Prepared* NSDateFormatter::preparedLocked() const {
    if (!prepared_) {
        auto prepared = std::make_unique<Prepared>();
        const auto name = (locale_ ? locale_ : NSLocale::currentLocale())->localeIdentifier();
        const icu::Locale locale(name.c_str());
        UErrorCode error = U_ZERO_ERROR;
        auto format = std::make_unique<icu::SimpleDateFormat>(
            fromUTF8(std::string_view(format_).substr(0, maximumLength + 1)), locale, error);
        auto calendar =
            std::make_unique<icu::GregorianCalendar>(timeZone(timeZone_).release(), locale, error);
        if (U_SUCCESS(error) && format_.size() <= maximumLength) {
            format->adoptCalendar(calendar.release());
            format->setLenient(isLenient_);
            prepared->format = std::move(format);
        }
        prepared_ = std::move(prepared);
    }
    return prepared_.get();
}

Ref<NSDate> NSDateFormatter::dateFromString(std::string_view text) const {
    if (text.empty() || text.size() > maximumLength) {
        return nullptr;
    }
    const auto units = fromUTF8(text);
    const std::lock_guard lock(mutex_);
    const auto* prepared = preparedLocked();
    if (!prepared->format) {
        return nullptr;
    }
    icu::ParsePosition end(0);
    const auto milliseconds = prepared->format->parse(units, end);
    if (end.getErrorIndex() >= 0 || end.getIndex() != units.length()) {
        return nullptr;
    }
    return NSDate::dateWithTimeIntervalSince1970(milliseconds / 1000);
}

std::string NSDateFormatter::stringFromDate(const Ref<NSDate>& date) const {
    std::string text;
    const std::lock_guard lock(mutex_);
    const auto* prepared = preparedLocked();
    if (date && prepared->format) {
        icu::UnicodeString units;
        prepared->format->format(date->timeIntervalSince1970() * 1000, units);
        units.toUTF8String(text);
    }
    return text;
}

}  // namespace qz
