#include "Platform/Text/internal/TimeZoneRules.h"

#include <unicode/basictz.h>
#include <unicode/tztrans.h>

#include <algorithm>
#include <map>
#include <mutex>

namespace qz::internal {

namespace {

constexpr std::int64_t year1583 = -12'212'553'600'000;
constexpr std::int64_t year2200 = 7'258'118'400'000;
// More than any zone was ever away from GMT, on both sides of a change.
constexpr std::int64_t dayAndABit = std::int64_t{26} * 3'600'000;
// Names of offsets ("GMT+01:23:45") are without number; the others are some six hundred.
constexpr std::size_t keptZones = 1000;

}  // namespace

icu::UnicodeString fromUTF8(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

TimeZoneRules::TimeZoneRules(std::unique_ptr<icu::TimeZone> zone) : zone_(std::move(zone)) {
    icu::UnicodeString name;
    zone_->getID(name).toUTF8String(name_);
    const auto* basic = dynamic_cast<const icu::BasicTimeZone*>(zone_.get());
    if (!basic) {
        return;
    }
    add(static_cast<double>(year1583));
    icu::TimeZoneTransition change;
    auto time = static_cast<double>(year1583);
    while (basic->getNextTransition(time, false, change)) {
        time = change.getTime();
        if (time >= static_cast<double>(year2200)) {
            end_ = year2200;
            break;
        }
        add(time);
    }
}

void TimeZoneRules::add(double start) {
    std::int32_t standard = 0;
    std::int32_t saving = 0;
    UErrorCode error = U_ZERO_ERROR;
    zone_->getOffset(start, false, standard, saving, error);
    periods_.push_back({static_cast<std::int64_t>(start), std::int64_t{standard} + saving});
}

std::shared_ptr<const TimeZoneRules> TimeZoneRules::named(std::string_view name) {
    using Zones = std::map<std::string, std::shared_ptr<const TimeZoneRules>, std::less<>>;
    static auto& mutex = *new std::mutex;
    static auto& zones = *new Zones;
    const std::lock_guard lock(mutex);
    if (const auto known = zones.find(name); known != zones.end()) {
        return known->second;
    }
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(fromUTF8(name)));
    if (*zone == icu::TimeZone::getUnknown()) {
        return nullptr;
    }
    auto rules = std::make_shared<const TimeZoneRules>(std::move(zone));
    if (zones.size() < keptZones) {
        zones.emplace(name, rules);
    }
    return rules;
}

std::vector<TimeZoneRules::Period>::const_iterator TimeZoneRules::find(std::int64_t time) const noexcept {
    if (periods_.empty() || time < periods_.front().start || time >= end_) {
        return periods_.end();
    }
    const auto later =
        std::upper_bound(periods_.begin(), periods_.end(), time,
                         [](std::int64_t moment, const Period& period) { return moment < period.start; });
    return later - 1;
}

std::optional<std::int64_t> TimeZoneRules::offsetAt(std::int64_t time) const noexcept {
    const auto period = find(time);
    return period == periods_.end() ? std::nullopt : std::optional(period->offset);
}

std::optional<std::int64_t> TimeZoneRules::offsetAtLocal(std::int64_t local) const noexcept {
    const auto period = find(local);
    if (period == periods_.end()) {
        return std::nullopt;
    }
    const auto end = period + 1 == periods_.end() ? end_ : (period + 1)->start;
    const bool isFirst = period == periods_.begin();
    // Zones without changes are sure from the first day on.
    const auto start = isFirst && period->offset == 0 ? INT64_MIN : period->start + dayAndABit;
    const bool isSure = local >= start && (end == INT64_MAX || local < end - dayAndABit);
    return isSure ? std::optional(period->offset) : std::nullopt;
}

}  // namespace qz::internal
