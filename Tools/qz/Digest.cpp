// qz digest: the digest of a file in hexadecimal digits.
#include "QZUtils/Crypto/Digest.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "Command.h"
#include "QZUtils/Extensions/NSData/NSData+String.h"

namespace qz::tool {

namespace {

Digest digestOf(const std::string& algorithm, const std::optional<std::string>& key) {
    if ((algorithm == "hmac") != key.has_value()) {
        throw Failure(key ? "--key is for hmac" : "hmac takes a key: say one with --key", wrongUsage);
    }
    if (key) {
        return Digest::HMACSHA256(bytesOfHex(*key, "--key"));
    }
    return algorithm == "md5" ? Digest::MD5() : Digest::SHA256();
}

}  // namespace

void addDigest(CLI::App& program) {
    struct Options {
        std::string algorithm;
        std::string file;
        std::optional<std::string> key;
    };
    auto* command = program.add_subcommand("digest", "Print the digest of a file");
    const auto options = std::make_shared<Options>();
    command
        ->add_option("ALGORITHM", options->algorithm,
                     "md5 (names files, protects nothing), sha256, or hmac (of SHA-256, with a key)")
        ->required()
        ->check(CLI::IsMember({"md5", "sha256", "hmac"}));
    command->add_option("FILE", options->file, "The file; - for standard input")->required();
    command->add_option("--key", options->key, "The key of hmac, in hexadecimal digits");
    command->callback([options] {
        auto digest = digestOf(options->algorithm, options->key);
        readPieces(options->file, [&](std::span<const std::byte> piece) { digest.update(piece); });
        std::cout << hexEncodedString(digest.finish()) << std::endl;
    });
}

}  // namespace qz::tool
