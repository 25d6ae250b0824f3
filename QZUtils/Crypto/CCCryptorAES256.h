// CCCryptorAES256: reads what was enciphered with AES-256 in CBC mode under a password, or under a key.
//
//     const auto cryptor = CCCryptorAES256::cryptorWithSalt(salt, password, 1);
//     const auto plain = cryptor->decryptData(cipher);
//
// The key and the initialization vector are derived from password and salt as OpenSSL's EVP_BytesToKey does
// with SHA-1. With a cycle count of 1 this reads what `openssl enc -aes-256-cbc -md sha1` writes after its
// mark and salt, sixteen bytes. A graphics card tries thousands of millions of passwords a second at that
// count: it protects only a password that is as good as a random key.
//
// The four ways to decipher differ in what they make of bytes that do not end in a padding:
//
//     decryptData        (object)  gives what came out before
//     decryptDataKeyIV   (class)   nullopt
//     decryptDataKey     (class)   takes padding for content where it cannot be one
//     AES256DecryptWithKey         nullopt (NSData+CryptoData.h)
//
// None of them tells a buffer that somebody changed from one that nobody did, and whoever may try buffers at
// will and learns which ones fail reads the content: check an HMAC (NSData+Hash.h) before.
//
// The class's operations are safe from any thread; an object works for one thread at a time. The speed is
// that of OpenSSL's libcrypto. Copies of keys are wiped; the buffer that generateKeyAndIV() gives is not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSStringEncoding.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class QZ_EXPORT CCCryptorAES256 : public NSObject {
    QZ_OBJECT(CCCryptorAES256, NSObject)
public:
    static constexpr std::size_t keySize = 32;
    static constexpr std::size_t IVSize = 16;

    // Objects. What is said of deriving holds here: _generateKey().

    template <class Self = CCCryptorAES256>
    [[nodiscard]] static Ref<Self> cryptorWithSalt(const NSData& salt, const NSData& password,
                                                   std::uint64_t cycleCount) {
        return initWithSalt<Self>(salt, password, cycleCount);
    }
    template <class Self = CCCryptorAES256>
    [[nodiscard]] static Ref<Self> initWithSalt(const NSData& salt, const NSData& password,
                                                std::uint64_t cycleCount) {
        return make<Self>(salt, password, cycleCount);
    }

    /// The plain bytes. There is no failure: under a wrong password, and from damaged bytes, comes whatever
    /// the cipher made of them, without the last block where that has no padding.
    [[nodiscard]] NSData decryptData(const NSData& data);
    /// The plain bytes as a text; nullopt when they are not valid in the encoding.
    [[nodiscard]] std::optional<std::string> decryptStringFromData(const NSData& data,
                                                                   NSStringEncoding encoding);

    // Deriving.

    /// The key; the initialization vector goes to `IV`, which may be null.
    [[nodiscard]] static NSData generateKeyAndIV(NSData* IV, const NSData& salt, const NSData& pass,
                                                 std::uint64_t cycleCount);
    /// Fills both. Takes time in proportion to the cycle count; with 0, password and salt are used as they
    /// are, one after the other and over again, and raise NSInvalidArgumentException when both are empty.
    static void _generateKey(std::span<std::byte, keySize> key, std::span<std::byte, IVSize> IV,
                             const NSData& salt, const NSData& pass, std::uint64_t cycleCount);

    // With a key of 16, 24 or 32 bytes, for AES-128, -192 or -256. Nullopt for any other.

    /// Nullopt when the bytes do not end in a PKCS#7 padding, and for an initialization vector of less than
    /// 16 bytes, of which the first 16 count.
    [[nodiscard]] static std::optional<NSData> decryptDataKeyIV(const NSData& data, const NSData& key,
                                                                const NSData& IV);
    /// The first 16 bytes are the initialization vector. Nullopt for less than 32 bytes, and for parts of
    /// blocks. The padding is only believed: as many bytes are taken off as the last one says, without a look
    /// at them; none where it says 0, more than there are, or more than 127. Callers rely on that.
    [[nodiscard]] static std::optional<NSData> decryptDataKey(const NSData& data, const NSData& key);
    /// The plain bytes of decryptDataKeyIV() as a text; nullopt also when they are not valid in the encoding.
    [[nodiscard]] static std::optional<std::string> decryptStringFromDataKeyIV(const NSData& data,
                                                                               const NSData& key,
                                                                               const NSData& IV,
                                                                               NSStringEncoding encoding);

protected:
    CCCryptorAES256(const NSData& salt, const NSData& password, std::uint64_t cycleCount);
    ~CCCryptorAES256() override;

private:
    struct Cryptor;

    const std::unique_ptr<Cryptor> cryptor_;  // ready to decipher
    NSData IV_;
};

}  // namespace qz
