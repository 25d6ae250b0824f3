#include "QZUtils/Crypto/internal/Crypto.h"

#include <openssl/err.h>

#include <algorithm>
#include <new>
#include <string>

#include "Platform/Runtime/Raise.h"

namespace qz::internal {

namespace {

constexpr unsigned char nothing = 0;

/// libcrypto counts in int. Whole blocks, so that only the last piece leaves one unfinished.
constexpr std::size_t largestPiece = std::size_t{1} << 30U;

const EVP_CIPHER* cipherForKeySize(std::size_t size) {
    switch (size) {
        case 16:
            return EVP_aes_128_cbc();
        case 24:
            return EVP_aes_192_cbc();
        case 32:
            return EVP_aes_256_cbc();
        default:
            return nullptr;
    }
}

}  // namespace

const unsigned char* octets(std::span<const std::byte> bytes) noexcept {
    return bytes.empty() ? &nothing : reinterpret_cast<const unsigned char*>(bytes.data());
}

unsigned char* outputOctets(std::span<std::byte> bytes) noexcept {
    return reinterpret_cast<unsigned char*>(bytes.data());
}

void require(bool status, const char* what) {
    if (!status) {
        const auto code = ERR_get_error();
        const auto* reason = ERR_reason_error_string(code);
        ERR_clear_error();
        raise(NSInternalInconsistencyException,
              std::string(what) + " is not to be had: " + (reason ? reason : "no reason given"));
    }
}

bool prepareAES(EVP_CIPHER_CTX* context, Direction direction, Padding padding, std::span<const std::byte> key,
                std::span<const std::byte, AESBlockSize> initializationVector) {
    const auto* cipher = cipherForKeySize(key.size());
    if (!cipher) {
        return false;
    }
    require(EVP_CipherInit_ex2(context, cipher, octets(key), octets(initializationVector),
                               static_cast<int>(direction), nullptr) == 1 &&
                EVP_CIPHER_CTX_set_padding(context, static_cast<int>(padding)) == 1,
            "AES");
    return true;
}

bool runCipher(EVP_CIPHER_CTX* context, std::span<const std::byte> input, std::byte* output,
               std::size_t& produced) {
    auto* const start = reinterpret_cast<unsigned char*>(output);
    while (!input.empty()) {
        const auto piece = input.first(std::min(input.size(), largestPiece));
        int length = 0;
        require(EVP_CipherUpdate(context, start + produced, &length, octets(piece),
                                 static_cast<int>(piece.size())) == 1,
                "AES");
        produced += static_cast<std::size_t>(length);
        input = input.subspan(piece.size());
    }
    int length = 0;
    const bool isComplete = EVP_CipherFinal_ex(context, start + produced, &length) == 1;
    if (isComplete) {
        produced += static_cast<std::size_t>(length);
    } else {
        ERR_clear_error();  // the caller's next look at the queue would find it
    }
    return isComplete;
}

std::optional<NSData> runAES(Direction direction, Padding padding, std::span<const std::byte> key,
                             std::span<const std::byte, AESBlockSize> initializationVector,
                             std::span<const std::byte> input) {
    const CipherContext context(EVP_CIPHER_CTX_new());
    if (!context) {
        throw std::bad_alloc();
    }
    if (!prepareAES(context.get(), direction, padding, key, initializationVector)) {
        return std::nullopt;
    }
    bool isComplete = false;
    auto output = NSData::dataWithCapacity(input.size() + AESBlockSize, [&](std::span<std::byte> buffer) {
        std::size_t produced = 0;
        isComplete = runCipher(context.get(), input, buffer.data(), produced);
        return produced;
    });
    return isComplete ? std::optional(std::move(output)) : std::nullopt;
}

}  // namespace qz::internal
