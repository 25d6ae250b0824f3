// Dates as ICU counts them, and the beginnings of texts as ranges count them.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "Platform/Foundation/NSDate.h"

namespace qz::internal {

/// Since 1970. What is as near to a whole millisecond as a double gets is that millisecond.
[[nodiscard]] double millisecondsOf(const NSDate& date) noexcept;
/// Null for nullopt.
[[nodiscard]] Ref<NSDate> dateOf(const std::optional<double>& milliseconds);

/// The first so many UTF-16 units of a UTF-8 text; nullopt when it is shorter, or when a character lies
/// across the end.
[[nodiscard]] inline std::optional<std::string_view> leadingUnits(std::string_view text, std::size_t length) {
    std::size_t units = 0;
    std::size_t bytes = 0;
    while (units < length && bytes < text.size()) {
        const auto lead = static_cast<unsigned char>(text[bytes]);
        units += lead >= 0xF0 ? 2 : 1;
        do {
            ++bytes;
        } while (bytes < text.size() && (static_cast<unsigned char>(text[bytes]) & 0xC0U) == 0x80U);
    }
    return units == length ? std::optional(text.substr(0, bytes)) : std::nullopt;
}

}  // namespace qz::internal
