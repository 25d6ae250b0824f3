// NSData(CryptoData): a buffer enciphered with a key that is a text.
//
//     const auto secret = AES256EncryptWithKey(data, "the key");
//     const auto again = AES256DecryptWithKey(*secret, "the key");
//
// AES-256 in CBC mode with PKCS#7 padding (FIPS 197, SP 800-38A). The key is the text's UTF-8, filled up with
// zero bytes to 32, and the initialization vector is zero.
//
// Two things that a reader would expect are not there: equal beginnings of two buffers stay equal when they
// are enciphered with the same key, and nothing tells a changed buffer from an unchanged one. Take a key of
// 32 random bytes, and an HMAC (NSData+Hash.h) over the result where somebody could change it.
//
// The speed is that of OpenSSL's libcrypto. The copy of the key is wiped. Safe from any thread.
#pragma once

#include <optional>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Text.h"

namespace qz {

/// Up to a block (16 bytes) longer than the buffer; an empty one gives a block. Nullopt for a nil key, and
/// for one of more than 32 bytes.
[[nodiscard]] QZ_EXPORT std::optional<NSData> AES256EncryptWithKey(const NSData& self, Text key);

/// Nullopt for the same keys, and when the bytes do not end in a padding under the key: another key, usually,
/// or damage, or no whole blocks.
[[nodiscard]] QZ_EXPORT std::optional<NSData> AES256DecryptWithKey(const NSData& self, Text key);

}  // namespace qz
