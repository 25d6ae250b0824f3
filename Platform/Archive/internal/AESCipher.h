// The encryption of zip archives with AES, in both of its kinds: AE-1 and AE-2, with keys of 128, 192 and 256
// bits. Its format was published by WinZip Computing, "AES Encryption Information: Encryption Specification
// AE-1 and AE-2", version 1.04; what it is made of are PBKDF2 (RFC 2898), HMAC-SHA1 (RFC 2104) and AES in
// counter mode.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Archive/internal/EntryCipher.h"

struct evp_cipher_ctx_st;
struct evp_mac_ctx_st;

namespace qz::internal {

/// What an entry says of its encryption.
struct AESParameters {
    /// The method that stands in its place in the directory.
    static constexpr std::uint32_t compressionMethod = 99;
    /// The extra field that has the rest.
    static constexpr std::uint64_t extraField = 0x9901;

    std::size_t keySize = 0;
    std::uint32_t actualMethod = 0;
    /// Whether the check sum is that of the contents, as of AE-1. AE-2 leaves it zero.
    bool hasCheckSum = false;

    /// From the extra field; nullopt when it is none of these kinds.
    [[nodiscard]] static std::optional<AESParameters> parse(std::span<const std::byte> field) noexcept;
};

class AESCipher : public EntryCipher {
public:
    AESCipher(const AESParameters& parameters, std::string_view password);
    ~AESCipher() override;

    [[nodiscard]] std::size_t headerSize() const noexcept override;
    [[nodiscard]] std::size_t trailerSize() const noexcept override { return 10; }
    /// Throws std::bad_alloc, also when the system's libcrypto does not have what this takes.
    [[nodiscard]] bool start(std::span<std::byte> header) override;
    void decipher(std::span<std::byte> bytes) override;
    [[nodiscard]] bool isAuthentic(std::span<const std::byte> trailer) override;

private:
    struct Freed {
        void operator()(evp_cipher_ctx_st* context) const noexcept;
        void operator()(evp_mac_ctx_st* context) const noexcept;
    };

    void makeKeyStream();

    const std::size_t keySize_;
    std::string password_;
    std::unique_ptr<evp_cipher_ctx_st, Freed> cipher_;
    std::unique_ptr<evp_mac_ctx_st, Freed> authentication_;
    std::uint64_t counter_ = 0;
    std::array<std::byte, 4096> keyStream_{};
    std::size_t usedKeyStream_ = sizeof keyStream_;
};

}  // namespace qz::internal
