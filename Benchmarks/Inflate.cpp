// What inflated() costs beside one call of zlib's own inflate(), which is told where to put how much. The
// argument is the size of the result: pages of text, and one large file.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <memory>
#include <random>
#include <string>

#include "QZUtils/Extensions/NSData/NSData+Inflated.h"

namespace qz {

namespace {

/// Words by chance, which compress as pages do: to about a third.
std::string pageText(std::size_t size) {
    std::mt19937 random(1);
    std::string text;
    while (text.size() < size) {
        text += "<p class=\"c" + std::to_string(random() % 32) + "\">" + std::to_string(random()) + "</p>\n";
    }
    text.resize(size);
    return text;
}

std::string deflated(const std::string& text) {
    z_stream stream{};
    ::deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    std::string output(::deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<const Bytef*>(text.data());
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(output.data());
    stream.avail_out = static_cast<uInt>(output.size());
    ::deflate(&stream, Z_FINISH);
    output.resize(stream.total_out);
    ::deflateEnd(&stream);
    return output;
}

void inflateWithOneCall(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto given = deflated(pageText(size));
    for (auto _ : state) {
        const auto output = std::make_unique_for_overwrite<Bytef[]>(size);
        z_stream stream{};
        ::inflateInit2(&stream, -MAX_WBITS);
        stream.next_in = reinterpret_cast<const Bytef*>(given.data());
        stream.avail_in = static_cast<uInt>(given.size());
        stream.next_out = output.get();
        stream.avail_out = static_cast<uInt>(size);
        if (::inflate(&stream, Z_FINISH) != Z_STREAM_END) {
            state.SkipWithError("zlib failed");
        }
        ::inflateEnd(&stream);
        benchmark::DoNotOptimize(output.get());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(inflateWithOneCall)->Arg(16 << 10)->Arg(1 << 20)->Arg(64 << 20);

void inflateData(benchmark::State& state) {
    const auto given = NSData::dataWithText(deflated(pageText(static_cast<std::size_t>(state.range(0)))));
    for (auto _ : state) {
        auto output = inflated(given, nullptr);
        if (!output || output->size() != static_cast<std::size_t>(state.range(0))) {
            state.SkipWithError("inflated() failed");
        }
        benchmark::DoNotOptimize(output);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(inflateData)->Arg(16 << 10)->Arg(1 << 20)->Arg(64 << 20);

}  // namespace
}  // namespace qz
