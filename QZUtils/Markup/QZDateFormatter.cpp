#include "QZUtils/Markup/QZDateFormatter.h"

#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Runtime/Monitor.h"
#include "Platform/Runtime/Send.h"
#include "Platform/Text/NSCalendar.h"
#include "Platform/Text/NSDateFormatter.h"
#include "Platform/Text/NSISO8601DateFormatter.h"
#include "Platform/Text/internal/DateTimes.h"
#include "QZUtils/Diagnostics/Log.h"
#include "QZUtils/Markup/ISO8601DateFormatter.h"
#include "QZUtils/Markup/QZCanonicalDateFormatter.h"

namespace qz {

namespace {

using Formatter = Ref<NSDateFormatter>;

constexpr std::size_t lengthOfDay = 10;
constexpr std::size_t lengthOfTime = 19;
constexpr std::string_view commonFormatterKey = "QZDateFormatter_commonDateFormatter";

Formatter newPosixFormatter(const Ref<NSTimeZone>& zone) {
    auto formatter = NSDateFormatter::init();
    formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
    formatter->setTimeZone(zone);
    return formatter;
}

Formatter formatterOfStyle(NSDateFormatterStyle style) {
    auto formatter = NSDateFormatter::init();
    formatter->setDateStyle(style);
    formatter->setTimeStyle(NSDateFormatterStyle::None);
    return formatter;
}

const Formatter& sharedServerFormatter() {
    static const auto& formatter = *new Formatter([] {
        auto made = NSDateFormatter::init();
        made->setDateFormat("yyyy-MM-dd");
        return made;
    }());
    return formatter;
}

const Formatter& sharedAppFormatter() {
    static const auto& formatter = *new Formatter(formatterOfStyle(NSDateFormatterStyle::Medium));
    return formatter;
}

const Formatter& sharedPrintFormatter() {
    static const auto& formatter = *new Formatter(formatterOfStyle(NSDateFormatterStyle::Full));
    return formatter;
}

Formatter formatterOfThread() {
    const auto dictionary = NSThread::currentThread()->threadDictionary();
    auto formatter = dictionary->objectForKey(commonFormatterKey).as<NSDateFormatter>();
    if (!formatter) {
        formatter = NSDateFormatter::init();
        dictionary->setObjectForKey(formatter, commonFormatterKey);
    }
    return formatter;
}

/// A formatter of this format on one of the base formatters of the object's class.
Formatter formatterOn(const QZDateFormatter& self, Selector base, std::string_view format) {
    auto formatter = send<Formatter>(self.isa(), base);
    formatter->setDateFormat(format);
    return formatter;
}

Ref<NSDate> parseBeginning(const Formatter& formatter, Text string, std::size_t length) {
    id date;
    return formatter->getObjectValue(&date, string, length, nullptr) ? date.as<NSDate>() : nullptr;
}

Ref<NSDate> parse(const Formatter& formatter, Text string) {
    return string ? formatter->dateFromString(string.view()) : nullptr;
}

/// What a text of variable precision looks like.
NSISO8601DateFormatOptions optionsOf(std::string_view text) {
    using Options = NSISO8601DateFormatOptions;
    auto options = Options::WithFullDate;
    const auto day = internal::leadingUnits(text, lengthOfDay);
    const auto rest = day ? text.substr(day->size()) : std::string_view();
    if (!rest.starts_with('T') && !rest.starts_with(' ')) {
        return options;
    }
    const auto has = [&](char character) { return text.find(character) != std::string_view::npos; };
    options |= Options::WithTime;
    if (rest.front() == ' ') {
        options |= Options::WithSpaceBetweenDateAndTime;
    }
    if (has(':')) {
        options |= Options::WithColonSeparatorInTime;
    }
    if (has('.')) {
        options |= Options::WithFractionalSeconds;
    }
    if (text.ends_with('Z') || has('+') || rest.find('-') != std::string_view::npos) {
        options |= Options::WithTimeZone;
    }
    return options;
}

}  // namespace

QZ_DEFINE_CLASS(QZDateFormatter, cls) {
    using Self = QZDateFormatter;
    cls.classMethod("init", [](Class&) { return init(); });
    cls.classMethod("instance", [](Class&) { return instance(); });
    cls.classMethod("serverDateFormatter", [](Class&) { return sharedServerFormatter(); });
    cls.classMethod("appDateFormatter", [](Class&) { return sharedAppFormatter(); });
    cls.classMethod("printDateFormatter", [](Class&) { return sharedPrintFormatter(); });
    cls.classMethod("iso8601DateFormatter", [](Class&) { return ISO8601DateFormatter::shared(); });
    cls.classMethod("canonicalDateFormatter", [](Class&) { return QZCanonicalDateFormatter::shared(); });
    cls.classMethod("commonDateFormatter", [](Class&) { return formatterOfThread(); });
    cls.classMethod("posixDateFormatter", [](Class&) { return newPosixFormatter(nullptr); });
    cls.classMethod("posixGMTDateFormatter",
                    [](Class&) { return newPosixFormatter(NSTimeZone::timeZoneForSecondsFromGMT(0)); });
    cls.method("dateFormatter", &Self::dateFormatter);
    cls.method("zxDateFormatter", &Self::zxDateFormatter);
    cls.method("zxDateTimeFormatter", &Self::zxDateTimeFormatter);
    cls.method("zxSentTimeFormatter", &Self::zxSentTimeFormatter);
    cls.method("rfc3339DateFormatter", &Self::rfc3339DateFormatter);
    cls.method("NSISO8601DateFormatter", &Self::NSISO8601DateFormatter);
    cls.property("calendar", &Self::calendar, &Self::setCalendar);
    cls.method("ISOFormattedStringFromDate:", &Self::ISOFormattedStringFromDate);
    cls.method("dateFromISOFormattedString:", &Self::dateFromISOFormattedString);
    cls.method("dateFromZXFormattedString:", &Self::dateFromZXFormattedString);
    cls.method("dateTimeFromZXFormattedString:", &Self::dateTimeFromZXFormattedString);
    cls.method("dateTimeFromZXSentTimeFormattedString:", &Self::dateTimeFromZXSentTimeFormattedString);
    cls.method("dateFromRFC3339FormattedString:", &Self::dateFromRFC3339FormattedString);
    cls.method("rfc3339FormattedStringFromDate:", &Self::rfc3339FormattedStringFromDate);
    cls.method("dateFromCanonicalFormattedString:", &Self::dateFromCanonicalFormattedString);
    cls.method("canonicalFormattedStringFromDate:", &Self::canonicalFormattedStringFromDate);
    cls.method("dateFromISO8601FormattedString:", &Self::dateFromISO8601FormattedString);
    cls.method("dateToString:format:",
               [](const Self& self, const Ref<NSDate>& date, std::string_view format) {
                   return self.dateToString(date, format);
               });
    cls.method("stringToDate:format:", &Self::stringToDate);
    cls.method("dateToString:",
               [](const Self& self, const Ref<NSDate>& date) { return self.dateToString(date); });
    cls.method("dateFromDictionaryValue:", &Self::dateFromDictionaryValue);
    cls.method("dateOnlyFromDate:", &Self::dateOnlyFromDate);
}

const Ref<QZDateFormatter>& QZDateFormatter::instance() {
    static const auto& formatter = *new Ref<QZDateFormatter>(init());
    return formatter;
}

Formatter QZDateFormatter::serverDateFormatter() {
    return send<Formatter>(cls(), "serverDateFormatter"_sel);
}
Formatter QZDateFormatter::appDateFormatter() {
    return send<Formatter>(cls(), "appDateFormatter"_sel);
}
Formatter QZDateFormatter::printDateFormatter() {
    return send<Formatter>(cls(), "printDateFormatter"_sel);
}
Ref<ISO8601DateFormatter> QZDateFormatter::iso8601DateFormatter() {
    return send<Ref<ISO8601DateFormatter>>(cls(), "iso8601DateFormatter"_sel);
}
Ref<QZCanonicalDateFormatter> QZDateFormatter::canonicalDateFormatter() {
    return send<Ref<QZCanonicalDateFormatter>>(cls(), "canonicalDateFormatter"_sel);
}
Formatter QZDateFormatter::commonDateFormatter() {
    return send<Formatter>(cls(), "commonDateFormatter"_sel);
}
Formatter QZDateFormatter::posixDateFormatter() {
    return send<Formatter>(cls(), "posixDateFormatter"_sel);
}
Formatter QZDateFormatter::posixGMTDateFormatter() {
    return send<Formatter>(cls(), "posixGMTDateFormatter"_sel);
}

Formatter QZDateFormatter::dateFormatter() const {
    static const auto& formatter = *new Formatter(formatterOn(*this, "posixDateFormatter"_sel, "yyyy-MM-dd"));
    return formatter;
}
Formatter QZDateFormatter::zxDateFormatter() const {
    static const auto& formatter =
        *new Formatter(formatterOn(*this, "posixGMTDateFormatter"_sel, "yyyy-MM-dd"));
    return formatter;
}
Formatter QZDateFormatter::zxDateTimeFormatter() const {
    static const auto& formatter =
        *new Formatter(formatterOn(*this, "posixGMTDateFormatter"_sel, "yyyy'-'MM'-'dd' 'HH':'mm':'ss"));
    return formatter;
}
Formatter QZDateFormatter::zxSentTimeFormatter() const {
    static const auto& formatter =
        *new Formatter(formatterOn(*this, "posixGMTDateFormatter"_sel, "dd'/'MM'/'yyyy' 'HH':'mm':'ss"));
    return formatter;
}
Formatter QZDateFormatter::rfc3339DateFormatter() const {
    static const auto& formatter =
        *new Formatter(formatterOn(*this, "posixGMTDateFormatter"_sel, "yyyy'-'MM'-'dd'T'HH':'mm':'ss'Z'"));
    return formatter;
}
Ref<qz::NSISO8601DateFormatter> QZDateFormatter::NSISO8601DateFormatter() const {
    using Shared = Ref<qz::NSISO8601DateFormatter>;
    static const auto& formatter = *new Shared(qz::NSISO8601DateFormatter::init());
    return formatter;
}

Ref<NSCalendar> QZDateFormatter::calendar() const {
    const std::lock_guard lock(mutex_);
    if (!calendar_) {
        calendar_ = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
    }
    return calendar_;
}
void QZDateFormatter::setCalendar(const Ref<NSCalendar>& calendar) {
    changing(*this, "calendar", [&] {
        const std::lock_guard lock(mutex_);
        calendar_ = calendar;
    });
}

std::string QZDateFormatter::ISOFormattedStringFromDate(const Ref<NSDate>& date) const {
    return dateFormatter()->stringFromDate(date);
}

Ref<NSDate> QZDateFormatter::dateFromISOFormattedString(Text string) const {
    try {
        return parseBeginning(dateFormatter(), string, lengthOfDay);
    } catch (const std::exception& exception) {
        logWarning("no date: %@", exception.what());
        return nullptr;
    }
}

Ref<NSDate> QZDateFormatter::dateFromZXFormattedString(Text string) const {
    return parseBeginning(zxDateFormatter(), string, lengthOfDay);
}
Ref<NSDate> QZDateFormatter::dateTimeFromZXFormattedString(Text string) const {
    return parseBeginning(zxDateTimeFormatter(), string, lengthOfTime);
}
Ref<NSDate> QZDateFormatter::dateTimeFromZXSentTimeFormattedString(Text string) const {
    return parseBeginning(zxSentTimeFormatter(), string, lengthOfTime);
}

Ref<NSDate> QZDateFormatter::dateFromRFC3339FormattedString(Text string) const {
    return parse(rfc3339DateFormatter(), string);
}
std::string QZDateFormatter::rfc3339FormattedStringFromDate(const Ref<NSDate>& date) const {
    return rfc3339DateFormatter()->stringFromDate(date);
}

Ref<NSDate> QZDateFormatter::dateFromCanonicalFormattedString(Text string) const {
    return parse(send<Ref<QZCanonicalDateFormatter>>(isa(), "canonicalDateFormatter"_sel), string);
}
std::string QZDateFormatter::canonicalFormattedStringFromDate(const Ref<NSDate>& date) const {
    return send<Ref<QZCanonicalDateFormatter>>(isa(), "canonicalDateFormatter"_sel)->stringFromDate(date);
}

Ref<NSDate> QZDateFormatter::dateFromISO8601FormattedString(Text string) const {
    if (!string) {
        return nullptr;
    }
    const auto formatter = NSISO8601DateFormatter();
    static const auto& monitor = *new Monitor(monitorOf(formatter));
    const std::lock_guard lock(*monitor);
    formatter->setFormatOptions(optionsOf(string.view()));
    return formatter->dateFromString(string.view());
}

std::string QZDateFormatter::dateToString(const Ref<NSDate>& date, std::string_view format) const {
    const auto formatter = send<Formatter>(isa(), "commonDateFormatter"_sel);
    formatter->setLocalizedDateFormatFromTemplate(format);
    return formatter->stringFromDate(date);
}

Ref<NSDate> QZDateFormatter::stringToDate(Text string, std::string_view format) const {
    const auto formatter = send<Formatter>(isa(), "commonDateFormatter"_sel);
    formatter->setDateFormat(format);
    return parse(formatter, string);
}

std::string QZDateFormatter::dateToString(const Ref<NSDate>& date) const {
    return descriptionOf(date);
}

Ref<NSDate> QZDateFormatter::dateFromDictionaryValue(const id& value) const {
    if (auto date = value.as<NSDate>()) {
        return date;
    }
    if (const auto number = value.as<NSNumber>()) {
        return NSDate::dateWithTimeIntervalSince1970(number->doubleValue());
    }
    return dateFromRFC3339FormattedString(unbox<std::string>(value));
}

Ref<NSDate> QZDateFormatter::dateOnlyFromDate(const id& date) const {
    const auto calendar = this->calendar();
    return calendar->dateFromComponents(calendar->components(
        NSCalendarUnit::Year | NSCalendarUnit::Month | NSCalendarUnit::Day, date.as<NSDate>()));
}

}  // namespace qz
