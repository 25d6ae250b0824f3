// The traditional encryption of zip archives, which protects nothing that matters but is what many were made
// with: PKWARE's APPNOTE.TXT 6.3.10, section 6.1.
#pragma once

#include <cstdint>
#include <string_view>

#include "Platform/Archive/internal/EntryCipher.h"

namespace qz::internal {

class TraditionalCipher : public EntryCipher {
public:
    explicit TraditionalCipher(std::string_view password) noexcept;

    [[nodiscard]] std::size_t headerSize() const noexcept override { return 12; }
    [[nodiscard]] std::size_t trailerSize() const noexcept override { return 0; }
    [[nodiscard]] bool start(std::span<std::byte> header) override;
    void decipher(std::span<std::byte> bytes) override;
    [[nodiscard]] bool isAuthentic(std::span<const std::byte>) override { return true; }

private:
    void update(std::uint8_t plain) noexcept;

    std::uint32_t keys_[3] = {0x12345678, 0x23456789, 0x34567890};
    const std::uint32_t* crcTable_;
};

}  // namespace qz::internal
