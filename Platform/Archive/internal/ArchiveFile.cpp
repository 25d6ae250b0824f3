#include "Platform/Archive/internal/ArchiveFile.h"

#include <fcntl.h>
#include <minizip/ioapi.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qz::internal {

bool ArchiveFile::open(const std::string& path) {
    // Opening a pipe would wait for its writer.
    file_ = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file_ || ::fstat(*file_, &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    size_ = static_cast<std::uint64_t>(status.st_size);
    // minizip takes an end of the directory at offset 0, which is where an empty archive has it, for none. It
    // allows for other bytes in front of an archive, so this one gets a byte.
    std::array<std::byte, 4> start{};
    const bool isEmptyArchive =
        readAt(0, start) == start.size() && std::memcmp(start.data(), "PK\5\6", start.size()) == 0;
    shift_ = isEmptyArchive ? 1 : 0;
    return true;
}

std::size_t ArchiveFile::readAt(std::uint64_t position, std::span<std::byte> buffer) const noexcept {
    std::size_t done = 0;
    while (done < buffer.size() && position + done <= static_cast<std::uint64_t>(INT64_MAX)) {
        const auto rest = buffer.subspan(done);
        const auto count = ::pread(*file_, rest.data(), rest.size(), static_cast<off_t>(position + done));
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

zlib_filefunc64_def ArchiveFile::functions() noexcept {
    zlib_filefunc64_def functions{};
    functions.opaque = this;
    functions.zopen64_file = [](voidpf self, const void*, int) { return self; };
    functions.zread_file = [](voidpf, voidpf self, void* buffer, uLong size) -> uLong {
        return static_cast<ArchiveFile*>(self)->read(buffer, size);
    };
    functions.ztell64_file = [](voidpf, voidpf self) -> ZPOS64_T {
        return static_cast<ArchiveFile*>(self)->position_;
    };
    functions.zseek64_file = [](voidpf, voidpf self, ZPOS64_T offset, int origin) -> long {
        return static_cast<ArchiveFile*>(self)->seek(offset, origin);
    };
    functions.zclose_file = [](voidpf, voidpf) { return 0; };
    functions.zerror_file = [](voidpf, voidpf self) -> int {
        return static_cast<ArchiveFile*>(self)->isShort_ ? 1 : 0;
    };
    return functions;
}

std::size_t ArchiveFile::readDirectoryAt(std::uint64_t position, std::span<std::byte> buffer) noexcept {
    position_ = position + shift_;  // minizip says where before each of its own reads
    return read(buffer.data(), buffer.size());
}

std::size_t ArchiveFile::read(void* buffer, std::size_t size) noexcept {
    if (!firstRead_) {
        firstRead_ = position_;
    }
    auto* to = static_cast<std::byte*>(buffer);
    std::size_t done = 0;
    while (done < size) {
        if (position_ < shift_) {
            to[done++] = std::byte{0};
            ++position_;
            continue;
        }
        const auto offset = position_ - shift_;
        if (offset < windowStart_ || offset - windowStart_ >= windowSize_) {
            windowSize_ = readAt(offset, window_);
            windowStart_ = offset;
            if (windowSize_ == 0) {
                break;
            }
        }
        const auto skipped = static_cast<std::size_t>(offset - windowStart_);
        const auto count = std::min(size - done, windowSize_ - skipped);
        std::memcpy(to + done, window_.data() + skipped, count);
        done += count;
        position_ += count;
    }
    isShort_ = done < size;
    return done;
}

long ArchiveFile::seek(std::uint64_t offset, int origin) noexcept {
    const auto base = origin == ZLIB_FILEFUNC_SEEK_CUR   ? position_
                      : origin == ZLIB_FILEFUNC_SEEK_END ? size_ + shift_
                                                         : 0;
    const auto position = base + offset;  // minizip goes back by wrapping round
    if (position > static_cast<std::uint64_t>(INT64_MAX)) {
        return -1;
    }
    position_ = position;
    return 0;
}

}  // namespace qz::internal
