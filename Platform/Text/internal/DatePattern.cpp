#include "Platform/Text/internal/DatePattern.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace qz::internal {

namespace {

constexpr std::int64_t millisecondsOfDay = 86'400'000;
// The Julian calendar counts until October of 1582.
constexpr int firstYear = 1583;
constexpr int lastYear = 9999;

constexpr bool isDigit(char character) noexcept {
    return character >= '0' && character <= '9';
}

/// The number that so many digits make; -1 when one of them is none.
constexpr int number(const char* text, std::size_t width) noexcept {
    int value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        if (!isDigit(text[i])) {
            return -1;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

void write(char* text, int value, std::size_t width) noexcept {
    while (width > 0) {
        text[--width] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

/// "Z", "+0200", "-05:00", in milliseconds. Offsets that no place on earth has are left to ICU.
std::optional<std::int64_t> offsetOf(std::string_view text) noexcept {
    if (text == "Z") {
        return 0;
    }
    const bool colon = text.size() == 6 && text[3] == ':';
    if ((text.size() != 5 && !colon) || (text[0] != '+' && text[0] != '-')) {
        return std::nullopt;
    }
    const auto hours = number(text.data() + 1, 2);
    const auto minutes = number(text.data() + (colon ? 4 : 3), 2);
    if (hours < 0 || hours > 14 || minutes < 0 || minutes > 59) {
        return std::nullopt;
    }
    const auto offset = (std::int64_t{hours} * 60 + minutes) * 60'000;
    return text[0] == '-' ? -offset : offset;
}

}  // namespace

std::optional<DatePattern> DatePattern::compile(std::string_view pattern) {
    DatePattern compiled;
    bool isQuoted = false;
    for (std::size_t i = 0; i < pattern.size();) {
        const auto character = pattern[i];
        if (character == '\'') {
            if (pattern.substr(i).starts_with("''")) {
                return std::nullopt;  // a quote that is written
            }
            isQuoted = !isQuoted;
            ++i;
            continue;
        }
        const bool isLetter =
            (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
        Part part{Kind::Literal, 1, character};
        std::size_t length = 1;
        if (isLetter && !isQuoted) {
            length = std::min(pattern.find_first_not_of(character, i), pattern.size()) - i;
            const auto field = fieldPart(character, length);
            if (!field) {
                return std::nullopt;
            }
            part = *field;
        }
        if (!compiled.add(part)) {
            return std::nullopt;
        }
        i += length;
    }
    constexpr unsigned wholeDate = 1U << static_cast<unsigned>(Kind::Year) |
                                   1U << static_cast<unsigned>(Kind::Month) |
                                   1U << static_cast<unsigned>(Kind::Day);
    const bool isWhole = !isQuoted && (compiled.present_ & wholeDate) == wholeDate;
    return isWhole && compiled.parts_.back().literal != ' ' ? std::optional(compiled) : std::nullopt;
}

std::optional<DatePattern::Part> DatePattern::fieldPart(char letter, std::size_t width) noexcept {
    struct Field {
        char letter;
        std::size_t width;
        Kind kind;
    };
    static constexpr std::array<Field, 9> fields{{{'y', 4, Kind::Year},
                                                  {'M', 2, Kind::Month},
                                                  {'d', 2, Kind::Day},
                                                  {'H', 2, Kind::Hour},
                                                  {'m', 2, Kind::Minute},
                                                  {'s', 2, Kind::Second},
                                                  {'S', 3, Kind::Millisecond},
                                                  {'X', 2, Kind::Zone},
                                                  {'X', 3, Kind::Zone}}};
    for (const auto& field : fields) {
        if (field.letter == letter && field.width == width) {
            return Part{field.kind, static_cast<std::uint8_t>(width), letter};
        }
    }
    return std::nullopt;
}

bool DatePattern::add(const Part& part) {
    const auto bit = 1U << static_cast<unsigned>(part.kind);
    if (part.kind == Kind::Literal) {
        // Digits would run into the numbers beside them; blanks and quotes have rules of their own.
        static constexpr std::string_view known = "-/:.TZ ";
        if (known.find(part.literal) == std::string_view::npos ||
            (part.literal == ' ' && (parts_.empty() || parts_.back().literal == ' '))) {
            return false;
        }
    } else if ((present_ & bit) != 0) {
        return false;
    }
    if ((present_ & 1U << static_cast<unsigned>(Kind::Zone)) != 0) {
        return false;  // the zone ends the pattern
    }
    present_ |= bit;
    parts_.push_back(part);
    width_ += part.kind == Kind::Zone ? 0 : part.width;
    return true;
}

std::optional<DatePattern::Reading> DatePattern::parse(std::string_view text) const noexcept {
    const bool hasZone = parts_.back().kind == Kind::Zone;
    if (hasZone ? text.size() <= width_ : text.size() != width_) {
        return std::nullopt;
    }
    std::array<int, kinds> fields{};
    Reading reading{};
    const auto* next = text.data();
    for (const auto& part : parts_) {
        if (part.kind == Kind::Literal) {
            if (*next != part.literal) {
                return std::nullopt;
            }
        } else if (part.kind == Kind::Zone) {
            reading.offset = offsetOf(text.substr(width_));
            // ICU reads the form without the colon too, but not where the pattern asks for one.
            if (!reading.offset || (part.width == 3 && text.size() == width_ + 5)) {
                return std::nullopt;
            }
            break;
        } else if (const auto value = number(next, part.width); value >= 0) {
            fields[static_cast<std::size_t>(part.kind)] = value;
        } else {
            return std::nullopt;
        }
        next += part.width;
    }
    const auto field = [&](Kind kind) { return fields[static_cast<std::size_t>(kind)]; };
    const std::chrono::year_month_day date(std::chrono::year(field(Kind::Year)),
                                           std::chrono::month(static_cast<unsigned>(field(Kind::Month))),
                                           std::chrono::day(static_cast<unsigned>(field(Kind::Day))));
    if (field(Kind::Year) < firstYear || !date.ok() || field(Kind::Hour) > 23 || field(Kind::Minute) > 59 ||
        field(Kind::Second) > 59) {
        return std::nullopt;
    }
    const std::int64_t seconds = (field(Kind::Hour) * 60 + field(Kind::Minute)) * 60 + field(Kind::Second);
    reading.local = std::chrono::sys_days(date).time_since_epoch().count() * millisecondsOfDay +
                    seconds * 1000 + field(Kind::Millisecond);
    return reading;
}

bool DatePattern::format(std::int64_t local, std::int64_t offset, std::string& text) const {
    constexpr std::int64_t reach = std::int64_t{lastYear} * 366 * millisecondsOfDay;
    if (local < -reach || local > reach) {
        return false;
    }
    const auto time = std::chrono::sys_time<std::chrono::milliseconds>(std::chrono::milliseconds(local));
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const auto year = static_cast<int>(date.year());
    const bool hasZone = parts_.back().kind == Kind::Zone;
    if (year < firstYear || year > lastYear || (hasZone && offset % 60'000 != 0)) {
        return false;
    }
    const auto ofDay = static_cast<int>((time - day).count());
    text.resize(width_);
    auto* next = text.data();
    for (const auto& part : parts_) {
        switch (part.kind) {
            case Kind::Literal:
                *next = part.literal;
                break;
            case Kind::Year:
                write(next, year, 4);
                break;
            case Kind::Month:
                write(next, static_cast<int>(static_cast<unsigned>(date.month())), 2);
                break;
            case Kind::Day:
                write(next, static_cast<int>(static_cast<unsigned>(date.day())), 2);
                break;
            case Kind::Hour:
                write(next, ofDay / 3'600'000, 2);
                break;
            case Kind::Minute:
                write(next, ofDay / 60'000 % 60, 2);
                break;
            case Kind::Second:
                write(next, ofDay / 1000 % 60, 2);
                break;
            case Kind::Millisecond:
                write(next, ofDay % 1000, 3);
                break;
            case Kind::Zone: {
                if (offset == 0) {
                    text += 'Z';
                    break;
                }
                const auto minutes = static_cast<int>((offset < 0 ? -offset : offset) / 60'000);
                std::array<char, 6> zone{offset < 0 ? '-' : '+'};
                write(&zone[1], minutes / 60, 2);
                zone[3] = ':';
                write(&zone[part.width == 3 ? 4 : 3], minutes % 60, 2);
                text.append(zone.data(), part.width == 3 ? 6 : 5);
                break;
            }
        }
        next += part.width;
    }
    return true;
}

}  // namespace qz::internal
