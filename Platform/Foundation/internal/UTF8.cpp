#include "Platform/Foundation/internal/UTF8.h"

#include <unicode/utf8.h>

#include <algorithm>

namespace qz::internal {

bool isUTF8(std::string_view bytes) noexcept {
    const auto isASCII = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    auto rest = bytes.substr(
        static_cast<std::size_t>(std::find_if_not(bytes.begin(), bytes.end(), isASCII) - bytes.begin()));
    // ICU counts with signed 32 bits; a character is never longer than four bytes.
    constexpr std::size_t pieceSize = std::size_t{1} << 30;
    while (!rest.empty()) {
        const auto length = static_cast<std::int32_t>(std::min(rest.size(), pieceSize));
        const bool isLast = rest.size() <= pieceSize;
        std::int32_t place = 0;
        while (place < length && (isLast || place < length - 4)) {
            UChar32 character = 0;
            U8_NEXT(rest.data(), place, length, character);
            if (character < 0) {
                return false;
            }
        }
        rest.remove_prefix(static_cast<std::size_t>(place));
    }
    return true;
}

}  // namespace qz::internal
