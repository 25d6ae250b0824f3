// PartialFile: the bytes of a download that is under way. They lie in the user's cache directory, so that
// they outlive the process, under a name of their own, locked against other processes, and are removed with
// the object unless somebody wants to go on with them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "Platform/Foundation/internal/FileDescriptor.h"
#include "Platform/Network/internal/WriteBack.h"

namespace qz::internal {

class PartialFile {
public:
    /// A new empty one; null with an errno.
    [[nodiscard]] static std::unique_ptr<PartialFile> create(int& error);
    /// The first `size` bytes of one that was kept, if it holds them still: null when it is gone, shorter,
    /// in use, not of this directory, or when its last bytes do not have the digest.
    [[nodiscard]] static std::unique_ptr<PartialFile> reopen(const std::string& path, std::uint64_t size,
                                                             std::uint64_t tailDigest);
    /// Removes one that was kept and is not in use; other paths are left alone.
    static void discard(const std::string& path);
    /// Removes those that nobody has touched for thirty days. Takes time: not for a hot path.
    static void sweep();
    /// Where they lie: QZUtils/Downloads below $XDG_CACHE_HOME or ~/.cache; empty when there is neither.
    [[nodiscard]] static std::string directory();

    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;
    ~PartialFile();

    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// Bytes so far, gathered ones included.
    [[nodiscard]] std::uint64_t size() const noexcept { return written_ + gathered_; }

    // These answer an errno, or 0.

    /// Bytes are gathered, so that little pieces cost no system call each.
    [[nodiscard]] int append(std::span<const std::byte> bytes);
    /// Writes what is gathered.
    [[nodiscard]] int writeGathered();
    /// Drops everything.
    [[nodiscard]] int restart();
    /// Makes what is written last. From any thread.
    [[nodiscard]] int flush() const;

    /// The digest of the last of the first `size` bytes that are written, at most tailLength of them, for
    /// reopen(): FNV-1a, 64 bits (Fowler, Noll, Vo; http://www.isthe.com/chongo/tech/comp/fnv/). It finds
    /// torn and replaced files, not forged ones. From any thread.
    [[nodiscard]] std::uint64_t tailDigest(std::uint64_t size) const;
    static constexpr std::size_t tailLength = std::size_t{64} * 1024;

    /// The file stays when this object goes; or it does not. From any thread.
    void keep() noexcept { isKept_ = true; }
    void dropAtEnd() noexcept { isKept_ = false; }

private:
    PartialFile(std::string path, FileDescriptor file, std::uint64_t size)
        : path_(std::move(path)), file_(std::move(file)), written_(size), writtenBack_(size) {}
    [[nodiscard]] int write(std::span<const std::byte> bytes);

    const std::string path_;
    FileDescriptor file_;
    std::uint64_t written_;
    std::uint64_t writtenBack_ = 0;
    WriteBack writeBack_;
    std::unique_ptr<std::byte[]> buffer_;  // null until needed
    std::size_t gathered_ = 0;
    std::atomic<bool> isKept_ = false;
};

}  // namespace qz::internal
