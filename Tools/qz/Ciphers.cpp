// qz encrypt, qz decrypt: files under AES in CBC mode.
#include <CLI/CLI.hpp>
#include <iostream>

#include "Command.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/Crypto/CCCryptorAES256.h"
#include "QZUtils/Extensions/NSData/NSData+CryptoData.h"

namespace qz::tool {

namespace {

struct Options {
    std::string file;
    std::string output;
    std::optional<std::string> key;
    std::string keyFile;
    std::string kind = "text";
    std::optional<std::string> initializationVector;
    std::optional<std::string> salt;
    std::optional<std::uint64_t> cycles;
};

std::string keyOf(const Options& options) {
    if (options.key) {
        return *options.key;
    }
    const auto content = contentOf(options.keyFile);
    return std::string(content.text().substr(0, content.text().find_first_of("\r\n")));
}

std::string textKeyOf(const Options& options) {
    auto key = keyOf(options);
    if (key.size() > CCCryptorAES256::keySize) {
        throw Failure("a key that is a text has at most 32 bytes", wrongUsage);
    }
    return key;
}

void write(const NSData& data, const Options& options) {
    if (options.output.empty()) {
        std::cout << data.text() << std::flush;
        return;
    }
    Ref<NSError> error;
    if (!writeToFile(data, options.output, true, &error)) {
        throw Failure(error->localizedDescription());
    }
}

void encrypt(const Options& options) {
    const auto key = textKeyOf(options);
    write(AES256EncryptWithKey(contentOf(options.file), key).value(), options);
}

std::optional<NSData> decryptWithBytes(const Options& options) {
    const auto key = bytesOfHex(keyOf(options), "--key");
    if (key.size() != 16 && key.size() != 24 && key.size() != 32) {
        throw Failure("a key in hexadecimal digits has 16, 24 or 32 bytes", wrongUsage);
    }
    if (!options.initializationVector) {
        return CCCryptorAES256::decryptDataKey(contentOf(options.file), key);
    }
    const auto vector = bytesOfHex(*options.initializationVector, "--iv");
    if (vector.size() != CCCryptorAES256::IVSize) {
        throw Failure("an initialization vector has 16 bytes", wrongUsage);
    }
    return CCCryptorAES256::decryptDataKeyIV(contentOf(options.file), key, vector);
}

/// `openssl enc` puts "Salted__" and eight bytes of salt before what it writes.
std::optional<NSData> decryptWithPassword(const Options& options) {
    constexpr std::string_view mark = "Salted__";
    constexpr std::size_t saltSize = 8;
    const auto password = NSData::dataWithText(keyOf(options));
    auto content = contentOf(options.file);
    NSData salt;
    if (options.salt) {
        salt = bytesOfHex(*options.salt, "--salt");
    } else if (content.text().starts_with(mark) && content.size() >= mark.size() + saltSize) {
        salt = NSData(content.bytes().subspan(mark.size(), saltSize));
        content = NSData(content.bytes().subspan(mark.size() + saltSize));
    } else {
        throw Failure("the file does not begin with a salt: say one with --salt", wrongUsage);
    }
    // Not by an object of the class, which would give what came out under a wrong password.
    NSData vector;
    const auto key = CCCryptorAES256::generateKeyAndIV(&vector, salt, password, options.cycles.value_or(1));
    return CCCryptorAES256::decryptDataKeyIV(content, key, vector);
}

std::optional<NSData> decrypted(const Options& options) {
    if (options.kind == "password") {
        return decryptWithPassword(options);
    }
    if (options.kind == "hex") {
        return decryptWithBytes(options);
    }
    const auto key = textKeyOf(options);
    return AES256DecryptWithKey(contentOf(options.file), key);
}

void decrypt(const Options& options) {
    if (options.kind != "hex" && options.initializationVector) {
        throw Failure("--iv is for --as hex", wrongUsage);
    }
    if (options.kind != "password" && (options.salt || options.cycles)) {
        throw Failure("--salt and --cycles are for --as password", wrongUsage);
    }
    const auto plain = decrypted(options);
    if (!plain) {
        throw Failure("\"" + options.file + "\" cannot be deciphered: another key, or damaged bytes");
    }
    write(*plain, options);
}

void addCommon(CLI::App& command, Options& options) {
    command.add_option("FILE", options.file, "The file; - for standard input")->required();
    command.add_option("-o,--output", options.output, "Where the result goes, if not to standard output");
    auto* keys = command.add_option_group("Key");
    keys->add_option("--key", options.key,
                     "The key. Everybody on this machine can read it while the command runs");
    keys->add_option("--key-file", options.keyFile, "A file whose first line is the key");
    keys->require_option(1);
}

}  // namespace

void addCiphers(CLI::App& program) {
    auto* encryption = program.add_subcommand(
        "encrypt", "Encipher a file with AES-256-CBC; the key is a text of at most 32 bytes");
    const auto forEncryption = std::make_shared<Options>();
    addCommon(*encryption, *forEncryption);
    encryption->callback([forEncryption] { encrypt(*forEncryption); });

    auto* decryption = program.add_subcommand("decrypt", "Decipher a file that was enciphered with AES-CBC");
    const auto options = std::make_shared<Options>();
    addCommon(*decryption, *options);
    decryption
        ->add_option("--as", options->kind,
                     "What the key is: text, as encrypt takes it; hex, for 16, 24 or 32 bytes; password, as "
                     "openssl enc -aes-256-cbc -md sha1 takes it")
        ->check(CLI::IsMember({"text", "hex", "password"}))
        ->capture_default_str();
    decryption->add_option(
        "--iv", options->initializationVector,
        "Initialization vector in hexadecimal digits; the file's first 16 bytes, if not said");
    decryption->add_option("--salt", options->salt,
                           "Salt in hexadecimal digits; what the file begins with, if not said");
    decryption
        ->add_option("--cycles", options->cycles, "How often password and salt are hashed; once, if not said")
        ->check(CLI::PositiveNumber);
    decryption->callback([options] { decrypt(*options); });
}

}  // namespace qz::tool
