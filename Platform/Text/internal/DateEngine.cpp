#include "Platform/Text/internal/DateEngine.h"

#include <unicode/gregocal.h>
#include <unicode/numsys.h>

#include <algorithm>
#include <cmath>
#include <list>

namespace qz::internal {

namespace {

constexpr std::size_t keptEngines = 64;
constexpr std::size_t keptFormats = 16;

bool writesLatinDigits(const icu::Locale& locale) {
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<icu::NumberingSystem> system(icu::NumberingSystem::createInstance(locale, error));
    return U_SUCCESS(error) && std::string_view(system->getName()) == "latn";
}

bool isGregorian(const icu::Locale& locale, const TimeZoneRules& zone, const CalendarSettings& settings) {
    const auto calendar = makeCalendar(locale, zone.zone(), settings);
    return calendar && std::string_view(calendar->getType()) == "gregorian";
}

}  // namespace

icu::Locale localeWith(const std::string& identifier, const CalendarSettings& calendar) {
    icu::Locale locale(identifier.c_str());
    if (!calendar.identifier.empty()) {
        UErrorCode error = U_ZERO_ERROR;
        locale.setKeywordValue("calendar", calendar.identifier.c_str(), error);
    }
    return locale;
}

std::unique_ptr<icu::Calendar> makeCalendar(const icu::Locale& locale, const icu::TimeZone& zone,
                                            const CalendarSettings& settings) {
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(zone, locale, error));
    if (U_FAILURE(error)) {
        return nullptr;
    }
    if (settings.firstWeekday > 0) {
        calendar->setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(settings.firstWeekday));
    }
    if (settings.minimumDaysInFirstWeek > 0) {
        calendar->setMinimalDaysInFirstWeek(static_cast<std::uint8_t>(settings.minimumDaysInFirstWeek));
    }
    return calendar;
}

/// A formatter of ICU's for one call; null when there can be none.
class DateEngine::Lease {
public:
    explicit Lease(const DateEngine& engine) : engine_(engine) {
        const std::lock_guard lock(engine_.mutex_);
        if (!engine_.idle_.empty()) {
            format_ = std::move(engine_.idle_.back());
            engine_.idle_.pop_back();
        } else if (!engine_.isSenseless_) {
            format_ = engine_.makeFormat();
            engine_.isSenseless_ = format_ == nullptr;
        }
    }
    ~Lease() {
        const std::lock_guard lock(engine_.mutex_);
        if (format_ && engine_.idle_.size() < keptFormats) {
            engine_.idle_.push_back(std::move(format_));
        }
    }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    [[nodiscard]] const icu::SimpleDateFormat* get() const noexcept { return format_.get(); }

private:
    const DateEngine& engine_;
    std::unique_ptr<icu::SimpleDateFormat> format_;
};

DateEngine::DateEngine(Settings settings) : settings_(std::move(settings)) {
    const auto locale = localeWith(settings_.locale, settings_.calendar);
    // A lenient formatter reads more than its form; what it does with it is ICU's affair.
    if (!settings_.isLenient && writesLatinDigits(locale) &&
        isGregorian(locale, *settings_.zone, settings_.calendar)) {
        direct_ = DatePattern::compile(settings_.pattern);
    }
}

std::shared_ptr<const DateEngine> DateEngine::shared(const Settings& settings) {
    static auto& mutex = *new std::mutex;
    static auto& engines = *new std::list<std::shared_ptr<const DateEngine>>;
    const std::lock_guard lock(mutex);
    const auto known = std::find_if(engines.begin(), engines.end(),
                                    [&](const auto& engine) { return engine->settings_ == settings; });
    if (known != engines.end()) {
        engines.splice(engines.begin(), engines, known);
    } else {
        engines.push_front(std::make_shared<const DateEngine>(settings));
        if (engines.size() > keptEngines) {
            engines.pop_back();
        }
    }
    return engines.front();
}

std::unique_ptr<icu::SimpleDateFormat> DateEngine::makeFormat() const {
    const auto locale = localeWith(settings_.locale, settings_.calendar);
    UErrorCode error = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(fromUTF8(settings_.pattern), locale, error);
    auto calendar = makeCalendar(locale, settings_.zone->zone(), settings_.calendar);
    if (U_FAILURE(error) || !calendar) {
        return nullptr;
    }
    format->adoptCalendar(calendar.release());
    format->setLenient(settings_.isLenient);
    return format;
}

std::optional<double> DateEngine::parseDirectly(std::string_view text) const {
    const auto reading = direct_ ? direct_->parse(text) : std::nullopt;
    if (!reading) {
        return std::nullopt;
    }
    const auto offset = reading->offset ? reading->offset : settings_.zone->offsetAtLocal(reading->local);
    return offset ? std::optional(static_cast<double>(reading->local - *offset)) : std::nullopt;
}

std::optional<double> DateEngine::parse(std::string_view text) const {
    if (const auto time = parseDirectly(text)) {
        return time;
    }
    const auto units = fromUTF8(text);
    std::int32_t used = 0;
    const auto time = parseWithICU(units, used);
    return used == units.length() ? time : std::nullopt;
}

std::optional<double> DateEngine::parseBeginning(std::string_view text) const {
    if (const auto time = parseDirectly(text)) {
        return time;
    }
    std::int32_t used = 0;
    return parseWithICU(fromUTF8(text), used);
}

std::optional<double> DateEngine::parseWithICU(const icu::UnicodeString& text, std::int32_t& used) const {
    used = 0;
    const Lease format(*this);
    if (!format.get()) {
        return std::nullopt;
    }
    icu::ParsePosition end(0);
    const auto time = format.get()->parse(text, end);
    if (end.getErrorIndex() >= 0 || end.getIndex() == 0) {
        return std::nullopt;
    }
    used = end.getIndex();
    return time;
}

bool DateEngine::formatDirectly(double time, std::string& text) const {
    constexpr double reach = 1e15;
    if (!direct_ || !(std::abs(time) < reach)) {
        return false;
    }
    const auto milliseconds = static_cast<std::int64_t>(std::floor(time));
    const auto offset = settings_.zone->offsetAt(milliseconds);
    return offset && direct_->format(milliseconds + *offset, *offset, text);
}

std::string DateEngine::format(double time) const {
    std::string text;
    if (formatDirectly(time, text) || !std::isfinite(time)) {
        return text;
    }
    const Lease format(*this);
    if (format.get()) {
        icu::UnicodeString units;
        format.get()->format(time, units);
        units.toUTF8String(text);
    }
    return text;
}

}  // namespace qz::internal
