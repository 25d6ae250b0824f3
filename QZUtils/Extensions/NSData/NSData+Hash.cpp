#include "Platform/Foundation/internal/DataStorage.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Crypto/Digest.h"
#include "QZUtils/Extensions/NSData/NSData+Hash.h"

namespace qz {

namespace {

NSData finished(Digest digest, const NSData& data) {
    digest.update(data.bytes());
    return digest.finish();
}

}  // namespace

NSData MD5Hash(const NSData& self) {
    return finished(Digest::MD5(), self);
}

NSData SHA256Hash(const NSData& self) {
    return finished(Digest::SHA256(), self);
}

NSData HMACSHA256WithKey(const NSData& self, const NSData& key) {
    return finished(Digest::HMACSHA256(key), self);
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
