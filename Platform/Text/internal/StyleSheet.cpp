#include "Platform/Text/internal/StyleSheet.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "Platform/Text/UIColor.h"
#include "Platform/Text/UTF16.h"

namespace qz::internal {

namespace {

constexpr std::string_view blanks = " \t\n\r\f";

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Calls `part(view)` for each part between separators.
template <class F>
void split(std::string_view text, char separator, F&& part) {
    for (std::size_t start = 0; start <= text.size();) {
        const auto end = std::min(text.find(separator, start), text.size());
        part(trimmed(text.substr(start, end - start)));
        start = end + 1;
    }
}

std::string withoutComments(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size();) {
        const auto comment = std::min(text.find("/*", at), text.size());
        plain.append(text.substr(at, comment - at));
        const auto end = text.find("*/", std::min(comment + 2, text.size()));
        at = end == std::string_view::npos ? text.size() : end + 2;
    }
    return plain;
}

/// A text without its escapes: "\\27 s" is "'s" (CSS Syntax, 4.3.7).
std::string unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\' || at + 1 == text.size()) {
            plain += text[at];
            continue;
        }
        const auto digits = text.substr(at + 1, 6);
        std::uint32_t value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (error != std::errc()) {
            plain += text[++at];
            continue;
        }
        std::u16string units(1, static_cast<char16_t>(value));
        if (value > 0xFFFF) {
            units = {static_cast<char16_t>(0xD7C0 + (value >> 10)),
                     static_cast<char16_t>(0xDC00 + (value & 0x3FF))};
        }
        plain += utf8(units);
        at += static_cast<std::size_t>(end - digits.data());
        at += at + 1 < text.size() && text[at + 1] == ' ' ? 1 : 0;
    }
    return plain;
}

/// The number that a text begins with, and what follows it.
std::optional<std::pair<double, std::string_view>> numberAndUnit(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) {
        return std::nullopt;
    }
    return std::pair(number, trimmed(text.substr(static_cast<std::size_t>(end - text.data()))));
}

Ref<UIColor> colorOfDigits(std::string_view digits) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        return nullptr;
    }
    const auto color = [](std::uint32_t rgba) {
        const auto part = [rgba](int shift) { return ((rgba >> shift) & 0xFF) / 255.0; };
        return UIColor::colorWithRed(part(24), part(16), part(8), part(0));
    };
    switch (digits.size()) {
        case 3:
            return color(((value >> 8) * 0x11U) << 24 | (((value >> 4) & 0xF) * 0x11U) << 16 |
                         ((value & 0xF) * 0x11U) << 8 | 0xFF);
        case 6:
            return color(value << 8 | 0xFF);
        case 8:
            return color(value);
        default:
            return nullptr;
    }
}

/// The parts of "rgb(…)" and "rgba(…)".
Ref<UIColor> colorOfParts(std::string_view parts) {
    std::vector<double> values;
    split(parts, ',', [&](std::string_view part) {
        const auto number = numberAndUnit(part);
        const auto whole = values.size() == 3 ? 1 : 255;  // the opacity is a fraction
        values.push_back(number ? number->first / (number->second == "%" ? 100 : whole) : 0);
    });
    if (values.size() < 3) {
        return nullptr;
    }
    return UIColor::colorWithRed(values[0], values[1], values[2], values.size() > 3 ? values[3] : 1);
}

}  // namespace

std::string lowercased(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return lower;
}

StyleDeclarations declarationsOfStyle(std::string_view style) {
    StyleDeclarations declarations;
    split(style, ';', [&](std::string_view declaration) {
        const auto colon = declaration.find(':');
        if (colon != std::string_view::npos) {
            declarations.emplace_back(lowercased(trimmed(declaration.substr(0, colon))),
                                      std::string(trimmed(declaration.substr(colon + 1))));
        }
    });
    return declarations;
}

StyleDeclarations declarationsOfRules(std::string_view styleSheet, std::string_view element) {
    StyleDeclarations declarations;
    const auto sheet = withoutComments(styleSheet);
    const std::string_view text = sheet;
    for (std::size_t at = 0; at < text.size();) {
        const auto open = text.find('{', at);
        if (open == std::string_view::npos) {
            break;
        }
        const auto close = std::min(text.find('}', open), text.size());
        bool isMeant = false;
        split(text.substr(at, open - at), ',',
              [&](std::string_view selector) { isMeant = isMeant || lowercased(selector) == element; });
        if (isMeant) {
            auto found = declarationsOfStyle(text.substr(open + 1, close - open - 1));
            std::move(found.begin(), found.end(), std::back_inserter(declarations));
        }
        at = close + 1;
    }
    return declarations;
}

Ref<UIColor> colorOfStyle(std::string_view value) {
    // The sixteen of HTML 4.01, section 6.5, and orange.
    constexpr std::pair<std::string_view, std::string_view> names[] = {
        {"black", "000000"},  {"silver", "c0c0c0"}, {"gray", "808080"},   {"white", "ffffff"},
        {"maroon", "800000"}, {"red", "ff0000"},    {"purple", "800080"}, {"fuchsia", "ff00ff"},
        {"green", "008000"},  {"lime", "00ff00"},   {"olive", "808000"},  {"yellow", "ffff00"},
        {"navy", "000080"},   {"blue", "0000ff"},   {"teal", "008080"},   {"aqua", "00ffff"},
        {"orange", "ffa500"}, {"grey", "808080"},
    };
    const auto text = lowercased(trimmed(value));
    const std::string_view view = text;
    if (view.starts_with('#')) {
        return colorOfDigits(view.substr(1));
    }
    const auto open = view.find('(');
    if (open != std::string_view::npos && view.starts_with("rgb") && view.ends_with(')')) {
        return colorOfParts(view.substr(open + 1, view.size() - open - 2));
    }
    const auto* const found = std::find_if(std::begin(names), std::end(names),
                                           [&](const auto& entry) { return entry.first == view; });
    return found == std::end(names) ? nullptr : colorOfDigits(found->second);
}

std::optional<double> fontSizeOfStyle(std::string_view value, double present) {
    constexpr std::pair<std::string_view, double> keywords[] = {
        {"xx-small", 7}, {"x-small", 7.5}, {"small", 10},    {"medium", 12},
        {"large", 14},   {"x-large", 18},  {"xx-large", 24},
    };
    const auto text = lowercased(trimmed(value));
    const auto bounded = [](double size) { return std::optional(std::clamp(size, 1.0, 1000.0)); };
    for (const auto& [keyword, size] : keywords) {
        if (text == keyword) {
            return size;
        }
    }
    if (text == "smaller" || text == "larger") {
        return bounded(text == "larger" ? present * 1.2 : present / 1.2);
    }
    const auto number = numberAndUnit(text);
    if (!number || !(number->first > 0)) {
        return std::nullopt;
    }
    if (number->second == "px" || number->second == "pt") {
        return bounded(number->first);
    }
    if (number->second == "em" || number->second == "rem") {
        return bounded(number->first * present);
    }
    return number->second == "%" ? bounded(number->first / 100 * present) : std::nullopt;
}

std::vector<std::string> fontFamiliesOfStyle(std::string_view value) {
    std::vector<std::string> families;
    split(value, ',', [&](std::string_view family) {
        const auto isQuoted = family.size() > 1 && (family.front() == '\'' || family.front() == '"') &&
                              family.back() == family.front();
        families.push_back(unescaped(isQuoted ? family.substr(1, family.size() - 2) : family));
    });
    return families;
}

}  // namespace qz::internal
