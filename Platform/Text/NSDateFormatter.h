// NSDateFormatter: dates as text and back, by a pattern (Unicode TR 35: "yyyy-MM-dd HH:mm:ss").
//
//     const auto formatter = NSDateFormatter::init();
//     formatter->setDateFormat("EEE, dd MMM yyyy HH:mm:ss zzz");
//     const auto date = formatter->dateFromString("Mon, 23 Nov 2026 08:15:00 GMT");
//
// The calendar is the Gregorian one. Unless set, the locale is the one of the user's environment when the
// formatter is first used, and the time zone the system's. Making a formatter ready costs some ten
// microseconds, so keep it. Any thread may use it; threads that use the same one take turns.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Text/NSLocale.h"

namespace qz {

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

    /// The pattern; empty at first. One that makes no sense makes every text and date unreadable.
    [[nodiscard]] std::string dateFormat() const;
    void setDateFormat(std::string_view format);
    /// Null: that of the environment.
    [[nodiscard]] Ref<NSLocale> locale() const;
    void setLocale(const Ref<NSLocale>& locale);
    /// An identifier as "Europe/Vienna", "GMT" or "GMT+02:00"; nil: that of the system.
    [[nodiscard]] std::optional<std::string> timeZoneName() const;
    void setTimeZoneName(Text name);
    /// Whether texts may differ from the pattern where it is clear what they mean. False at first.
    [[nodiscard]] bool isLenient() const;
    void setLenient(bool lenient);

    /// The whole text has to be a date; null otherwise.
    [[nodiscard]] Ref<NSDate> dateFromString(std::string_view text) const;
    /// Empty when the pattern makes no sense.
    [[nodiscard]] std::string stringFromDate(const Ref<NSDate>& date) const;

protected:
    NSDateFormatter();

private:
    struct Prepared;
    template <class F>
    void change(std::string_view key, F&& change);
    [[nodiscard]] Prepared* preparedLocked() const;

    mutable std::mutex mutex_;  // guards all that follows
    std::string format_;
    Ref<NSLocale> locale_;
    std::optional<std::string> timeZone_;
    bool isLenient_ = false;
    mutable std::unique_ptr<Prepared> prepared_;  // null until used after a change
};

}  // namespace qz
