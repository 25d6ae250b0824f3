#include "QZUtils/Crypto/Digest.h"

#include <openssl/core_names.h>
#include <openssl/params.h>

#include <new>
#include <utility>

#include "Platform/Runtime/Raise.h"
#include "QZUtils/Crypto/internal/Crypto.h"

namespace qz {

using internal::octets;
using internal::require;

namespace {

using MAC = std::unique_ptr<EVP_MAC, internal::Freed<EVP_MAC_free>>;
using MACContext = std::unique_ptr<EVP_MAC_CTX, internal::Freed<EVP_MAC_CTX_free>>;

}  // namespace

/// One of the two is there.
struct Digest::State {
    internal::DigestContext digest;
    MACContext mac;

    static std::unique_ptr<State> of(const EVP_MD* algorithm) {
        auto state = std::make_unique<State>();
        state->digest.reset(EVP_MD_CTX_new());
        if (!state->digest) {
            throw std::bad_alloc();
        }
        require(EVP_DigestInit_ex2(state->digest.get(), algorithm, nullptr) == 1, "a digest");
        return state;
    }
};

Digest::Digest(std::unique_ptr<State> state) noexcept : state_(std::move(state)) {}
Digest::Digest(Digest&& other) noexcept = default;
Digest& Digest::operator=(Digest&& other) noexcept = default;
Digest::~Digest() = default;

Digest Digest::MD5() {
    return Digest(State::of(EVP_md5()));
}

Digest Digest::SHA256() {
    return Digest(State::of(EVP_sha256()));
}

Digest Digest::HMACSHA256(const NSData& key) {
    const MAC hmac(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
    require(hmac != nullptr, "HMAC");
    auto state = std::make_unique<State>();
    state->mac.reset(EVP_MAC_CTX_new(hmac.get()));  // which holds the algorithm
    if (!state->mac) {
        throw std::bad_alloc();
    }
    char name[] = "SHA256";
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, name, 0),
                                     OSSL_PARAM_construct_end()};
    require(EVP_MAC_init(state->mac.get(), octets(key), key.size(), parameters) == 1, "HMAC");
    return Digest(std::move(state));
}

Digest::State& Digest::state() const {
    if (!state_) {
        raise(NSInternalInconsistencyException, "a digest is used after its end");
    }
    return *state_;
}

void Digest::update(std::span<const std::byte> bytes) {
    const auto& [digest, mac] = state();
    require((mac ? EVP_MAC_update(mac.get(), octets(bytes), bytes.size())
                 : EVP_DigestUpdate(digest.get(), octets(bytes), bytes.size())) == 1,
            "a digest");
}

NSData Digest::finish() {
    const auto& state = this->state();
    auto result = NSData::dataWithCapacity(EVP_MAX_MD_SIZE, [&](std::span<std::byte> buffer) -> std::size_t {
        auto* const output = internal::outputOctets(buffer);
        if (state.mac) {
            std::size_t length = 0;
            require(EVP_MAC_final(state.mac.get(), output, &length, buffer.size()) == 1, "HMAC");
            return length;
        }
        unsigned length = 0;
        require(EVP_DigestFinal_ex(state.digest.get(), output, &length) == 1, "a digest");
        return length;
    });
    state_.reset();
    return result;
}

}  // namespace qz
