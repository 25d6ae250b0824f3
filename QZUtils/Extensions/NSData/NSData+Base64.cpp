#include <array>
#include <cstdint>
#include <cstring>

#include "Platform/Foundation/internal/DataStorage.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSData/NSData+Base64.h"

namespace qz {

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

/// The two characters of every 12 bits: half as many look-ups as one character at a time.
constexpr auto pairs = [] {
    std::array<std::array<char, 2>, 4096> table{};
    for (std::size_t bits = 0; bits < table.size(); ++bits) {
        table[bits] = {alphabet[bits >> 6U], alphabet[bits & 63U]};
    }
    return table;
}();

void append(char*& next, std::uint32_t bits) {
    std::memcpy(next, pairs[bits & 0xFFFU].data(), 2);
    next += 2;
}

}  // namespace

std::string urlSafeBase64EncodedString(const NSData& self) {
    const auto bytes = self.bytes();
    const auto at = [&](std::size_t index) { return std::to_integer<std::uint32_t>(bytes[index]); };
    const auto rest = bytes.size() % 3;
    const auto whole = bytes.size() - rest;
    std::string text(whole / 3 * 4 + (rest == 1 ? 4 : rest == 2 ? 3 : 0), '=');
    char* next = text.data();
    for (std::size_t index = 0; index < whole; index += 3) {
        const auto bits = at(index) << 16U | at(index + 1) << 8U | at(index + 2);
        append(next, bits >> 12U);
        append(next, bits);
    }
    if (rest == 1) {
        append(next, at(whole) << 4U);
    } else if (rest == 2) {
        append(next, at(whole) << 4U | at(whole + 1) >> 4U);
        *next = alphabet[(at(whole + 1) & 15U) << 2U];
    }
    return text;
}

namespace internal {

QZ_DEFINE_CATEGORY(DataStorage, Base64, cls) {
    cls.method("urlSafeBase64EncodedString",
               [](const DataStorage& self) { return urlSafeBase64EncodedString(self.data()); });
}

}  // namespace internal

}  // namespace qz
