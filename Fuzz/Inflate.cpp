// Raw DEFLATE streams from anywhere: nothing breaks, an error is given exactly where there is no result, and
// the bytes come back when they are compressed first.
#include <zlib.h>

#include <cstdint>
#include <cstdlib>

#include "Platform/Foundation/NSError.h"
#include "QZUtils/Extensions/NSData/NSData+Inflated.h"

namespace {

qz::NSData deflated(std::span<const std::uint8_t> bytes) {
    return qz::NSData::dataWithCapacity(bytes.size() + bytes.size() / 8 + 64, [&](std::span<std::byte> room) {
        z_stream stream{};
        ::deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY);
        stream.next_in = bytes.data();
        stream.avail_in = static_cast<uInt>(bytes.size());
        stream.next_out = reinterpret_cast<Bytef*>(room.data());
        stream.avail_out = static_cast<uInt>(room.size());
        ::deflate(&stream, Z_FINISH);
        ::deflateEnd(&stream);
        return std::size_t{stream.total_out};
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span bytes(data, size);
    const auto given = qz::NSData(std::as_bytes(bytes));
    qz::Ref<qz::NSError> error;
    if (qz::inflated(given, &error).has_value() == (error != nullptr)) {
        std::abort();
    }
    if (qz::inflated(deflated(bytes), nullptr) != given) {
        std::abort();
    }
    return 0;
}
