// What the tests of ciphers and digests have in common.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Foundation/NSData.h"

namespace qz::test {

inline NSData bytesOf(std::string_view text) {
    return NSData::dataWithText(text);
}

inline NSData bytesOfHex(std::string_view digits) {
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
    }
    return bytesOf(bytes);
}

}  // namespace qz::test
