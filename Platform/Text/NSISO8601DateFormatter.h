// NSISO8601DateFormatter: dates in the forms of ISO 8601, put together from options.
//
//     const auto formatter = NSISO8601DateFormatter::init();          // 2026-11-23T08:15:00Z
//     formatter->setFormatOptions(NSISO8601DateFormatOptions::WithFullDate);
//     formatter->stringFromDate(date);                                // 2026-11-23
//
// It reads what it writes, and besides that: other numbers of digits in a fraction, and an offset with a
// colon where the options have none. Calendar dates take some tenths of a microsecond, weeks and days of the
// year some microseconds. Any thread may use it; who changes its options for a call must keep others out.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Text/NSTimeZone.h"

namespace qz {

namespace internal {
class DateEngine;
}

/// What is written, in this order; bits to be combined.
enum class NSISO8601DateFormatOptions : std::uint64_t {
    WithYear = 1,
    WithMonth = 2,
    WithWeekOfYear = 4,  // "W48", and the year that the week belongs to
    WithDay = 16,        // of the week or the month, where these are written, or of the year
    WithTime = 32,
    WithTimeZone = 64,                  // "Z", or an offset as "+0200"
    WithSpaceBetweenDateAndTime = 128,  // instead of "T"
    WithDashSeparatorInDate = 256,
    WithColonSeparatorInTime = 512,
    WithColonSeparatorInTimeZone = 1024,
    WithFractionalSeconds = 2048,  // milliseconds
    WithFullDate = WithYear | WithMonth | WithDay | WithDashSeparatorInDate,
    WithFullTime = WithTime | WithTimeZone | WithColonSeparatorInTime | WithColonSeparatorInTimeZone,
    WithInternetDateTime = WithFullDate | WithFullTime,
};
[[nodiscard]] constexpr NSISO8601DateFormatOptions operator|(NSISO8601DateFormatOptions left,
                                                             NSISO8601DateFormatOptions right) noexcept {
    return static_cast<NSISO8601DateFormatOptions>(static_cast<std::uint64_t>(left) |
                                                   static_cast<std::uint64_t>(right));
}
constexpr NSISO8601DateFormatOptions& operator|=(NSISO8601DateFormatOptions& left,
                                                 NSISO8601DateFormatOptions right) noexcept {
    return left = left | right;
}

class QZ_EXPORT NSISO8601DateFormatter : public NSObject {
    QZ_OBJECT(NSISO8601DateFormatter, NSObject)
public:
    [[nodiscard]] static Ref<NSISO8601DateFormatter> init() { return make<NSISO8601DateFormatter>(); }
    ~NSISO8601DateFormatter() override;

    /// WithInternetDateTime at first.
    [[nodiscard]] NSISO8601DateFormatOptions formatOptions() const;
    void setFormatOptions(NSISO8601DateFormatOptions options);
    /// Of texts without an offset, and of those that are written. GMT at first, and again for null.
    [[nodiscard]] Ref<NSTimeZone> timeZone() const;
    void setTimeZone(const Ref<NSTimeZone>& zone);

    /// The whole text has to be a date of the options' form; null otherwise.
    [[nodiscard]] Ref<NSDate> dateFromString(std::string_view text) const;
    /// Empty for null.
    [[nodiscard]] std::string stringFromDate(const Ref<NSDate>& date) const;

protected:
    NSISO8601DateFormatter();

private:
    [[nodiscard]] std::shared_ptr<const internal::DateEngine> engine() const;

    mutable std::mutex mutex_;  // guards what follows
    NSISO8601DateFormatOptions options_ = NSISO8601DateFormatOptions::WithInternetDateTime;
    Ref<NSTimeZone> timeZone_;
    // By options: these change from one text to the next.
    mutable std::map<NSISO8601DateFormatOptions, std::shared_ptr<const internal::DateEngine>> engines_;
};

}  // namespace qz
