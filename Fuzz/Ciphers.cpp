// Deciphering whatever comes: nothing breaks, the ways to decipher agree where they must, and what was
// enciphered comes back.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "QZUtils/Crypto/CCCryptorAES256.h"
#include "QZUtils/Extensions/NSData/NSData+CryptoData.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Cryptor = qz::CCCryptorAES256;
    const auto demand = [](bool holds) {
        if (!holds) {
            std::abort();
        }
    };
    const auto bytes = qz::NSData(std::as_bytes(std::span(data, size)));
    const auto text = bytes.text();
    const auto key = text.substr(0, 32);
    const auto cipher = AES256EncryptWithKey(bytes, key);
    demand(cipher && AES256DecryptWithKey(*cipher, key) == bytes);

    // The object gives what the strict form gives, where that gives anything.
    qz::NSData IV;
    const auto salt = qz::NSData::dataWithText(text.substr(0, 8));
    const auto derived = Cryptor::generateKeyAndIV(&IV, salt, bytes, 1);
    const auto strict = Cryptor::decryptDataKeyIV(bytes, derived, IV);
    const auto loose = Cryptor::initWithSalt(salt, bytes, 1)->decryptData(bytes);
    demand(!strict || *strict == loose);
    // Without its padding a buffer with a vector before it is never longer than the blocks it has.
    const auto prefixed = Cryptor::decryptDataKey(bytes, derived);
    demand(prefixed.has_value() == (size >= 32 && size % 16 == 0));
    demand(!prefixed || prefixed->size() <= size - 16);
    for (const auto encoding : {qz::NSStringEncoding::UTF8, qz::NSStringEncoding::UTF16,
                                qz::NSStringEncoding::ISOLatin2, qz::NSStringEncoding::MacOSRoman}) {
        const auto decoded = stringWithDataEncoding(bytes, encoding);
        // What was read is UTF-8.
        demand(!decoded || stringWithDataEncoding(qz::NSData::dataWithText(*decoded),
                                                  qz::NSStringEncoding::UTF8) == decoded);
    }
    return 0;
}
