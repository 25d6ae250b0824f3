// RC4: the stream cipher of that name.
//
//     RC4 cipher;
//     cipher.init(key, keyLength);
//     cipher.crypt(bytes, bytes, length);  // again with a fresh state and the same key: back again
//
// FOR COMPATIBILITY, NOT FOR PROTECTION. RC4 is broken (RFC 7465 forbids it): it hides stored values from a
// casual look and reads what was written so before. To protect anything, take NSData+CryptoData.h.
//
// The work is done bytewise: half a gigabyte a second. An object carries its place in the key stream: use it
// from one thread at a time. Its state is wiped when it goes.
#pragma once

#include <array>
#include <cstdint>

#include "Platform/Export.h"

namespace qz {

class QZ_EXPORT RC4 {
public:
    RC4() noexcept = default;
    RC4(const RC4&) noexcept = default;
    RC4& operator=(const RC4&) noexcept = default;
    ~RC4();

    /// Starts the key stream of a key, of which at most 256 bytes count. Raises NSInvalidArgumentException
    /// when there are none.
    void init(const unsigned char* key, std::int64_t keyLength);
    /// Combines `length` bytes with the next ones of the key stream. Both pointers may be the same. Raises
    /// NSInternalInconsistencyException before init(), when the bytes would come out as they are.
    void crypt(const unsigned char* input, unsigned char* output, std::int64_t length);

private:
    std::uint8_t x_ = 0;
    std::uint8_t y_ = 0;
    std::array<std::uint8_t, 256> state_{};  // all zero until init()
};

/// Enciphers or deciphers bytes where they are, from the start of the key's stream. Safe from any thread.
QZ_EXPORT void RC4Crypt(const unsigned char* key, std::int64_t keyLength, unsigned char* data,
                        std::int64_t dataLength);

}  // namespace qz
