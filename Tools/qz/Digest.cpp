// qz digest: the digest of a file in hexadecimal digits.
#include <CLI/CLI.hpp>
#include <iostream>

#include "Command.h"
#include "QZUtils/Extensions/NSData/NSData+Hash.h"
#include "QZUtils/Extensions/NSData/NSData+String.h"

namespace qz::tool {

namespace {

NSData digest(const std::string& algorithm, const std::string& file, const std::optional<std::string>& key) {
    if ((algorithm == "hmac") != key.has_value()) {
        throw Failure(key ? "--key is for hmac" : "hmac takes a key: say one with --key", wrongUsage);
    }
    if (key) {
        const auto bytes = bytesOfHex(*key, "--key");
        return HMACSHA256WithKey(contentOf(file), bytes);
    }
    return algorithm == "md5" ? MD5Hash(contentOf(file)) : SHA256Hash(contentOf(file));
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
        std::cout << hexEncodedString(digest(options->algorithm, options->file, options->key)) << std::endl;
    });
}

}  // namespace qz::tool
