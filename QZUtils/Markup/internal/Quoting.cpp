#include "QZUtils/Markup/internal/Quoting.h"

#include <array>
#include <charconv>
#include <cmath>

#include "Platform/Foundation/Format.h"

namespace qz::internal {

std::string quotedForStyle(std::string_view text) {
    std::string quoted("'");
    for (const auto character : text) {
        const auto isSpecial = static_cast<unsigned char>(character) < 0x20 ||
                               std::string_view("'\"\\<>&,;{}").find(character) != std::string_view::npos;
        // The blank ends the escape.
        quoted +=
            isSpecial ? stringWithFormat("\\%x ", static_cast<int>(character)) : std::string(1, character);
    }
    return quoted + "'";
}

std::string lengthForStyle(double length) {
    std::array<char, 400> digits{};
    const auto finite = std::isfinite(length) ? length : 0;
    const auto [end, error] =
        std::to_chars(digits.data(), digits.data() + digits.size(), finite, std::chars_format::fixed);
    return std::string(digits.data(), end) + "px";
}

std::string escapedForXML(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const auto character : text) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\t':
            case '\n':
                escaped += character;
                break;
            default:
                escaped += static_cast<unsigned char>(character) < 0x20 ? std::string("\uFFFD")
                                                                        : std::string(1, character);
        }
    }
    return escaped;
}

}  // namespace qz::internal
