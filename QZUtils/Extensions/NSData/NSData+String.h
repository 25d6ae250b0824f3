// NSData(String): a buffer as hexadecimal digits, two a byte, without a prefix or anything between them.
//
//     hexEncodedString(data)                                     // "00ab"
//     hexEncodedStringWithOptions(data, HexEncodingUpperCase)    // "00AB"
//
// More than a gigabyte a second. Safe from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"

namespace qz {

/// Bit 0 of the options: the digits A to F instead of a to f.
inline constexpr std::uint64_t HexEncodingUpperCase = 1;

/// Lower-case digits; the empty text for an empty buffer.
[[nodiscard]] QZ_EXPORT std::string hexEncodedString(const NSData& self);
/// The other bits of the options mean nothing.
[[nodiscard]] QZ_EXPORT std::string hexEncodedStringWithOptions(const NSData& self, std::uint64_t options);

}  // namespace qz
