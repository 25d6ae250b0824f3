// NSData(Hash): digests of a buffer.
//
//     hexEncodedString(SHA256Hash(data))
//
// For bytes that come in pieces: QZUtils/Crypto/Digest.h.
//
// They run at the speed of OpenSSL's libcrypto. A digest that the system's policy forbids (MD5, on some
// machines) raises NSInternalInconsistencyException. Safe from any thread.
#pragma once

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"

namespace qz {

/// 16 bytes. FOR COMPATIBILITY, NOT FOR PROTECTION: two buffers with the same MD5 are made in seconds. It
/// names things that nobody attacks; for anything else take SHA256Hash().
[[nodiscard]] QZ_EXPORT NSData MD5Hash(const NSData& self);
/// 32 bytes.
[[nodiscard]] QZ_EXPORT NSData SHA256Hash(const NSData& self);
/// The 32 bytes of HMAC-SHA-256 (RFC 2104) of the buffer under a key of any length, the empty one included.
[[nodiscard]] QZ_EXPORT NSData HMACSHA256WithKey(const NSData& self, const NSData& key);

}  // namespace qz
