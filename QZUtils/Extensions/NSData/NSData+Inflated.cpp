#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>
#include <string>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/Extensions/NSData/NSData+Inflated.h"

namespace qz {

namespace {

/// The length that zlib is told of a buffer, whose own may be more than zlib's type holds.
uInt clamped(std::size_t size) {
    return static_cast<uInt>(std::min<std::size_t>(size, std::numeric_limits<uInt>::max()));
}

/// A raw stream that is being inflated.
class Inflation {
public:
    explicit Inflation(std::span<const std::byte> input)
        : input_(input), status_(::inflateInit2(&stream_, -MAX_WBITS)) {}
    ~Inflation() { ::inflateEnd(&stream_); }
    Inflation(const Inflation&) = delete;
    Inflation& operator=(const Inflation&) = delete;

    /// Writes what comes next: less than there is room for at the end alone, whichever it is.
    std::size_t fill(std::span<std::byte> room) {
        auto free = room;
        while (!free.empty() && status_ == Z_OK) {
            free = free.subspan(inflate(free));
        }
        return room.size() - free.size();
    }

    [[nodiscard]] int status() const noexcept { return status_; }
    [[nodiscard]] std::string message() const {
        return status_ == Z_BUF_ERROR ? "unexpected end of data"
               : stream_.msg          ? stream_.msg
                                      : ::zError(status_);
    }

private:
    std::size_t inflate(std::span<std::byte> room) {
        stream_.next_in = reinterpret_cast<const Bytef*>(input_.data());
        stream_.avail_in = clamped(input_.size());
        stream_.next_out = reinterpret_cast<Bytef*>(room.data());
        stream_.avail_out = clamped(room.size());
        const auto given = stream_.avail_in;
        const auto asked = stream_.avail_out;
        // Asked to finish, it keeps no copy of what it wrote once it has finished.
        status_ = ::inflate(&stream_, Z_FINISH);
        input_ = input_.subspan(given - stream_.avail_in);
        if (status_ == Z_BUF_ERROR && (stream_.avail_out == 0 || !input_.empty())) {
            status_ = Z_OK;
        }
        return asked - stream_.avail_out;
    }

    std::span<const std::byte> input_;
    z_stream stream_{};
    int status_;
};

/// Streams of pages are seldom shorter than a fourth of them. No less than a filter hands over at once.
std::size_t firstCapacity(std::size_t compressed) {
    constexpr std::size_t least = 8192;
    return std::max(least, 4 * compressed);
}

}  // namespace

std::optional<NSData> inflated(const NSData& self, Ref<NSError>* error) {
    if (self.isEmpty()) {
        return NSData();
    }
    const auto fail = [&](int status, const std::string& message) {
        if (error) {
            *error =
                NSError::errorWithDomain(std::string(NSDataInflationErrorDomain), status,
                                         NSDictionary::dictionary({{NSLocalizedDescriptionKey, message}}));
        }
        return std::nullopt;
    };
    try {
        Inflation inflation(self);
        auto data = NSData::dataByFilling(firstCapacity(self.size()),
                                          [&](std::span<std::byte> room) { return inflation.fill(room); });
        return inflation.status() == Z_STREAM_END ? std::optional(std::move(data))
                                                  : fail(inflation.status(), inflation.message());
    } catch (const std::bad_alloc&) {
        return fail(Z_MEM_ERROR, ::zError(Z_MEM_ERROR));
    }
}

std::optional<NSData> inflated(const NSData& self) {
    Ref<NSError> error;
    auto data = inflated(self, &error);
    if (!data) {
        std::puts(("Error occurred during decompression: " + error->localizedDescription() + ".").c_str());
    }
    return data;
}

}  // namespace qz
