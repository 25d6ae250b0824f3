// Raw DEFLATE streams: they come back whole or not at all, and damage is told once.
#include <gmock/gmock.h>
#include <zlib.h>

#include <random>

#include "Platform/Foundation/NSError.h"
#include "QZUtils/Extensions/NSData/NSData+Inflated.h"

namespace qz::test {

std::string deflated(const std::string& text, int level = Z_DEFAULT_COMPRESSION) {
    z_stream stream{};
    EXPECT_EQ(::deflateInit2(&stream, level, Z_DEFLATED, -MAX_WBITS, 9, Z_DEFAULT_STRATEGY), Z_OK);
    std::string output(text.size() + text.size() / 8 + 64, '\0');
    stream.next_in = reinterpret_cast<const Bytef*>(text.data());
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(output.data());
    stream.avail_out = static_cast<uInt>(output.size());
    EXPECT_EQ(::deflate(&stream, Z_FINISH), Z_STREAM_END);
    output.resize(stream.total_out);
    ::deflateEnd(&stream);
    return output;
}

std::optional<NSData> inflatedText(const std::string& stream, Ref<NSError>* error = nullptr) {
    return inflated(NSData::dataWithText(stream), error);
}

/// Half of it can be compressed.
std::string sample(std::size_t size) {
    std::mt19937 random(7);
    std::string text(size, '\0');
    for (std::size_t index = 0; index < size; ++index) {
        text[index] = static_cast<char>(index % 64 < 32 ? random() : index / 64);
    }
    return text;
}

TEST(Inflated, RoundTripsAtTheSizesWhereBuffersEnd) {
    for (const std::size_t size : {0, 1, 8191, 8192, 8193, 16384, 65536, 3000000}) {
        for (const auto& text : {sample(size), std::string(size, 'x')}) {
            for (const int level : {0, 9}) {
                const auto data = inflatedText(deflated(text, level));
                ASSERT_TRUE(data) << size;
                EXPECT_TRUE(data->text() == text) << size << " at level " << level;
            }
        }
    }
    EXPECT_EQ(inflated(NSData()), NSData());
    EXPECT_EQ(inflatedText(deflated("page") + "what follows"), NSData::dataWithText("page"));
}

TEST(Inflated, IsAbsentWithOneLineWhenAnythingIsWrong) {
    const auto whole = deflated(sample(200000));
    auto damaged = whole;
    damaged.replace(damaged.size() / 2, 200, 200, '\xFF');  // after some chunks have come
    struct Case {
        std::string stream;
        int code;
        const char* message;
    };
    for (const auto& [stream, code, message] :
         {Case{"\x07", Z_DATA_ERROR, "invalid block type"}, Case{damaged, Z_DATA_ERROR, nullptr},
          Case{whole.substr(0, whole.size() - 1), Z_BUF_ERROR, "unexpected end of data"},
          Case{whole.substr(0, 1), Z_BUF_ERROR, "unexpected end of data"}}) {
        Ref<NSError> error;
        testing::internal::CaptureStdout();
        EXPECT_FALSE(inflatedText(stream, &error));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), NSDataInflationErrorDomain);
        EXPECT_EQ(error->code(), code);
        EXPECT_TRUE(!message || error->localizedDescription() == message) << error->localizedDescription();
        testing::internal::CaptureStdout();
        EXPECT_FALSE(inflated(NSData::dataWithText(stream)));
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Error occurred during decompression: " + error->localizedDescription() + ".\n");
    }
}

}  // namespace qz::test
