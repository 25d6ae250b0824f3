// DatePattern: the fixed forms of dates, read and written without a general formatter.
//
// A pattern of "yyyy", "MM", "dd", "HH", "mm", "ss", "SSS", a zone at the end ("XX", "XXX") and punctuation
// between them can be compiled. What it reads and writes is exactly what ICU's SimpleDateFormat reads and
// writes with the same pattern, Gregorian calendar and Latin digits; of all else it says that it does not
// know, and the caller asks ICU: about other widths and blanks, days that do not exist, the years before the
// Gregorian calendar. Immutable; may be used from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qz::internal {

class DatePattern {
public:
    /// Nullopt for a pattern with other fields, and for one without a whole date.
    [[nodiscard]] static std::optional<DatePattern> compile(std::string_view pattern);

    struct Reading {
        std::int64_t local;                  // milliseconds since 1970 of the wall clock
        std::optional<std::int64_t> offset;  // milliseconds east of GMT, where the text has a zone
    };
    /// Nullopt: not known.
    [[nodiscard]] std::optional<Reading> parse(std::string_view text) const noexcept;
    /// The text of a wall clock that is `offset` milliseconds ahead of GMT. False, with nothing written: not
    /// known.
    [[nodiscard]] bool format(std::int64_t local, std::int64_t offset, std::string& text) const;

private:
    enum class Kind : std::uint8_t { Literal, Year, Month, Day, Hour, Minute, Second, Millisecond, Zone };
    static constexpr std::size_t kinds = 9;
    struct Part {
        Kind kind;
        std::uint8_t width;  // in characters; those of "XX" or "XXX" for a zone
        char literal;
    };

    [[nodiscard]] static std::optional<Part> fieldPart(char letter, std::size_t width) noexcept;
    [[nodiscard]] bool add(const Part& part);

    std::vector<Part> parts_;
    std::size_t width_ = 0;  // without the zone
    unsigned present_ = 0;   // bits by kind
};

}  // namespace qz::internal
