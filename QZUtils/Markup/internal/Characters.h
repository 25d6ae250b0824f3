// What regular expressions take for blanks and for ends of lines (Unicode TR 18, annex C and section 1.6).
// All of these are single units of UTF-16.
#pragma once

namespace qz::internal {

/// "\s": the property White_Space.
[[nodiscard]] constexpr bool isSpace(char16_t unit) noexcept {
    if (unit < 0x80) {
        return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
    }
    return unit == 0x85 || unit == 0xA0 || unit == 0x1680 || (unit >= 0x2000 && unit <= 0x200A) ||
           unit == 0x2028 || unit == 0x2029 || unit == 0x202F || unit == 0x205F || unit == 0x3000;
}

/// What "." does not match.
[[nodiscard]] constexpr bool isLineEnd(char16_t unit) noexcept {
    return (unit >= u'\n' && unit <= u'\r') || unit == 0x85 || unit == 0x2028 || unit == 0x2029;
}

}  // namespace qz::internal
