// NSDateFormatter: dates as text and back, by a pattern (Unicode TR 35: "yyyy-MM-dd HH:mm:ss"), by the styles
// of a locale, or by a template that the locale puts in order.
//
//     const auto formatter = NSDateFormatter::init();
//     formatter->setDateFormat("EEE, dd MMM yyyy HH:mm:ss zzz");
//     const auto date = formatter->dateFromString("Mon, 23 Nov 2026 08:15:00 GMT");
//
// What is exchanged between programs wants the locale "en_US_POSIX": the user's own may count other years and
// write other digits. Unless set, the locale is the one of the user's environment when the formatter is first
// used, the calendar is the locale's, and the time zone is the default one at each call.
//
// Forms of fixed-width numbers ("yyyy-MM-dd", with a time, a fraction, a zone) take some tenths of a
// microsecond, others some microseconds. A change of settings is cheap where another formatter had the same
// ones before. Any thread may use a formatter while others do, and they do not wait for each other's work.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Text/NSLocale.h"
#include "Platform/Text/NSTimeZone.h"

namespace qz {

class NSCalendar;
class NSError;

namespace internal {
class DateEngine;
struct CalendarSettings;
}  // namespace internal

/// How much of a date, or of a time of day, is written.
enum class NSDateFormatterStyle : std::uint64_t { None, Short, Medium, Long, Full };

class QZ_EXPORT NSDateFormatter : public NSObject {
    QZ_OBJECT(NSDateFormatter, NSObject)
public:
    /// Texts are bounded: longer ones are no dates, and longer patterns no patterns.
    static constexpr std::size_t maximumLength = 1024;

    template <class Self = NSDateFormatter>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }
    ~NSDateFormatter() override;

    /// The pattern: the one that was set, or that of the styles; empty without either. One that makes no
    /// sense makes every text and date unreadable.
    [[nodiscard]] std::string dateFormat() const;
    void setDateFormat(std::string_view format);
    /// Takes the pattern in which the locale writes the fields of a template: "yMMMd" becomes "MMM d, y" or
    /// "d MMM y".
    void setLocalizedDateFormatFromTemplate(std::string_view dateFormatTemplate);
    [[nodiscard]] static std::string dateFormatFromTemplate(std::string_view dateFormatTemplate,
                                                            const Ref<NSLocale>& locale);
    /// None at first. Setting one drops a pattern.
    [[nodiscard]] NSDateFormatterStyle dateStyle() const;
    void setDateStyle(NSDateFormatterStyle style);
    [[nodiscard]] NSDateFormatterStyle timeStyle() const;
    void setTimeStyle(NSDateFormatterStyle style);
    /// Null: that of the environment.
    [[nodiscard]] Ref<NSLocale> locale() const;
    void setLocale(const Ref<NSLocale>& locale);
    /// Never null: the default zone unless one was set, which null takes back.
    [[nodiscard]] Ref<NSTimeZone> timeZone() const;
    void setTimeZone(const Ref<NSTimeZone>& zone);
    /// The zone of an identifier as "Europe/Vienna", "GMT" or "GMT+02:00"; nil: the default one. One that
    /// means nothing is GMT.
    void setTimeZoneName(Text name);
    /// Null: that of the locale. Of a calendar the identifier and the rules of its weeks count, as they are
    /// when it is set.
    [[nodiscard]] Ref<NSCalendar> calendar() const;
    void setCalendar(const Ref<NSCalendar>& calendar);
    /// Whether texts may differ from the pattern where it is clear what they mean. False at first: then still
    /// leading blanks, numbers of more digits, other scripts' digits and texts that lack the pattern's last
    /// literal are read.
    [[nodiscard]] bool isLenient() const;
    void setLenient(bool lenient);

    /// The whole text has to be a date; null otherwise.
    [[nodiscard]] Ref<NSDate> dateFromString(std::string_view text) const;
    /// Reads a date at the beginning of the first `length` characters (UTF-16 units) of a text; what follows
    /// it does not matter. False, with an error of NSCocoaErrorDomain, where there is none, or where the text
    /// is shorter. Both pointers may be null.
    bool getObjectValue(id* object, Text forString, std::size_t length, Ref<NSError>* error) const;
    /// Empty for null, and when the pattern makes no sense. A date is a double, which seldom holds a
    /// millisecond exactly: what is as near to one as a double gets is that millisecond.
    [[nodiscard]] std::string stringFromDate(const Ref<NSDate>& date) const;

protected:
    NSDateFormatter();

private:
    template <class F>
    void change(std::string_view key, F&& change);
    [[nodiscard]] std::string localeIdentifierLocked() const;
    [[nodiscard]] std::string patternLocked() const;
    [[nodiscard]] std::shared_ptr<const internal::DateEngine> engine() const;

    mutable std::mutex mutex_;  // guards all that follows
    std::optional<std::string> format_;
    NSDateFormatterStyle dateStyle_ = NSDateFormatterStyle::None;
    NSDateFormatterStyle timeStyle_ = NSDateFormatterStyle::None;
    Ref<NSLocale> locale_;
    Ref<NSTimeZone> timeZone_;
    Ref<NSCalendar> calendar_;
    std::unique_ptr<internal::CalendarSettings> calendarSettings_;
    bool isLenient_ = false;
    mutable std::shared_ptr<const internal::DateEngine> engine_;  // null until used after a change
    mutable std::uint64_t generation_ = 0;                        // of the default zone, of the engine
};

}  // namespace qz
