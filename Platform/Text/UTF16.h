// Texts as UTF-16, in which ranges are counted, and back.
//
//     const auto units = utf16("größer");
//     utf8(std::u16string_view(units).substr(range.location, range.length));
//
// Each costs one pass over the text. Safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Export.h"

namespace qz {

/// What is not UTF-8 becomes U+FFFD. Raises NSInvalidArgumentException for texts of 2 GiB and more.
[[nodiscard]] QZ_EXPORT std::u16string utf16(std::string_view text);

/// Halves of a character become U+FFFD. Raises NSInvalidArgumentException for 2^30 units and more.
[[nodiscard]] QZ_EXPORT std::string utf8(std::u16string_view units);

}  // namespace qz
