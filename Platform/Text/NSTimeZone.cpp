#include "Platform/Text/NSTimeZone.h"

#include <unicode/simpletz.h>

#include <atomic>
#include <mutex>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/internal/TimeZoneRules.h"

namespace qz {

namespace {

using internal::TimeZoneRules;

struct DefaultZone {
    std::mutex mutex;  // guards the zones
    Ref<NSTimeZone> system;
    Ref<NSTimeZone> chosen;
    std::atomic<std::uint64_t> generation{0};
};

DefaultZone& defaultZone() {
    static auto& zone = *new DefaultZone;
    return zone;
}

struct Offset {
    std::int64_t standard;
    std::int64_t saving;
};

/// In milliseconds.
Offset offsetAt(const TimeZoneRules& rules, double seconds) {
    std::int32_t standard = 0;
    std::int32_t saving = 0;
    UErrorCode error = U_ZERO_ERROR;
    rules.zone().getOffset(seconds * 1000, false, standard, saving, error);
    return {standard, saving};
}

}  // namespace

QZ_DEFINE_CLASS(NSTimeZone, cls) {
    cls.classMethod("timeZoneWithName:", [](Class&, Text name) { return timeZoneWithName(name); });
    cls.classMethod("timeZoneForSecondsFromGMT:",
                    [](Class&, std::int64_t seconds) { return timeZoneForSecondsFromGMT(seconds); });
    cls.classMethod("systemTimeZone", [](Class&) { return systemTimeZone(); });
    cls.classMethod("resetSystemTimeZone", [](Class&) { resetSystemTimeZone(); });
    cls.classMethod("defaultTimeZone", [](Class&) { return defaultTimeZone(); });
    cls.classMethod("setDefaultTimeZone:",
                    [](Class&, const Ref<NSTimeZone>& zone) { setDefaultTimeZone(zone); });
    cls.property("name", &NSTimeZone::name);
    cls.property("secondsFromGMT", &NSTimeZone::secondsFromGMT);
    cls.method("secondsFromGMTForDate:", &NSTimeZone::secondsFromGMTForDate);
    cls.method("isDaylightSavingTimeForDate:", &NSTimeZone::isDaylightSavingTimeForDate);
    cls.method("description", &NSTimeZone::name);
    cls.method("isEqual:", [](const NSTimeZone& self, const id& other) {
        const auto zone = other.as<NSTimeZone>();
        return zone && zone->name() == self.name();
    });
    cls.method("hash", [](const NSTimeZone& self) { return std::hash<std::string>()(self.name()); });
}

NSTimeZone::NSTimeZone(std::shared_ptr<const TimeZoneRules> rules) noexcept : rules_(std::move(rules)) {}

Ref<NSTimeZone> NSTimeZone::timeZoneWithName(Text name) {
    auto rules = name ? TimeZoneRules::named(name.view()) : nullptr;
    return rules ? make<NSTimeZone>(std::move(rules)) : nullptr;
}

Ref<NSTimeZone> NSTimeZone::timeZoneForSecondsFromGMT(std::int64_t seconds) {
    constexpr std::int64_t day = 86400;
    if (seconds <= -day || seconds >= day) {
        return nullptr;
    }
    std::string name = "GMT";
    if (seconds != 0) {
        const auto distance = seconds < 0 ? -seconds : seconds;
        name += seconds < 0 ? '-' : '+';
        for (const auto part : {distance / 3600, distance / 60 % 60, distance % 60}) {
            const auto digits = std::to_string(part);
            name += (digits.size() < 2 ? "0" : "") + digits;
        }
    }
    return timeZoneWithName(name);
}

Ref<NSTimeZone> NSTimeZone::systemTimeZone() {
    auto& zone = defaultZone();
    const std::lock_guard lock(zone.mutex);
    if (!zone.system) {
        zone.system = make<NSTimeZone>(std::make_shared<const TimeZoneRules>(
            std::unique_ptr<icu::TimeZone>(icu::TimeZone::detectHostTimeZone())));
    }
    return zone.system;
}

void NSTimeZone::resetSystemTimeZone() {
    auto& zone = defaultZone();
    const std::lock_guard lock(zone.mutex);
    zone.system.reset();
    zone.generation.fetch_add(1, std::memory_order_release);
}

Ref<NSTimeZone> NSTimeZone::defaultTimeZone() {
    auto& zone = defaultZone();
    {
        const std::lock_guard lock(zone.mutex);
        if (zone.chosen) {
            return zone.chosen;
        }
    }
    return systemTimeZone();
}

void NSTimeZone::setDefaultTimeZone(const Ref<NSTimeZone>& chosen) {
    auto& zone = defaultZone();
    const std::lock_guard lock(zone.mutex);
    zone.chosen = chosen;
    zone.generation.fetch_add(1, std::memory_order_release);
}

std::uint64_t NSTimeZone::defaultGeneration() noexcept {
    return defaultZone().generation.load(std::memory_order_acquire);
}

const std::string& NSTimeZone::name() const noexcept {
    return rules_->name();
}

std::int64_t NSTimeZone::secondsFromGMT() const {
    return secondsFromGMTForDate(NSDate::date());
}

std::int64_t NSTimeZone::secondsFromGMTForDate(const Ref<NSDate>& date) const {
    const auto offset = offsetAt(*rules_, date->timeIntervalSince1970());
    return (offset.standard + offset.saving) / 1000;
}

bool NSTimeZone::isDaylightSavingTimeForDate(const Ref<NSDate>& date) const {
    return offsetAt(*rules_, date->timeIntervalSince1970()).saving != 0;
}

}  // namespace qz
