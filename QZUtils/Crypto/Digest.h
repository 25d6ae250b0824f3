// Digest: a digest of bytes that come in pieces, for what does not fit in memory or is not there yet.
//
//     auto digest = Digest::SHA256();
//     while (const auto piece = next()) {
//         digest.update(*piece);
//     }
//     hexEncodedString(digest.finish())
//
// For a buffer that is at hand take NSData+Hash.h, where it also says what each digest is good for. An object
// takes memory that does not depend on the bytes, and runs at the speed of OpenSSL's libcrypto. Use it from
// one thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"

namespace qz {

class QZ_EXPORT Digest {
public:
    // Each raises NSInternalInconsistencyException where the system's policy forbids the algorithm.

    /// 16 bytes. For compatibility, not for protection.
    [[nodiscard]] static Digest MD5();
    /// 32 bytes.
    [[nodiscard]] static Digest SHA256();
    /// 32 bytes of HMAC-SHA-256 (RFC 2104), under a key of any length.
    [[nodiscard]] static Digest HMACSHA256(const NSData& key);

    Digest(Digest&& other) noexcept;
    Digest& operator=(Digest&& other) noexcept;
    ~Digest();

    /// Takes bytes after those that came before; pieces of any length, empty ones too.
    void update(std::span<const std::byte> bytes);
    /// The digest of all of them. The object is used up: it raises NSInternalInconsistencyException from now
    /// on, as one does that was moved from.
    [[nodiscard]] NSData finish();

private:
    struct State;

    explicit Digest(std::unique_ptr<State> state) noexcept;
    [[nodiscard]] State& state() const;

    std::unique_ptr<State> state_;
};

}  // namespace qz
