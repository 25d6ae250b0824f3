// Ciphers and digests beside libcrypto used directly, as `openssl speed` uses it: one context, one output
// buffer, nothing else. The argument is the size of the buffer. Text forms stand beside libcrypto's own
// base64, RC4 alone.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <memory>
#include <string>
#include <vector>

#include "QZUtils/Crypto/CCCryptorAES256.h"
#include "QZUtils/Crypto/RC4.h"
#include "QZUtils/Extensions/NSData/NSData+Base64.h"
#include "QZUtils/Extensions/NSData/NSData+CryptoData.h"
#include "QZUtils/Extensions/NSData/NSData+Hash.h"
#include "QZUtils/Extensions/NSData/NSData+String.h"
#include "QZUtils/Extensions/NSString/NSString+Hash.h"

namespace qz {

namespace {

using Octets = std::vector<unsigned char>;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

const std::string key(32, 'k');

std::string content(const benchmark::State& state) {
    std::string bytes(static_cast<std::size_t>(state.range(0)), '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 131 >> 3U);
    }
    return bytes;
}

void countBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// One of the library's operations on a buffer.
template <auto operation>
void ours(benchmark::State& state) {
    const auto data = NSData::dataWithText(content(state));
    for (auto _ : state) {
        benchmark::DoNotOptimize(operation(data));
    }
    countBytes(state);
}

void runCipher(benchmark::State& state, bool encrypts) {
    const auto data = content(state);
    Octets input(data.begin(), data.end());
    Octets output(input.size() + 16);
    const Octets keyAndVector(48, 'k');
    const CipherContext context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    EVP_CipherInit_ex2(context.get(), EVP_aes_256_cbc(), keyAndVector.data(), keyAndVector.data(),
                       encrypts ? 1 : 0, nullptr);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    for (auto _ : state) {
        int length = 0;
        int last = 0;
        EVP_CipherInit_ex2(context.get(), nullptr, nullptr, keyAndVector.data(), -1, nullptr);
        EVP_CipherUpdate(context.get(), output.data(), &length, input.data(), static_cast<int>(input.size()));
        EVP_CipherFinal_ex(context.get(), output.data() + length, &last);
        benchmark::DoNotOptimize(output.data());
    }
    countBytes(state);
}

void libcryptoEncrypt(benchmark::State& state) {
    runCipher(state, true);
}

void libcryptoDecrypt(benchmark::State& state) {
    runCipher(state, false);
}

template <auto algorithm>
void libcryptoDigest(benchmark::State& state) {
    const auto data = content(state);
    const DigestContext context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    Octets digest(EVP_MAX_MD_SIZE);
    EVP_DigestInit_ex2(context.get(), algorithm(), nullptr);
    for (auto _ : state) {
        EVP_DigestInit_ex2(context.get(), nullptr, nullptr);
        EVP_DigestUpdate(context.get(), data.data(), data.size());
        EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
        benchmark::DoNotOptimize(digest.data());
    }
    countBytes(state);
}

void libcryptoBase64(benchmark::State& state) {
    const auto data = content(state);
    Octets text(data.size() * 2);
    for (auto _ : state) {
        EVP_EncodeBlock(text.data(), reinterpret_cast<const unsigned char*>(data.data()),
                        static_cast<int>(data.size()));
        benchmark::DoNotOptimize(text.data());
    }
    countBytes(state);
}

void decrypt(benchmark::State& state) {
    const auto data = *AES256EncryptWithKey(NSData::dataWithText(content(state)), key);
    for (auto _ : state) {
        benchmark::DoNotOptimize(AES256DecryptWithKey(data, key));
    }
    countBytes(state);
}

void decryptWithObject(benchmark::State& state) {
    const auto data = NSData::dataWithText(content(state));
    const auto cryptor = CCCryptorAES256::cryptorWithSalt(NSData(), NSData(), 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(cryptor->decryptData(data));
    }
    countBytes(state);
}

void rc4(benchmark::State& state) {
    const auto data = content(state);
    Octets bytes(data.begin(), data.end());
    for (auto _ : state) {
        RC4Crypt(bytes.data(), 30, bytes.data(), state.range(0));
        benchmark::DoNotOptimize(bytes.data());
    }
    countBytes(state);
}

template <auto hash>
void textHash(benchmark::State& state) {
    const std::string text(static_cast<std::size_t>(state.range(0)), 'a');
    for (auto _ : state) {
        benchmark::DoNotOptimize(hash(text));
    }
    countBytes(state);
}

void derive(benchmark::State& state) {
    const auto salt = NSData::dataWithText("saltsalt");
    for (auto _ : state) {
        benchmark::DoNotOptimize(CCCryptorAES256::generateKeyAndIV(
            nullptr, salt, salt, static_cast<std::uint64_t>(state.range(0))));
    }
}

constexpr auto encrypt = [](const NSData& data) { return AES256EncryptWithKey(data, key); };
constexpr auto hmac = [](const NSData& data) { return HMACSHA256WithKey(data, NSData::dataWithText(key)); };

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(64)->Arg(1 << 20);
}

BENCHMARK(ours<encrypt>)->Apply(sizes);
BENCHMARK(libcryptoEncrypt)->Apply(sizes);
BENCHMARK(decrypt)->Apply(sizes);
BENCHMARK(decryptWithObject)->Apply(sizes);
BENCHMARK(libcryptoDecrypt)->Apply(sizes);
BENCHMARK(ours<SHA256Hash>)->Apply(sizes);
BENCHMARK(libcryptoDigest<EVP_sha256>)->Apply(sizes);
BENCHMARK(ours<MD5Hash>)->Apply(sizes);
BENCHMARK(libcryptoDigest<EVP_md5>)->Apply(sizes);
BENCHMARK(ours<hmac>)->Apply(sizes);
BENCHMARK(ours<hexEncodedString>)->Apply(sizes);
BENCHMARK(ours<urlSafeBase64EncodedString>)->Apply(sizes);
BENCHMARK(libcryptoBase64)->Apply(sizes);
BENCHMARK(rc4)->Apply(sizes);
BENCHMARK(textHash<djb2hash>)->Apply(sizes);
BENCHMARK(textHash<sdbmhash>)->Apply(sizes);
BENCHMARK(derive)->Arg(1)->Arg(10000);

}  // namespace

}  // namespace qz
