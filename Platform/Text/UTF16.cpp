#include "Platform/Text/UTF16.h"

#include <unicode/ustring.h>

#include <cstdint>

#include "Platform/Runtime/Raise.h"

namespace qz {

namespace {

constexpr UChar32 replacement = 0xFFFD;

/// A length as ICU counts, whose results may be up to `growth` times as long.
std::int32_t lengthForICU(std::size_t length, std::size_t growth) {
    if (length > INT32_MAX / growth) {
        raise(NSInvalidArgumentException, "a text of " + std::to_string(length) + " units is too long");
    }
    return static_cast<std::int32_t>(length);
}

}  // namespace

std::u16string utf16(std::string_view text) {
    const auto length = lengthForICU(text.size(), 1);
    // No character takes more units than bytes.
    std::u16string units(text.size(), u'\0');
    std::int32_t written = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8WithSub(units.data(), length, &written, text.data(), length, replacement, nullptr, &error);
    units.resize(static_cast<std::size_t>(written));
    return units;
}

std::string utf8(std::u16string_view units) {
    constexpr std::size_t growth = 3;  // bytes of a unit, at most
    const auto length = lengthForICU(units.size(), growth);
    std::string text(units.size() * growth, '\0');
    std::int32_t written = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8WithSub(text.data(), static_cast<std::int32_t>(text.size()), &written, units.data(), length,
                       replacement, nullptr, &error);
    text.resize(static_cast<std::size_t>(written));
    return text;
}

}  // namespace qz
