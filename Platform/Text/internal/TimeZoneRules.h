// TimeZoneRules: a time zone as ICU knows it, with its changes written out from 1583 to 2200.
//
// Immutable and shared: zones are kept by name for the life of the process, since making one takes some
// tenths of a millisecond. May be used from any thread.
#pragma once

#include <unicode/timezone.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qz::internal {

[[nodiscard]] icu::UnicodeString fromUTF8(std::string_view text);

class TimeZoneRules {
public:
    explicit TimeZoneRules(std::unique_ptr<icu::TimeZone> zone);

    /// Null for a name that ICU does not know.
    [[nodiscard]] static std::shared_ptr<const TimeZoneRules> named(std::string_view name);

    [[nodiscard]] const icu::TimeZone& zone() const noexcept { return *zone_; }
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

    /// Milliseconds east of GMT at a time in milliseconds since 1970; nullopt: not written out.
    [[nodiscard]] std::optional<std::int64_t> offsetAt(std::int64_t time) const noexcept;
    /// The same for what a wall clock shows; nullopt also within a day and a bit of a change, where a clock
    /// may show a time twice or never.
    [[nodiscard]] std::optional<std::int64_t> offsetAtLocal(std::int64_t local) const noexcept;

private:
    struct Period {
        std::int64_t start;
        std::int64_t offset;
    };

    void add(double start);
    [[nodiscard]] std::vector<Period>::const_iterator find(std::int64_t time) const noexcept;

    std::unique_ptr<icu::TimeZone> zone_;
    std::string name_;
    std::vector<Period> periods_;  // in order; empty when the zone cannot tell its changes
    std::int64_t end_ = INT64_MAX;
};

}  // namespace qz::internal
