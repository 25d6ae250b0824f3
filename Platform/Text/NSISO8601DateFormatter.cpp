#include "Platform/Text/NSISO8601DateFormatter.h"

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Text/NSCalendar.h"
#include "Platform/Text/NSDateFormatter.h"
#include "Platform/Text/internal/DateEngine.h"
#include "Platform/Text/internal/DateTimes.h"

namespace qz {

namespace {

using Options = NSISO8601DateFormatOptions;

constexpr std::size_t keptEngines = 32;

std::string patternOf(Options options) {
    const auto has = [&](Options option) {
        return (static_cast<std::uint64_t>(options) & static_cast<std::uint64_t>(option)) != 0;
    };
    const bool hasWeek = has(Options::WithWeekOfYear);
    std::string pattern;
    const auto addToDate = [&](std::string_view part) {
        if (!pattern.empty() && has(Options::WithDashSeparatorInDate)) {
            pattern += '-';
        }
        pattern += part;
    };
    if (has(Options::WithYear)) {
        addToDate(hasWeek ? "YYYY" : "yyyy");
    }
    if (has(Options::WithMonth)) {
        addToDate("MM");
    }
    if (hasWeek) {
        addToDate("'W'ww");
    }
    if (has(Options::WithDay)) {
        addToDate(hasWeek ? "e" : has(Options::WithMonth) ? "dd" : "DDD");
    }
    if (has(Options::WithTime)) {
        if (!pattern.empty()) {
            pattern += has(Options::WithSpaceBetweenDateAndTime) ? " " : "'T'";
        }
        pattern += has(Options::WithColonSeparatorInTime) ? "HH:mm:ss" : "HHmmss";
        if (has(Options::WithFractionalSeconds)) {
            pattern += ".SSS";
        }
    }
    if (has(Options::WithTimeZone)) {
        pattern += has(Options::WithColonSeparatorInTimeZone) ? "XXX" : "XX";
    }
    return pattern;
}

}  // namespace

QZ_DEFINE_CLASS(NSISO8601DateFormatter, cls) {
    using Self = NSISO8601DateFormatter;
    cls.classMethod("init", [](Class&) { return init(); });
    cls.property(
        "formatOptions", [](const Self& self) { return static_cast<std::uint64_t>(self.formatOptions()); },
        [](Self& self, std::uint64_t options) { self.setFormatOptions(static_cast<Options>(options)); });
    cls.property("timeZone", &Self::timeZone, &Self::setTimeZone);
    cls.method("dateFromString:", &Self::dateFromString);
    cls.method("stringFromDate:", &Self::stringFromDate);
}

NSISO8601DateFormatter::NSISO8601DateFormatter() : timeZone_(NSTimeZone::timeZoneForSecondsFromGMT(0)) {}
NSISO8601DateFormatter::~NSISO8601DateFormatter() = default;

Options NSISO8601DateFormatter::formatOptions() const {
    const std::lock_guard lock(mutex_);
    return options_;
}
void NSISO8601DateFormatter::setFormatOptions(Options options) {
    changing(*this, "formatOptions", [&] {
        const std::lock_guard lock(mutex_);
        options_ = options;
    });
}

Ref<NSTimeZone> NSISO8601DateFormatter::timeZone() const {
    const std::lock_guard lock(mutex_);
    return timeZone_;
}
void NSISO8601DateFormatter::setTimeZone(const Ref<NSTimeZone>& zone) {
    changing(*this, "timeZone", [&] {
        const std::lock_guard lock(mutex_);
        timeZone_ = zone ? zone : NSTimeZone::timeZoneForSecondsFromGMT(0);
        engines_.clear();
    });
}

std::shared_ptr<const internal::DateEngine> NSISO8601DateFormatter::engine() const {
    constexpr int monday = 2;
    constexpr int daysOfFirstWeek = 4;
    const std::lock_guard lock(mutex_);
    auto& engine = engines_[options_];
    if (!engine) {
        engine = internal::DateEngine::shared(
            {patternOf(options_),
             "en_US_POSIX",
             timeZone_->rules(),
             {std::string(NSCalendarIdentifierGregorian), monday, daysOfFirstWeek}});
        if (engines_.size() > keptEngines) {
            return std::exchange(engines_, {}).at(options_);
        }
    }
    return engine;
}

Ref<NSDate> NSISO8601DateFormatter::dateFromString(std::string_view text) const {
    const bool isPossible = !text.empty() && text.size() <= NSDateFormatter::maximumLength;
    return isPossible ? internal::dateOf(engine()->parse(text)) : nullptr;
}

std::string NSISO8601DateFormatter::stringFromDate(const Ref<NSDate>& date) const {
    return date ? engine()->format(internal::millisecondsOf(*date)) : std::string();
}

}  // namespace qz
