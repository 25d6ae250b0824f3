#include <algorithm>

#include "Platform/Foundation/internal/DataStorage.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Crypto/internal/Crypto.h"
#include "QZUtils/Extensions/NSData/NSData+CryptoData.h"

namespace qz {

namespace {

using internal::Direction;

std::optional<NSData> runAES256(const NSData& data, Text text, Direction direction) {
    internal::Secret<32> key;
    const auto characters = std::as_bytes(std::span(text.view()));
    if (!text || characters.size() > key.bytes.size()) {
        return std::nullopt;
    }
    std::ranges::copy(characters, key.bytes.begin());
    constexpr std::array<std::byte, internal::AESBlockSize> zero{};
    return internal::runAES(direction, internal::Padding::PKCS7, key.bytes, zero, data);
}

}  // namespace

std::optional<NSData> AES256EncryptWithKey(const NSData& self, Text key) {
    return runAES256(self, key, Direction::Encrypt);
}

std::optional<NSData> AES256DecryptWithKey(const NSData& self, Text key) {
    return runAES256(self, key, Direction::Decrypt);
}

namespace internal {

QZ_DEFINE_CATEGORY(DataStorage, CryptoData, cls) {
    const auto orNil = [](const std::optional<NSData>& data) { return data ? id(*data) : id(); };
    cls.method("AES256EncryptWithKey:", [orNil](const DataStorage& self, Text key) {
        return orNil(AES256EncryptWithKey(self.data(), key));
    });
    cls.method("AES256DecryptWithKey:", [orNil](const DataStorage& self, Text key) {
        return orNil(AES256DecryptWithKey(self.data(), key));
    });
}

}  // namespace internal

}  // namespace qz
