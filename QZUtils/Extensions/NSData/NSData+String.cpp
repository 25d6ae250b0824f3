#include <array>
#include <cstring>

#include "Platform/Foundation/internal/DataStorage.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSData/NSData+String.h"

namespace qz {

namespace {

/// The digits of every byte, so that one look-up serves both.
using HexTable = std::array<std::array<char, 2>, 256>;

constexpr HexTable hexTable(const char* digits) {
    HexTable table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        table[byte] = {digits[byte >> 4U], digits[byte & 15U]};
    }
    return table;
}

constexpr HexTable lowerCase = hexTable("0123456789abcdef");
constexpr HexTable upperCase = hexTable("0123456789ABCDEF");

}  // namespace

std::string hexEncodedString(const NSData& self) {
    return hexEncodedStringWithOptions(self, 0);
}

std::string hexEncodedStringWithOptions(const NSData& self, std::uint64_t options) {
    const auto& table = (options & HexEncodingUpperCase) != 0 ? upperCase : lowerCase;
    std::string text(2 * self.size(), '\0');
    char* next = text.data();
    for (const auto byte : self.bytes()) {
        std::memcpy(next, table[std::to_integer<std::size_t>(byte)].data(), 2);
        next += 2;
    }
    return text;
}

namespace internal {

QZ_DEFINE_CATEGORY(DataStorage, String, cls) {
    cls.method("hexEncodedString", [](const DataStorage& self) { return hexEncodedString(self.data()); });
    cls.method("hexEncodedStringWithOptions:", [](const DataStorage& self, std::uint64_t options) {
        return hexEncodedStringWithOptions(self.data(), options);
    });
}

}  // namespace internal

}  // namespace qz
