#include "Platform/Archive/internal/TraditionalCipher.h"

#include <zlib.h>

namespace qz::internal {

TraditionalCipher::TraditionalCipher(std::string_view password) noexcept : crcTable_(::get_crc_table()) {
    for (const char character : password) {
        update(static_cast<std::uint8_t>(character));
    }
}

void TraditionalCipher::update(std::uint8_t plain) noexcept {
    const auto crc = [this](std::uint32_t old, std::uint32_t byte) {
        return crcTable_[(old ^ byte) & 0xffU] ^ (old >> 8U);
    };
    keys_[0] = crc(keys_[0], plain);
    keys_[1] = (keys_[1] + (keys_[0] & 0xffU)) * 134775813U + 1U;
    keys_[2] = crc(keys_[2], keys_[1] >> 24U);
}

bool TraditionalCipher::start(std::span<std::byte> header) {
    // The header is there to make equal texts differ. What it says of the password is one byte, and less than
    // the check sum says in the end.
    decipher(header);
    return true;
}

void TraditionalCipher::decipher(std::span<std::byte> bytes) {
    for (auto& byte : bytes) {
        const auto word = (keys_[2] | 2U) & 0xffffU;
        const auto plain =
            static_cast<std::uint8_t>(std::to_integer<std::uint32_t>(byte) ^ ((word * (word ^ 1U)) >> 8U));
        update(plain);
        byte = static_cast<std::byte>(plain);
    }
}

}  // namespace qz::internal
