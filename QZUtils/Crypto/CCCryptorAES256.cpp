#include "QZUtils/Crypto/CCCryptorAES256.h"

#include <algorithm>
#include <new>
#include <vector>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Raise.h"
#include "QZUtils/Crypto/internal/Crypto.h"

namespace qz {

using internal::AESBlockSize;
using internal::Direction;
using internal::octets;
using internal::Padding;
using internal::require;

struct CCCryptorAES256::Cryptor {
    internal::CipherContext context{EVP_CIPHER_CTX_new()};
};

QZ_DEFINE_CLASS(CCCryptorAES256, cls) {
    const auto orNil = [](const std::optional<NSData>& data) { return data ? id(*data) : id(); };
    cls.classMethod("cryptorWithSalt:password:cycleCount:",
                    [](Class&, const NSData& salt, const NSData& password, std::uint64_t cycleCount) {
                        return id(cryptorWithSalt(salt, password, cycleCount));
                    });
    cls.method("decryptData:", &CCCryptorAES256::decryptData);
    cls.method("decryptStringFromData:encoding:",
               [](CCCryptorAES256& self, const NSData& data, NSStringEncoding encoding) {
                   return id(Text(self.decryptStringFromData(data, encoding)));
               });
    cls.classMethod("generateKeyAndIV:salt:pass:cycleCount:",
                    [](Class&, NSData* IV, const NSData& salt, const NSData& pass, std::uint64_t cycleCount) {
                        return generateKeyAndIV(IV, salt, pass, cycleCount);
                    });
    cls.classMethod("_generateKey:IV:salt:pass:cycleCount:",
                    [](Class&, std::byte* key, std::byte* IV, const NSData& salt, const NSData& pass,
                       std::uint64_t cycleCount) {
                        _generateKey(std::span<std::byte, keySize>(key, keySize),
                                     std::span<std::byte, IVSize>(IV, IVSize), salt, pass, cycleCount);
                    });
    cls.classMethod("decryptData:key:IV:",
                    [orNil](Class&, const NSData& data, const NSData& key, const NSData& IV) {
                        return orNil(decryptDataKeyIV(data, key, IV));
                    });
    cls.classMethod("decryptData:key:", [orNil](Class&, const NSData& data, const NSData& key) {
        return orNil(decryptDataKey(data, key));
    });
    cls.classMethod(
        "decryptStringFromData:key:IV:encoding:",
        [](Class&, const NSData& data, const NSData& key, const NSData& IV, NSStringEncoding encoding) {
            return id(Text(decryptStringFromDataKeyIV(data, key, IV, encoding)));
        });
}

namespace {

/// The source of derived bytes: D, which becomes SHA-1^count(D || password || salt) with every round.
class Derivation {
public:
    Derivation(const NSData& salt, const NSData& pass, std::uint64_t cycleCount)
        : salt_(salt), pass_(pass), cycleCount_(cycleCount) {
        if (!context_) {
            throw std::bad_alloc();
        }
        require(EVP_DigestInit_ex2(context_.get(), EVP_sha1(), nullptr) == 1, "SHA-1");
    }
    Derivation(const Derivation&) = delete;
    Derivation& operator=(const Derivation&) = delete;
    ~Derivation() { OPENSSL_cleanse(digest_.data(), digest_.size()); }

    const std::vector<std::byte>& next() {
        // A vector that grows leaves what it held in freed memory: this one has room for a digest, too.
        std::vector<std::byte> longer;
        longer.reserve(std::max<std::size_t>(digest_.size() + pass_.size() + salt_.size(), EVP_MAX_MD_SIZE));
        for (const auto part : {std::span<const std::byte>(digest_), pass_.bytes(), salt_.bytes()}) {
            longer.insert(longer.end(), part.begin(), part.end());
        }
        digest_.swap(longer);
        OPENSSL_cleanse(longer.data(), longer.size());
        for (std::uint64_t cycle = 0; cycle < cycleCount_; ++cycle) {
            hash();
        }
        return digest_;
    }

private:
    /// D becomes its digest, in place.
    void hash() {
        internal::Secret<EVP_MAX_MD_SIZE> result;
        unsigned length = 0;
        require(EVP_DigestInit_ex2(context_.get(), nullptr, nullptr) == 1 &&
                    EVP_DigestUpdate(context_.get(), digest_.data(), digest_.size()) == 1 &&
                    EVP_DigestFinal_ex(context_.get(), internal::outputOctets(result.bytes), &length) == 1,
                "SHA-1");
        if (digest_.size() > length) {
            OPENSSL_cleanse(digest_.data() + length, digest_.size() - length);
        }
        digest_.assign(result.bytes.begin(), result.bytes.begin() + length);
    }

    const NSData salt_;
    const NSData pass_;
    const std::uint64_t cycleCount_;
    const internal::DigestContext context_{EVP_MD_CTX_new()};
    std::vector<std::byte> digest_;
};

/// Moves bytes from the start of one to the start of the other as long as both have some.
void move(std::span<const std::byte>& from, std::span<std::byte>& to) {
    const auto count = std::min(from.size(), to.size());
    std::ranges::copy(from.first(count), to.begin());
    from = from.subspan(count);
    to = to.subspan(count);
}

}  // namespace

CCCryptorAES256::CCCryptorAES256(const NSData& salt, const NSData& password, std::uint64_t cycleCount)
    : cryptor_(std::make_unique<Cryptor>()) {
    if (!cryptor_->context) {
        throw std::bad_alloc();
    }
    internal::Secret<keySize> key;
    std::array<std::byte, IVSize> IV{};
    _generateKey(key.bytes, IV, salt, password, cycleCount);
    static_cast<void>(internal::prepareAES(cryptor_->context.get(), Direction::Decrypt, Padding::PKCS7,
                                           key.bytes, IV));  // the key has one of AES's lengths
    IV_ = NSData(IV);
}

CCCryptorAES256::~CCCryptorAES256() = default;

NSData CCCryptorAES256::decryptData(const NSData& data) {
    auto* const context = cryptor_->context.get();
    require(EVP_CipherInit_ex2(context, nullptr, nullptr, octets(IV_), static_cast<int>(Direction::Decrypt),
                               nullptr) == 1,
            "AES");
    return NSData::dataWithCapacity(data.size() + AESBlockSize, [&](std::span<std::byte> buffer) {
        std::size_t produced = 0;
        static_cast<void>(internal::runCipher(context, data, buffer.data(), produced));
        return produced;
    });
}

std::optional<std::string> CCCryptorAES256::decryptStringFromData(const NSData& data,
                                                                  NSStringEncoding encoding) {
    return stringWithDataEncoding(decryptData(data), encoding);
}

NSData CCCryptorAES256::generateKeyAndIV(NSData* IV, const NSData& salt, const NSData& pass,
                                         std::uint64_t cycleCount) {
    internal::Secret<keySize> key;
    std::array<std::byte, IVSize> vector{};
    _generateKey(key.bytes, vector, salt, pass, cycleCount);
    if (IV) {
        *IV = NSData(vector);
    }
    return {key.bytes};
}

void CCCryptorAES256::_generateKey(std::span<std::byte, keySize> key, std::span<std::byte, IVSize> IV,
                                   const NSData& salt, const NSData& pass, std::uint64_t cycleCount) {
    if (cycleCount == 0 && salt.isEmpty() && pass.isEmpty()) {
        raise(NSInvalidArgumentException, "a key cannot be made of no bytes without a digest");
    }
    Derivation derivation(salt, pass, cycleCount);
    std::span<std::byte> missingKey = key;
    std::span<std::byte> missingIV = IV;
    while (!missingKey.empty() || !missingIV.empty()) {
        std::span<const std::byte> bytes = derivation.next();
        move(bytes, missingKey);
        move(bytes, missingIV);
    }
}

std::optional<NSData> CCCryptorAES256::decryptDataKeyIV(const NSData& data, const NSData& key,
                                                        const NSData& IV) {
    if (IV.size() < IVSize) {
        return std::nullopt;
    }
    return internal::runAES(Direction::Decrypt, Padding::PKCS7, key, IV.bytes().first<IVSize>(), data);
}

std::optional<NSData> CCCryptorAES256::decryptDataKey(const NSData& data, const NSData& key) {
    if (data.size() < IVSize + AESBlockSize || data.size() % AESBlockSize != 0) {
        return std::nullopt;
    }
    const auto padded = internal::runAES(Direction::Decrypt, Padding::None, key, data.bytes().first<IVSize>(),
                                         data.bytes().subspan(IVSize));
    if (!padded) {
        return std::nullopt;
    }
    // A last byte of more than 127 is negative and would add to the length; one of more than the length wraps
    // to a huge one.
    const std::uint64_t length = padded->size();
    const auto last = static_cast<std::int8_t>(padded->bytes().back());
    const auto stripped = length - static_cast<std::uint64_t>(std::int64_t{last});
    return NSData(padded->bytes().first(std::min(length, stripped)));
}

std::optional<std::string> CCCryptorAES256::decryptStringFromDataKeyIV(const NSData& data, const NSData& key,
                                                                       const NSData& IV,
                                                                       NSStringEncoding encoding) {
    const auto plain = decryptDataKeyIV(data, key, IV);
    return plain ? stringWithDataEncoding(*plain, encoding) : std::nullopt;
}

}  // namespace qz
