// The file of an archive: as minizip asks for it, and read at any place.
//
// minizip reads directories byte by byte and jumps between them, which the C library's files answer with a
// system call for every jump. A window on the file answers it here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "Platform/Foundation/internal/FileDescriptor.h"

struct zlib_filefunc64_def_s;

namespace qz::internal {

class ArchiveFile {
public:
    /// False when it is no regular file that can be read.
    [[nodiscard]] bool open(const std::string& path);
    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }

    /// How many bytes there were, without the window.
    [[nodiscard]] std::size_t readAt(std::uint64_t position, std::span<std::byte> buffer) const noexcept;

    /// minizip's input functions on this file, which must stay where it is.
    [[nodiscard]] zlib_filefunc64_def_s functions() noexcept;
    /// Where in the file minizip began to read in a call of one of its functions.
    template <class F>
    [[nodiscard]] std::uint64_t beginningOfRead(F&& call) {
        firstRead_.reset();
        call();
        return firstRead_.value_or(0) - shift_;
    }
    /// How many bytes there were, through the window, which minizip has around the current entry of the
    /// directory.
    [[nodiscard]] std::size_t readDirectoryAt(std::uint64_t position, std::span<std::byte> buffer) noexcept;

private:
    [[nodiscard]] std::size_t read(void* buffer, std::size_t size) noexcept;
    [[nodiscard]] long seek(std::uint64_t offset, int origin) noexcept;

    FileDescriptor file_;
    std::uint64_t size_ = 0;
    std::uint64_t shift_ = 0;     // bytes in front of the file's
    std::uint64_t position_ = 0;  // with those
    std::optional<std::uint64_t> firstRead_;
    bool isShort_ = false;           // the last read; a file's end, too, is an error to a directory
    std::uint64_t windowStart_ = 0;  // in the file
    std::size_t windowSize_ = 0;
    std::array<std::byte, std::size_t{16} * 1024> window_{};
};

}  // namespace qz::internal
