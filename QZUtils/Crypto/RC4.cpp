#include "QZUtils/Crypto/RC4.h"

#include <openssl/crypto.h>

#include <numeric>
#include <utility>

#include "Platform/Runtime/Raise.h"

// The algorithm as B. Schneier printed it in "Applied Cryptography", section 17.1, after the posting of 1994.

namespace qz {

RC4::~RC4() {
    OPENSSL_cleanse(this, sizeof(*this));
}

void RC4::init(const unsigned char* key, std::int64_t keyLength) {
    if (keyLength <= 0) {
        raise(NSInvalidArgumentException, "an RC4 key has at least one byte");
    }
    x_ = 0;
    y_ = 0;
    std::iota(state_.begin(), state_.end(), std::uint8_t{0});
    std::uint8_t j = 0;
    for (std::size_t i = 0; i < state_.size(); ++i) {
        j = static_cast<std::uint8_t>(j + state_[i] + key[static_cast<std::int64_t>(i) % keyLength]);
        std::swap(state_[i], state_[j]);
    }
}

void RC4::crypt(const unsigned char* input, unsigned char* output, std::int64_t length) {
    // The state is a permutation once there is a key, so that no two of its values are equal.
    if (state_[0] == state_[1]) {
        raise(NSInternalInconsistencyException, "an RC4 cipher is used without a key");
    }
    // Kept in registers: the bytes that are written might be the fields, for all that the compiler knows.
    auto x = x_;
    auto y = y_;
    for (std::int64_t i = 0; i < length; ++i) {
        auto& a = state_[++x];
        y = static_cast<std::uint8_t>(y + a);
        auto& b = state_[y];
        std::swap(a, b);
        output[i] = input[i] ^ state_[static_cast<std::uint8_t>(a + b)];
    }
    x_ = x;
    y_ = y;
}

void RC4Crypt(const unsigned char* key, std::int64_t keyLength, unsigned char* data,
              std::int64_t dataLength) {
    RC4 cipher;
    cipher.init(key, keyLength);
    cipher.crypt(data, data, dataLength);
}

}  // namespace qz
