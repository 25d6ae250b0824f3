// What the ciphers and digests have in common on top of OpenSSL's libcrypto.
#pragma once

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>

#include "Platform/Foundation/NSData.h"

namespace qz::internal {

inline constexpr std::size_t AESBlockSize = 16;

/// A function of libcrypto as a deleter.
template <auto function>
struct Freed {
    template <class T>
    void operator()(T* handle) const noexcept {
        function(handle);
    }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Freed<EVP_CIPHER_CTX_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, Freed<EVP_MD_CTX_free>>;

/// Key material: wiped when it goes.
template <std::size_t size>
struct Secret {
    Secret() = default;
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() { OPENSSL_cleanse(bytes.data(), size); }

    std::array<std::byte, size> bytes{};
};

/// Bytes as libcrypto takes them. Never null: some of its functions take null for "as before".
[[nodiscard]] const unsigned char* octets(std::span<const std::byte> bytes) noexcept;
[[nodiscard]] unsigned char* outputOctets(std::span<std::byte> bytes) noexcept;

/// Raises NSInternalInconsistencyException with libcrypto's reason unless `status` is a success. For what can
/// only fail because memory or the algorithm is missing.
void require(bool status, const char* what);

enum class Direction : int { Decrypt = 0, Encrypt = 1 };
enum class Padding : int { None = 0, PKCS7 = 1 };

/// Makes `context` ready for AES in CBC mode with the key's own length. False for a length that AES does not
/// have.
[[nodiscard]] bool prepareAES(EVP_CIPHER_CTX* context, Direction direction, Padding padding,
                              std::span<const std::byte> key,
                              std::span<const std::byte, AESBlockSize> initializationVector);

/// Runs `input` through a context that is ready. Writes to `output`, which has room for a block more than
/// the input, and adds the bytes that came out to `produced`. False when the end does not fit the padding;
/// what came out before then counts.
bool runCipher(EVP_CIPHER_CTX* context, std::span<const std::byte> input, std::byte* output,
               std::size_t& produced);

/// Both together; nullopt when either fails.
[[nodiscard]] std::optional<NSData> runAES(Direction direction, Padding padding,
                                           std::span<const std::byte> key,
                                           std::span<const std::byte, AESBlockSize> initializationVector,
                                           std::span<const std::byte> input);

}  // namespace qz::internal
