#include <openssl/evp.h>

#include "Platform/Foundation/internal/DataStorage.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Crypto/internal/Crypto.h"
#include "QZUtils/Extensions/NSData/NSData+Hash.h"

namespace qz {

namespace {

using internal::octets;

NSData digest(const NSData& data, const EVP_MD* algorithm) {
    return NSData::dataWithCapacity(EVP_MAX_MD_SIZE, [&](std::span<std::byte> result) {
        unsigned length = 0;
        internal::require(EVP_Digest(octets(data), data.size(), internal::outputOctets(result), &length,
                                     algorithm, nullptr) == 1,
                          "a digest");
        return length;
    });
}

}  // namespace

NSData MD5Hash(const NSData& self) {
    return digest(self, EVP_md5());
}

NSData SHA256Hash(const NSData& self) {
    return digest(self, EVP_sha256());
}

NSData HMACSHA256WithKey(const NSData& self, const NSData& key) {
    return NSData::dataWithCapacity(EVP_MAX_MD_SIZE, [&](std::span<std::byte> result) {
        std::size_t length = 0;
        const auto* hmac =
            EVP_Q_mac(nullptr, "HMAC", nullptr, "SHA256", nullptr, octets(key), key.size(), octets(self),
                      self.size(), internal::outputOctets(result), result.size(), &length);
        internal::require(hmac != nullptr, "HMAC");
        return length;
    });
}

namespace internal {

QZ_DEFINE_CATEGORY(DataStorage, Hash, cls) {
    cls.method("MD5Hash", [](const DataStorage& self) { return MD5Hash(self.data()); });
    cls.method("SHA256Hash", [](const DataStorage& self) { return SHA256Hash(self.data()); });
    cls.method("HMACSHA256WithKey:", [](const DataStorage& self, const NSData& key) {
        return HMACSHA256WithKey(self.data(), key);
    });
}

}  // namespace internal

}  // namespace qz
