// Texts in the encodings of others, read as UTF-8.
//
//     stringWithDataEncoding(data, NSStringEncoding::ISOLatin1)  // std::optional<std::string>
//
// Nothing is guessed or replaced: bytes that the encoding does not allow give nullopt, and so does a text
// that ends in the middle of a character. Safe from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"

namespace qz {

enum class NSStringEncoding : std::uint64_t {
    ASCII = 1,
    UTF8 = 4,
    ISOLatin1 = 5,
    ISOLatin2 = 9,
    /// UTF-16 in the order that its byte order mark says, which is taken off; big-endian without one (RFC
    /// 2781).
    UTF16 = 10,
    WindowsCP1252 = 12,
    MacOSRoman = 30,
    // In a known order: a byte order mark is a character like any other.
    UTF16BigEndian = 0x90000100,
    UTF16LittleEndian = 0x94000100,
};

/// Nullopt for bytes that are not valid in the encoding, and for an encoding that is not in the list.
[[nodiscard]] QZ_EXPORT std::optional<std::string> stringWithDataEncoding(const NSData& data,
                                                                          NSStringEncoding encoding);

}  // namespace qz
