#include "Platform/Archive/internal/AESCipher.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>

#include "Platform/Archive/internal/LittleEndian.h"

namespace qz::internal {

namespace {

constexpr std::size_t verificationSize = 2;

const unsigned char* octets(std::span<const std::byte> bytes) noexcept {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

/// Wiped when it goes.
template <std::size_t size>
struct KeyMaterial {
    KeyMaterial() = default;
    KeyMaterial(const KeyMaterial&) = delete;
    KeyMaterial& operator=(const KeyMaterial&) = delete;
    ~KeyMaterial() { ::OPENSSL_cleanse(bytes.data(), size); }

    std::array<std::byte, size> bytes{};
};

void require(bool succeeded) {
    if (!succeeded) {
        throw std::bad_alloc();
    }
}

const EVP_CIPHER* blockCipher(std::size_t keySize) noexcept {
    return keySize == 16 ? ::EVP_aes_128_ecb() : keySize == 24 ? ::EVP_aes_192_ecb() : ::EVP_aes_256_ecb();
}

evp_mac_ctx_st* newAuthentication(std::span<const std::byte> key) {
    const std::unique_ptr<EVP_MAC, decltype(&::EVP_MAC_free)> algorithm(
        ::EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr), &::EVP_MAC_free);
    require(algorithm != nullptr);
    auto* context = ::EVP_MAC_CTX_new(algorithm.get());
    char digest[] = "SHA1";
    const OSSL_PARAM parameters[] = {::OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                                     ::OSSL_PARAM_construct_end()};
    if (context && ::EVP_MAC_init(context, octets(key), key.size(), parameters) != 1) {
        ::EVP_MAC_CTX_free(context);
        context = nullptr;
    }
    require(context != nullptr);
    return context;
}

}  // namespace

std::optional<AESParameters> AESParameters::parse(std::span<const std::byte> field) noexcept {
    constexpr std::size_t fieldSize = 7;
    if (field.size() < fieldSize || std::memcmp(field.data() + 2, "AE", 2) != 0) {
        return std::nullopt;
    }
    const auto kind = littleEndian(field.first(2));
    const auto strength = std::to_integer<std::size_t>(field[4]);
    if (kind < 1 || kind > 2 || strength < 1 || strength > 3) {
        return std::nullopt;
    }
    return AESParameters{8 + 8 * strength, static_cast<std::uint32_t>(littleEndian(field.subspan(5, 2))),
                         kind == 1};
}

void AESCipher::Freed::operator()(evp_cipher_ctx_st* context) const noexcept {
    ::EVP_CIPHER_CTX_free(context);
}

void AESCipher::Freed::operator()(evp_mac_ctx_st* context) const noexcept {
    ::EVP_MAC_CTX_free(context);
}

AESCipher::AESCipher(const AESParameters& parameters, std::string_view password)
    : keySize_(parameters.keySize), password_(password) {}

AESCipher::~AESCipher() {
    ::OPENSSL_cleanse(password_.data(), password_.size());
    ::OPENSSL_cleanse(keyStream_.data(), keyStream_.size());
}

std::size_t AESCipher::headerSize() const noexcept {
    return keySize_ / 2 + verificationSize;  // the first part is the salt
}

bool AESCipher::start(std::span<std::byte> header) {
    constexpr int rounds = 1000;
    constexpr std::size_t longestKey = 32;
    KeyMaterial<2 * longestKey + verificationSize> derived;
    const auto keys = std::span(derived.bytes).first(2 * keySize_ + verificationSize);
    const auto salt = header.first(keySize_ / 2);
    require(::PKCS5_PBKDF2_HMAC_SHA1(password_.data(), static_cast<int>(password_.size()), octets(salt),
                                     static_cast<int>(salt.size()), rounds, static_cast<int>(keys.size()),
                                     reinterpret_cast<unsigned char*>(keys.data())) == 1);
    if (!std::ranges::equal(keys.last(verificationSize), header.last(verificationSize))) {
        return false;
    }
    cipher_.reset(::EVP_CIPHER_CTX_new());
    require(cipher_ &&
            ::EVP_EncryptInit_ex(cipher_.get(), blockCipher(keySize_), nullptr, octets(keys), nullptr) == 1);
    authentication_.reset(newAuthentication(keys.subspan(keySize_, keySize_)));
    return true;
}

/// By single blocks: the counter grows from its first byte on, and libcrypto's counter mode from its last.
void AESCipher::makeKeyStream() {
    constexpr std::size_t blockSize = 16;
    keyStream_.fill(std::byte{0});
    for (std::size_t start = 0; start < keyStream_.size(); start += blockSize) {
        putLittleEndian(std::span(keyStream_).subspan(start, sizeof counter_), ++counter_);
    }
    int size = 0;
    require(::EVP_EncryptUpdate(cipher_.get(), reinterpret_cast<unsigned char*>(keyStream_.data()), &size,
                                octets(keyStream_), static_cast<int>(keyStream_.size())) == 1);
    usedKeyStream_ = 0;
}

void AESCipher::decipher(std::span<std::byte> bytes) {
    require(::EVP_MAC_update(authentication_.get(), octets(bytes), bytes.size()) == 1);
    while (!bytes.empty()) {
        if (usedKeyStream_ == keyStream_.size()) {
            makeKeyStream();
        }
        const auto count = std::min(bytes.size(), keyStream_.size() - usedKeyStream_);
        std::transform(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count),
                       keyStream_.begin() + static_cast<std::ptrdiff_t>(usedKeyStream_), bytes.begin(),
                       std::bit_xor<>());
        usedKeyStream_ += count;
        bytes = bytes.subspan(count);
    }
}

bool AESCipher::isAuthentic(std::span<const std::byte> trailer) {
    std::array<std::byte, EVP_MAX_MD_SIZE> code;
    std::size_t size = 0;
    require(::EVP_MAC_final(authentication_.get(), reinterpret_cast<unsigned char*>(code.data()), &size,
                            code.size()) == 1);
    return trailer.size() <= size && ::CRYPTO_memcmp(code.data(), trailer.data(), trailer.size()) == 0;
}

}  // namespace qz::internal
