#include "QZUtils/QZUnzip/internal/Zip64End.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>

#include "Platform/Archive/internal/LittleEndian.h"
#include "Platform/Foundation/internal/FileDescriptor.h"

namespace qz::internal {

namespace {

constexpr std::uint32_t locatorSignature = 0x07064b50;
constexpr std::size_t endSize = 22;
constexpr std::size_t locatorSize = 20;
constexpr std::size_t recordSize = 56;

using Bytes = std::span<std::byte>;

void put(Bytes& rest, std::size_t size, std::uint64_t value) {
    putLittleEndian(rest.first(size), value);
    rest = rest.subspan(size);
}

/// The record and its locator, as an archive of one file has them.
std::array<std::byte, recordSize + locatorSize> zip64End(std::uint64_t position,
                                                         std::uint64_t numberOfEntries,
                                                         std::uint64_t directorySize,
                                                         std::uint64_t directoryOffset) {
    constexpr std::uint64_t recordSignature = 0x06064b50;
    constexpr std::uint64_t sizeAfterwards = recordSize - 12;
    constexpr std::uint64_t version = 45;  // the first with ZIP64
    std::array<std::byte, recordSize + locatorSize> bytes{};
    Bytes rest(bytes);
    put(rest, 4, recordSignature);
    put(rest, 8, sizeAfterwards);
    put(rest, 2, version);
    put(rest, 2, version);
    put(rest, 8, 0);  // this disk, and that of the directory
    put(rest, 8, numberOfEntries);
    put(rest, 8, numberOfEntries);
    put(rest, 8, directorySize);
    put(rest, 8, directoryOffset);
    put(rest, 4, locatorSignature);
    put(rest, 4, 0);
    put(rest, 8, position);
    put(rest, 4, 1);
    return bytes;
}

}  // namespace

int completeZip64End(const std::string& path, std::uint64_t numberOfEntries) {
    const FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    const auto size = file ? ::lseek(*file, 0, SEEK_END) : -1;
    std::array<std::byte, locatorSize + endSize> tail{};
    const auto start = size - static_cast<off_t>(tail.size());
    if (size < 0) {
        return errno;
    }
    if (start < 0 || ::pread(*file, tail.data(), tail.size(), start) != static_cast<ssize_t>(tail.size())) {
        return EIO;
    }
    if (littleEndian(std::span(tail).first(4)) == locatorSignature) {
        return 0;
    }
    const auto end = std::span(tail).last(endSize);
    const auto position = static_cast<std::uint64_t>(size) - endSize;
    const auto added = zip64End(position, numberOfEntries, littleEndian(end.subspan(12, 4)),
                                littleEndian(end.subspan(16, 4)));
    std::array<std::byte, recordSize + locatorSize + endSize> closing;
    std::ranges::copy(end, std::ranges::copy(added, closing.begin()).out);
    if (::lseek(*file, static_cast<off_t>(position), SEEK_SET) < 0) {
        return errno;
    }
    return writeAll(*file, closing);
}

}  // namespace qz::internal
