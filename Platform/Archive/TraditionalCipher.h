// The traditional encryption of zip archives, which protects nothing that matters but is what many were made
// with: PKWARE's APPNOTE.TXT 6.3.10, section 6.1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace qz::internal {

class TraditionalCipher {
public:
    /// Random bytes in front of the contents.
    static constexpr std::size_t headerSize = 12;

    explicit TraditionalCipher(std::string_view password) noexcept;
    /// The next bytes of an entry, header included.
    void decipher(std::span<std::byte> bytes) noexcept;

private:
    void update(std::uint8_t plain) noexcept;

    std::uint32_t keys_[3] = {0x12345678, 0x23456789, 0x34567890};
    const std::uint32_t* crcTable_;
};

}  // namespace qz::internal
