// QZDateFormatter: the forms in which dates travel between applications and their services, each with its
// locale and time zone, on formatters that are made once.
//
//     const auto& dates = QZDateFormatter::instance();
//     dates->dateFromISO8601FormattedString("2026-11-23T08:15:00.5+01:00");
//     dates->rfc3339FormattedStringFromDate(date);                   // 2026-11-23T07:15:00Z
//     dates->dateToString(date, "yMMMd");                            // 23. Nov. 2026, as the user writes it
//
// Every parse gives null for nil and for a text that is no date of its form; every text of a null date is
// empty unless it says otherwise. Forms of the locale "en_US_POSIX" are the same for everybody. The others
// follow the user's locale, whose calendar may count other years.
//
// SHARING. The formatters are shared by all objects and threads: format and parse with them, and change none
// but commonDateFormatter(), which is the thread's own. The class operations are messages to the class, so
// that a subclass answers with formatters of its own: an object asks its class. What an object shares is made
// once a process, on the first receiver's base formatters. Everything is safe from any thread.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class ISO8601DateFormatter;
class NSCalendar;
class NSDate;
class NSDateFormatter;
class NSISO8601DateFormatter;
class QZCanonicalDateFormatter;

class QZ_EXPORT QZDateFormatter : public NSObject {
    QZ_OBJECT(QZDateFormatter, NSObject)
public:
    template <class Self = QZDateFormatter>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }
    /// The one of the process.
    [[nodiscard]] static const Ref<QZDateFormatter>& instance();

    // Formatters of the class.

    /// "yyyy-MM-dd" in the user's locale and time zone.
    [[nodiscard]] static Ref<NSDateFormatter> serverDateFormatter();
    /// The user's date, of medium length; and in full, for print.
    [[nodiscard]] static Ref<NSDateFormatter> appDateFormatter();
    [[nodiscard]] static Ref<NSDateFormatter> printDateFormatter();
    [[nodiscard]] static Ref<ISO8601DateFormatter> iso8601DateFormatter();
    [[nodiscard]] static Ref<QZCanonicalDateFormatter> canonicalDateFormatter();
    /// The thread's own, in the user's locale and time zone. Its format is what the last caller set.
    [[nodiscard]] static Ref<NSDateFormatter> commonDateFormatter();
    /// A new formatter at each call, in "en_US_POSIX" and without a format; in the user's time zone, or GMT.
    [[nodiscard]] static Ref<NSDateFormatter> posixDateFormatter();
    [[nodiscard]] static Ref<NSDateFormatter> posixGMTDateFormatter();

    // Formatters of every object, in "en_US_POSIX".

    /// "yyyy-MM-dd" in the user's time zone.
    [[nodiscard]] Ref<NSDateFormatter> dateFormatter() const;
    /// "yyyy-MM-dd", "yyyy-MM-dd HH:mm:ss", "dd/MM/yyyy HH:mm:ss" and "yyyy-MM-ddTHH:mm:ssZ" in GMT.
    [[nodiscard]] Ref<NSDateFormatter> zxDateFormatter() const;
    [[nodiscard]] Ref<NSDateFormatter> zxDateTimeFormatter() const;
    [[nodiscard]] Ref<NSDateFormatter> zxSentTimeFormatter() const;
    [[nodiscard]] Ref<NSDateFormatter> rfc3339DateFormatter() const;
    /// Each parse sets its options, under monitorOf() it: use it nowhere else.
    [[nodiscard]] Ref<qz::NSISO8601DateFormatter> NSISO8601DateFormatter() const;

    /// The calendar that days are taken in: the Gregorian one of the default time zone, unless set.
    [[nodiscard]] Ref<NSCalendar> calendar() const;
    void setCalendar(const Ref<NSCalendar>& calendar);

    // Days and times. The first three parses look at the first 10, 19 and 19 characters alone, and a text
    // with fewer is no date.

    /// The day in the user's time zone, "2026-11-23".
    [[nodiscard]] std::string ISOFormattedStringFromDate(const Ref<NSDate>& date) const;
    /// The start of that day, from the first 10 characters. What a formatter throws is no date either.
    [[nodiscard]] Ref<NSDate> dateFromISOFormattedString(Text string) const;
    /// The start of a day in GMT, from the first 10 characters.
    [[nodiscard]] Ref<NSDate> dateFromZXFormattedString(Text string) const;
    [[nodiscard]] Ref<NSDate> dateTimeFromZXFormattedString(Text string) const;
    [[nodiscard]] Ref<NSDate> dateTimeFromZXSentTimeFormattedString(Text string) const;
    /// "2026-11-23T07:15:00Z".
    [[nodiscard]] Ref<NSDate> dateFromRFC3339FormattedString(Text string) const;
    [[nodiscard]] std::string rfc3339FormattedStringFromDate(const Ref<NSDate>& date) const;
    /// "20261123", by the class's canonicalDateFormatter().
    [[nodiscard]] Ref<NSDate> dateFromCanonicalFormattedString(Text string) const;
    [[nodiscard]] std::string canonicalFormattedStringFromDate(const Ref<NSDate>& date) const;
    /// A day, or a day and a time after "T" or a blank, with or without a fraction, colons and an offset; GMT
    /// where there is none.
    [[nodiscard]] Ref<NSDate> dateFromISO8601FormattedString(Text string) const;

    // Formats of the caller's, in the user's locale and time zone.

    /// The fields of a template ("yMMMd") as the locale arranges them.
    [[nodiscard]] std::string dateToString(const Ref<NSDate>& date, std::string_view format) const;
    /// A text of exactly this pattern ("d.M.yyyy"): people read what their locale says, and programs write
    /// what they agreed upon.
    [[nodiscard]] Ref<NSDate> stringToDate(Text string, std::string_view format) const;
    /// The date's description; "(null)" for null.
    [[nodiscard]] std::string dateToString(const Ref<NSDate>& date) const;

    /// What a service sent as a date: a date itself, seconds since 1970, or a text of RFC 3339; null for
    /// anything else.
    [[nodiscard]] Ref<NSDate> dateFromDictionaryValue(const id& value) const;
    /// The start of the date's day in calendar(); null for what is no date.
    [[nodiscard]] Ref<NSDate> dateOnlyFromDate(const id& date) const;

protected:
    QZDateFormatter() = default;

private:
    mutable std::mutex mutex_;  // guards the calendar
    mutable Ref<NSCalendar> calendar_;
};

}  // namespace qz
