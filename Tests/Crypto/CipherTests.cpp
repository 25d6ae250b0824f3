// AES against NIST's vectors and its own inverse, the derivation against what OpenSSL makes, RC4 against RFC
// 6229; what is not whole, not padded or not keyed.
#include <gmock/gmock.h>
#include <openssl/evp.h>

#include <array>

#include "Platform/Foundation/NSException.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Crypto/CCCryptorAES256.h"
#include "QZUtils/Crypto/RC4.h"
#include "QZUtils/Extensions/NSData/NSData+CryptoData.h"
#include "QZUtils/Extensions/NSData/NSData+String.h"
#include "Support.h"

namespace qz::test {

using namespace std::string_literals;
using Cryptor = CCCryptorAES256;
using Encoding = NSStringEncoding;

// SP 800-38A, F.2: the plain text and the initialization vector of all examples of CBC.
const auto nistIV = bytesOfHex("000102030405060708090a0b0c0d0e0f");
constexpr std::string_view nistPlain =
    "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";

struct Example {
    std::string_view key;
    std::string_view cipher;
};
constexpr Example nistExamples[] = {
    // F.2.2, F.2.4, F.2.6
    {"2b7e151628aed2a6abf7158809cf4f3c",
     "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
     "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
    {"8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
     "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a"
     "571b242012fb7ae07fa9baac3df102e008b0e27988598881d920a9e64f5615cd"},
    {"603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
     "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
     "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b"},
};

/// What libcrypto makes of bytes, without the library's help.
NSData encipher(const NSData& plain, const NSData& key, const NSData& IV, bool isPadded = true) {
    const auto octets = [](const NSData& data) {
        return reinterpret_cast<const unsigned char*>(data.text().data());
    };
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  &EVP_CIPHER_CTX_free);
    std::string out(plain.size() + 16, '\0');
    auto* const to = reinterpret_cast<unsigned char*>(out.data());
    int length = 0;
    int last = 0;
    EXPECT_EQ(EVP_EncryptInit_ex2(context.get(), EVP_aes_256_cbc(), octets(key), octets(IV), nullptr), 1);
    EVP_CIPHER_CTX_set_padding(context.get(), isPadded ? 1 : 0);
    EXPECT_EQ(EVP_EncryptUpdate(context.get(), to, &length, octets(plain), static_cast<int>(plain.size())),
              1);
    EXPECT_EQ(EVP_EncryptFinal_ex(context.get(), to + length, &last), 1);
    return bytesOf(
        std::string_view(out).substr(0, static_cast<std::size_t>(length) + static_cast<std::size_t>(last)));
}

NSData joined(const NSData& first, const NSData& second) {
    return bytesOf(std::string(first.text()) + std::string(second.text()));
}

TEST(AES, ReadsTheExamplesOfEveryKeySize) {
    for (const auto& example : nistExamples) {
        // The plain text ends in 0x10: sixteen bytes, none of which is padding, are taken off.
        const auto plain =
            Cryptor::decryptDataKey(joined(nistIV, bytesOfHex(example.cipher)), bytesOfHex(example.key));
        ASSERT_TRUE(plain);
        EXPECT_EQ(hexEncodedString(*plain), nistPlain.substr(0, 96));
        EXPECT_EQ(Cryptor::decryptDataKeyIV(bytesOfHex(example.cipher), bytesOfHex(example.key), nistIV),
                  std::nullopt);
    }
}

TEST(AES, ComesBackUnderTheKeyText) {
    const std::string key(32, 'k');
    for (const std::size_t size : {0, 1, 15, 16, 17, 4096, 100001}) {
        std::string plain;
        for (std::size_t i = 0; i < size; ++i) {
            plain += static_cast<char>(i * 7);
        }
        const auto cipher = AES256EncryptWithKey(bytesOf(plain), key);
        ASSERT_TRUE(cipher);
        EXPECT_EQ(*cipher, encipher(bytesOf(plain), bytesOf(key), bytesOf(std::string(16, '\0'))));
        EXPECT_EQ(AES256DecryptWithKey(*cipher, key), bytesOf(plain));
        EXPECT_EQ(send<id>(id(bytesOf(plain)), "AES256EncryptWithKey:"_sel, key), id(*cipher));
    }
    const auto cipher = AES256EncryptWithKey(bytesOf("content"), "short");
    EXPECT_EQ(AES256DecryptWithKey(*cipher, "short" + std::string(27, '\0')), bytesOf("content"));
}

TEST(AES, RefusesWhatItCannotRead) {
    const auto cipher = *AES256EncryptWithKey(bytesOf("sixteen bytes :)"), "key");
    for (const auto& key : {Text(nullptr), Text("kez"), Text("123456789012345678901234567890123")}) {
        EXPECT_EQ(AES256DecryptWithKey(cipher, key), std::nullopt);
    }
    EXPECT_EQ(AES256EncryptWithKey(cipher, nullptr), std::nullopt);
    EXPECT_EQ(AES256EncryptWithKey(cipher, std::string(33, 'k')), std::nullopt);
    for (const std::size_t size : {0, 1, 16, 31}) {  // no block, parts of one, one without a padding
        EXPECT_EQ(AES256DecryptWithKey(bytesOf(cipher.text().substr(0, size)), "key"), std::nullopt) << size;
    }
    const auto key = bytesOf("key" + std::string(29, '\0'));
    const auto zero = bytesOf(std::string(16, '\0'));
    EXPECT_EQ(Cryptor::decryptDataKeyIV(cipher, key, joined(zero, nistIV)), bytesOf("sixteen bytes :)"));
    EXPECT_EQ(Cryptor::decryptDataKeyIV(cipher, key, bytesOf(std::string(15, '\0'))), std::nullopt);
    EXPECT_EQ(Cryptor::decryptDataKeyIV(cipher, key, NSData()), std::nullopt);
    for (const std::size_t size : {0, 15, 17, 31, 33}) {
        const auto odd = bytesOf(std::string(size, 'k'));
        EXPECT_EQ(Cryptor::decryptDataKeyIV(cipher, odd, zero), std::nullopt) << size;
        EXPECT_EQ(Cryptor::decryptDataKey(joined(zero, cipher), odd), std::nullopt) << size;
    }
}

TEST(AES, BelievesTheLastByteOfAPrefixedBuffer) {
    const auto key = bytesOf(std::string(32, 'k'));
    const auto read = [&](const std::string& plain) {
        return Cryptor::decryptDataKey(joined(nistIV, encipher(bytesOf(plain), key, nistIV, false)), key);
    };
    struct Case {
        unsigned char last;
        std::size_t length;
    };
    constexpr Case cases[] = {{0, 32},  {1, 31},   {16, 16},  {17, 15}, {32, 0},
                              {33, 32}, {127, 32}, {128, 32}, {255, 32}};
    for (const auto [last, length] : cases) {
        const auto plain = std::string(31, 'p') + static_cast<char>(last);
        EXPECT_EQ(read(plain), bytesOf(plain.substr(0, length))) << int{last};
    }
    for (const std::size_t size : {0, 16, 31, 33, 40}) {
        EXPECT_EQ(Cryptor::decryptDataKey(bytesOf(std::string(size, 'c')), key), std::nullopt) << size;
    }
}

TEST(PasswordCryptor, DerivesWhatOpenSSLDerives) {
    const auto salt = bytesOf("saltsalt");
    for (const auto cycles : {1, 2, 1000}) {
        for (const std::string password :
             {"", "password", "a password that is longer than a block of the digest is, by far"}) {
            std::array<unsigned char, 32> key{};
            std::array<unsigned char, 16> IV{};
            EVP_BytesToKey(EVP_aes_256_cbc(), EVP_sha1(), reinterpret_cast<const unsigned char*>("saltsalt"),
                           reinterpret_cast<const unsigned char*>(password.data()),
                           static_cast<int>(password.size()), cycles, key.data(), IV.data());
            NSData ourIV;
            EXPECT_EQ(Cryptor::generateKeyAndIV(&ourIV, salt, bytesOf(password),
                                                static_cast<std::uint64_t>(cycles)),
                      NSData(std::as_bytes(std::span(key))));
            EXPECT_EQ(ourIV, NSData(std::as_bytes(std::span(IV))));
        }
    }
    // Without a digest D grows by "abc" a round, and each round reads it from its start.
    NSData IV;
    const auto key = Cryptor::generateKeyAndIV(&IV, bytesOf("c"), bytesOf("ab"), 0);
    EXPECT_EQ(key.text(), "abcabcabcabcabcabcabcabcabcabcab");
    EXPECT_EQ(IV.text(), "cabcabcabcabcabc");
    EXPECT_THROW(static_cast<void>(Cryptor::generateKeyAndIV(nullptr, {}, {}, 0)), NSException);
    EXPECT_EQ(Cryptor::generateKeyAndIV(nullptr, {}, {}, 1).size(), 32U);
}

TEST(PasswordCryptor, GivesWhatTheCipherMadeOfTheBytes) {
    const auto salt = bytesOf("saltsalt");
    const auto password = bytesOf("password");
    NSData IV;
    const auto key = Cryptor::generateKeyAndIV(&IV, salt, password, 3);
    const auto cryptor = Cryptor::cryptorWithSalt(salt, password, 3);
    const auto plain = bytesOf("zw\xC3\xB6lf Boxk\xC3\xA4mpfer jagen Viktor quer");
    const auto cipher = encipher(plain, key, IV);
    const auto part = [&](std::size_t size) { return bytesOf(cipher.text().substr(0, size)); };
    for (int i = 0; i < 2; ++i) {  // every call starts anew, after a failure too
        EXPECT_EQ(cryptor->decryptData(cipher), plain);
        EXPECT_EQ(cryptor->decryptData(part(32)).text(), plain.text().substr(0, 16));
        EXPECT_EQ(cryptor->decryptData(part(30)).text(), plain.text().substr(0, 16));
        EXPECT_EQ(cryptor->decryptData({}), NSData());
    }
    EXPECT_EQ(cryptor->decryptStringFromData(cipher, Encoding::UTF8), std::string(plain.text()));
    EXPECT_EQ(cryptor->decryptStringFromData(cipher, Encoding::ASCII), std::nullopt);
    EXPECT_EQ(Cryptor::decryptStringFromDataKeyIV(cipher, key, IV, Encoding::UTF8),
              std::string(plain.text()));
    EXPECT_EQ(Cryptor::decryptStringFromDataKeyIV(part(32), key, IV, Encoding::UTF8), std::nullopt);
    EXPECT_EQ(Cryptor::decryptStringFromDataKeyIV(cipher, key, IV, Encoding::ASCII), std::nullopt);
    EXPECT_EQ(send<id>(Cryptor::cls(), "decryptData:key:IV:"_sel, cipher, key, IV), id(plain));
    EXPECT_EQ(send<id>(Cryptor::cls(), "decryptData:key:"_sel, part(31), key), nullptr);
}

TEST(RC4, IsThePublishedCipher) {
    struct Vector {
        std::string_view key;
        std::string_view first;     // bytes 0 to 15 of the key stream
        std::string_view thousand;  // bytes 1024 to 1039
    };
    constexpr Vector vectors[] = {
        // RFC 6229, section 2
        {"0102030405", "b2396305f03dc027ccc3524a0a1118a8", "30abbcc7c20b01609f23ee2d5f6bb7df"},
        {"0102030405060708090a0b0c0d0e0f10", "9ac7cc9a609d1ef7b2932899cde41b97",
         "bdf0324e6083dcc6d3cedd3ca8c53c16"},
        {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20",
         "eaa6bd25880bf93d3f5d1e4ca2611d91", "7fec5bfd9f9b89ce6548309092d7e958"},
    };
    for (const auto& vector : vectors) {
        const auto key = bytesOfHex(vector.key);
        std::array<unsigned char, 1040> stream{};
        RC4Crypt(reinterpret_cast<const unsigned char*>(key.text().data()),
                 static_cast<std::int64_t>(key.size()), stream.data(), stream.size());
        const auto hex = hexEncodedString(NSData(std::as_bytes(std::span(stream))));
        EXPECT_EQ(hex.substr(0, 32), vector.first);
        EXPECT_EQ(hex.substr(2048), vector.thousand);
    }
}

TEST(RC4, GoesOnWhereItStopped) {
    const auto* key = reinterpret_cast<const unsigned char*>("Key");
    std::array<unsigned char, 9> text{'P', 'l', 'a', 'i', 'n', 't', 'e', 'x', 't'};
    const auto plain = text;
    RC4Crypt(key, 3, text.data(), text.size());
    RC4 cipher;
    EXPECT_THROW(cipher.crypt(text.data(), text.data(), 9), NSException);
    EXPECT_THROW(cipher.init(key, 0), NSException);
    cipher.init(key, 3);
    std::array<unsigned char, 9> again{};
    cipher.crypt(text.data(), again.data(), 4);
    cipher.crypt(text.data() + 4, again.data() + 4, 5);
    EXPECT_EQ(again, plain);
    EXPECT_NE(text, plain);
}

}  // namespace qz::test
