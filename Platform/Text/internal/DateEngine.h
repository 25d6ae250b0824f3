// DateEngine: what a date formatter does, for settings that do not change any more.
//
// Fixed forms (DatePattern) in zones whose changes are known (TimeZoneRules) are read and written directly,
// in a tenth of the time; everything else by ICU. ICU's formatters serve one thread at a time, so an engine
// keeps as many clones as threads have used it at once. Engines are shared by settings: the ones that were
// used last are kept, because a formatter whose pattern is set for each call meets few patterns. Times are
// milliseconds since 1970. May be used from any thread.
#pragma once

#include <unicode/smpdtfmt.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Text/internal/DatePattern.h"
#include "Platform/Text/internal/TimeZoneRules.h"

namespace qz::internal {

/// What the calendar of a formatter is; nothing given means what the locale says.
struct CalendarSettings {
    std::string identifier;
    int firstWeekday = 0;  // Sunday is 1
    int minimumDaysInFirstWeek = 0;
    [[nodiscard]] bool operator==(const CalendarSettings&) const = default;
};

/// The locale, with the calendar that is to be used with it.
[[nodiscard]] icu::Locale localeWith(const std::string& identifier, const CalendarSettings& calendar);
/// Null when ICU has no such calendar.
[[nodiscard]] std::unique_ptr<icu::Calendar> makeCalendar(const icu::Locale& locale,
                                                          const icu::TimeZone& zone,
                                                          const CalendarSettings& settings);

class DateEngine {
public:
    struct Settings {
        std::string pattern;
        std::string locale;
        std::shared_ptr<const TimeZoneRules> zone;
        CalendarSettings calendar;
        bool isLenient = false;
        [[nodiscard]] bool operator==(const Settings&) const = default;
    };

    explicit DateEngine(Settings settings);
    [[nodiscard]] static std::shared_ptr<const DateEngine> shared(const Settings& settings);

    /// The whole text; nullopt when it is no date.
    [[nodiscard]] std::optional<double> parse(std::string_view text) const;
    /// A date at the beginning of the text.
    [[nodiscard]] std::optional<double> parseBeginning(std::string_view text) const;
    /// Empty when the pattern makes no sense, or the calendar does not reach to the time.
    [[nodiscard]] std::string format(double time) const;

private:
    class Lease;

    [[nodiscard]] std::optional<double> parseDirectly(std::string_view text) const;
    /// `used` becomes the number of UTF-16 units that the date has.
    [[nodiscard]] std::optional<double> parseWithICU(const icu::UnicodeString& text,
                                                     std::int32_t& used) const;
    [[nodiscard]] bool formatDirectly(double time, std::string& text) const;
    [[nodiscard]] std::unique_ptr<icu::SimpleDateFormat> makeFormat() const;

    const Settings settings_;
    std::optional<DatePattern> direct_;
    mutable std::mutex mutex_;  // guards the formats
    mutable std::vector<std::unique_ptr<icu::SimpleDateFormat>> idle_;
    mutable bool isSenseless_ = false;  // ICU can make nothing of the settings
};

}  // namespace qz::internal
