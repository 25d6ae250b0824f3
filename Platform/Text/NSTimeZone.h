// NSTimeZone: how far the clocks of a place are ahead of GMT, at which time.
//
//     NSTimeZone::timeZoneWithName("Europe/Vienna")->secondsFromGMTForDate(date);   // 3600, in summer 7200
//     NSTimeZone::timeZoneForSecondsFromGMT(0);                                     // GMT
//
// The system's zone (TZ, or /etc/localtime) is read once. Formatters and calendars that were given no zone
// follow the default one, which is the system's until a program says otherwise. A zone takes some tenths of a
// millisecond to make and is kept. Immutable; safe from any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Runtime/Id.h"

namespace qz {

namespace internal {
class TimeZoneRules;
}

class QZ_EXPORT NSTimeZone : public NSObject {
    QZ_OBJECT(NSTimeZone, NSObject)
public:
    /// "Europe/Vienna", "GMT", "GMT+02:00"; null for nil and a name that means nothing.
    [[nodiscard]] static Ref<NSTimeZone> timeZoneWithName(Text name);
    /// Without summer time; null from 24 hours on.
    [[nodiscard]] static Ref<NSTimeZone> timeZoneForSecondsFromGMT(std::int64_t seconds);
    [[nodiscard]] static Ref<NSTimeZone> systemTimeZone();
    /// Lets the system's zone be read again.
    static void resetSystemTimeZone();
    [[nodiscard]] static Ref<NSTimeZone> defaultTimeZone();
    /// Null: that of the system.
    static void setDefaultTimeZone(const Ref<NSTimeZone>& zone);

    [[nodiscard]] const std::string& name() const noexcept;
    /// Now, or at a date, which must not be null.
    [[nodiscard]] std::int64_t secondsFromGMT() const;
    [[nodiscard]] std::int64_t secondsFromGMTForDate(const Ref<NSDate>& date) const;
    [[nodiscard]] bool isDaylightSavingTimeForDate(const Ref<NSDate>& date) const;

    /// A number that changes with the default zone, for those who keep what they made of it.
    [[nodiscard]] static std::uint64_t defaultGeneration() noexcept;
    /// What formatters and calendars work with.
    [[nodiscard]] const std::shared_ptr<const internal::TimeZoneRules>& rules() const noexcept {
        return rules_;
    }

protected:
    explicit NSTimeZone(std::shared_ptr<const internal::TimeZoneRules> rules) noexcept;

private:
    const std::shared_ptr<const internal::TimeZoneRules> rules_;
};

}  // namespace qz
