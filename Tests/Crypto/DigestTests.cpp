// Digests against their published vectors, the text forms of bytes, the string hashes, and texts in the
// encodings of others.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSStringEncoding.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Crypto/Digest.h"
#include "QZUtils/Extensions/NSData/NSData+Base64.h"
#include "QZUtils/Extensions/NSData/NSData+Hash.h"
#include "QZUtils/Extensions/NSData/NSData+String.h"
#include "QZUtils/Extensions/NSString/NSString+Hash.h"
#include "Support.h"

namespace qz::test {

using namespace std::string_literals;

TEST(Digests, AreThePublishedOnes) {
    struct Case {
        std::string_view text;
        std::string_view md5;     // RFC 1321, A.5
        std::string_view sha256;  // FIPS 180-2, B.1 and B.2; the empty one of NIST's CAVP
    };
    constexpr Case cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e",
         "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72",
         "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a", ""},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", "",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
    };
    for (const auto& [text, md5, sha256] : cases) {
        EXPECT_TRUE(md5.empty() || hexEncodedString(MD5Hash(bytesOf(text))) == md5) << text;
        EXPECT_TRUE(sha256.empty() || hexEncodedString(SHA256Hash(bytesOf(text))) == sha256) << text;
    }
    EXPECT_EQ(send<id>(id(bytesOf("abc")), "MD5Hash"_sel), id(MD5Hash(bytesOf("abc"))));
}

TEST(Digests, AreKeyedAsPublished) {
    struct Case {
        NSData key;
        NSData data;
        std::string_view hmac;
    };
    const Case cases[] = {
        // RFC 4231, 4.2, 4.3, 4.7; the last one, of nothing under nothing, made by `openssl mac`
        {bytesOf(std::string(20, '\x0B')), bytesOf("Hi There"),
         "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
        {bytesOf("Jefe"), bytesOf("what do ya want for nothing?"),
         "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
        {bytesOf(std::string(131, '\xAA')), bytesOf("Test Using Larger Than Block-Size Key - Hash Key First"),
         "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54"},
        {{}, {}, "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad"},
    };
    for (const auto& [key, data, hmac] : cases) {
        EXPECT_EQ(hexEncodedString(HMACSHA256WithKey(data, key)), hmac);
    }
}

TEST(Digests, AreTheSameInPieces) {
    const auto data = bytesOf(std::string(1000, 'a') + "end");
    const auto key = bytesOf("key");
    for (const std::size_t size : {1, 63, 64, 65, 1003}) {
        const auto inPieces = [&](Digest digest) {
            for (std::size_t at = 0; at < data.size(); at += size) {
                digest.update(data.bytes().subspan(at, std::min(size, data.size() - at)));
                digest.update({});
            }
            auto result = digest.finish();
            EXPECT_THROW(digest.update({}), NSException);
            EXPECT_THROW(static_cast<void>(digest.finish()), NSException);
            return result;
        };
        EXPECT_EQ(inPieces(Digest::MD5()), MD5Hash(data)) << size;
        EXPECT_EQ(inPieces(Digest::SHA256()), SHA256Hash(data)) << size;
        EXPECT_EQ(inPieces(Digest::HMACSHA256(key)), HMACSHA256WithKey(data, key)) << size;
    }
}

TEST(ByteTexts, AreHexadecimal) {
    const auto data = bytesOfHex("00ab7f80ff");
    EXPECT_EQ(hexEncodedString(data), "00ab7f80ff");
    EXPECT_EQ(hexEncodedStringWithOptions(data, HexEncodingUpperCase | 2), "00AB7F80FF");
    EXPECT_EQ(hexEncodedStringWithOptions(data, 2), "00ab7f80ff");
    EXPECT_EQ(hexEncodedString({}), "");
    EXPECT_EQ(send<std::string>(id(data), "hexEncodedStringWithOptions:"_sel, 1), "00AB7F80FF");
}

TEST(ByteTexts, AreBase64WithHalfAPadding) {
    constexpr std::pair<std::string_view, std::string_view> cases[] = {
        {"", ""},
        // RFC 4648, section 10
        {"f", "Zg=="},
        {"fo", "Zm8"},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE"},
        {"foobar", "Zm9vYmFy"},
        {"\xFB\xEF\xBE\xFF\xFF\xFF", "----____"},
        {"\xFF", "_w=="},
        {"\xFB\xFF", "-_8"},
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(urlSafeBase64EncodedString(bytesOf(bytes)), text);
    }
}

TEST(TextHashes, FoldScalarValues) {
    struct Case {
        std::string text;
        std::int64_t djb2;
        std::int64_t sdbm;
    };
    const Case cases[] = {
        {"", 5381, 0},
        {"a", 177670, 97},
        {"ab", std::int64_t{177670} * 33 + 98, 97 * 65599 + 98},
        {"\xC3\xBC", 5381 * 33 + 0xFC, 0xFC},
        {"\U0001F4F0", 5381 * 33 + 0x1F4F0, 0x1F4F0},
        {"\xFF", 5381 * 33 + 0xFFFD, 0xFFFD},
        {"\0"s, 177573, 0},
    };
    for (const auto& [text, djb2, sdbm] : cases) {
        EXPECT_EQ(djb2hash(text), djb2) << text;
        EXPECT_EQ(sdbmhash(text), sdbm) << text;
    }
}

TEST(TextHashesDeathTest, StopAtTheOneValueThatHasNoNegative) {
    // The digits of 2^63 to the base of 65599.
    const auto text = "\xE7\xBE\xA1\xEA\xBA\x9A\xEE\x84\x91\xE9\x88\x98"s;
    EXPECT_EQ(sdbmhash(text), INT64_MIN);
    EXPECT_DEATH(static_cast<void>(sdbmhash(text + "a")), "");
}

TEST(StringEncodings, AreReadOrRefused) {
    using Encoding = NSStringEncoding;
    struct Case {
        Encoding encoding;
        std::string bytes;
        std::optional<std::string> text;
    };
    const Case cases[] = {
        {Encoding::UTF8, "gr\xC3\xBC\xC3\x9F \xF0\x9F\x93\xB0\0."s,
         "gr\xC3\xBC\xC3\x9F \xF0\x9F\x93\xB0\0."s},
        {Encoding::UTF8, "\xEF\xBB\xBFmark", "\xEF\xBB\xBFmark"},
        {Encoding::UTF8, "", ""},
        {Encoding::UTF8, "cut \xC3", std::nullopt},
        {Encoding::UTF8, "overlong \xC0\xAF", std::nullopt},
        {Encoding::UTF8, "surrogate \xED\xA0\x80", std::nullopt},
        {Encoding::ASCII, "plain~", "plain~"},
        {Encoding::ASCII, "\x80", std::nullopt},
        {Encoding::ISOLatin1, "gr\xFC\xDF", "gr\xC3\xBC\xC3\x9F"},
        {Encoding::ISOLatin2, "\xB1", "\xC4\x85"},
        {Encoding::WindowsCP1252, "\x80", "\xE2\x82\xAC"},
        {Encoding::MacOSRoman, "\x9F", "\xC3\xBC"},
        {Encoding::UTF16, "\xFF\xFE\xFC\0"s, "\xC3\xBC"},
        {Encoding::UTF16, "\xFE\xFF\0\xFC"s, "\xC3\xBC"},
        {Encoding::UTF16, "\0a"s, "a"},
        {Encoding::UTF16, "\0a\0"s, std::nullopt},
        {Encoding::UTF16BigEndian, "\xD8\x3D\xDC\xF0", "\xF0\x9F\x93\xB0"},
        {Encoding::UTF16BigEndian, "\xD8\x3D\0a"s, std::nullopt},
        {Encoding::UTF16LittleEndian, "a\0"s, "a"},
        {static_cast<Encoding>(77), "a", std::nullopt},
    };
    for (const auto& [encoding, bytes, text] : cases) {
        EXPECT_EQ(stringWithDataEncoding(bytesOf(bytes), encoding), text)
            << static_cast<std::uint64_t>(encoding) << " " << hexEncodedString(bytesOf(bytes));
    }
    // Longer than the pieces that are converted at a time, which end in the middle of characters.
    const auto latin = "x" + std::string(20000, '\xFC');
    EXPECT_EQ(stringWithDataEncoding(bytesOf(latin), Encoding::ISOLatin1)->size(), 40001U);
}

}  // namespace qz::test
