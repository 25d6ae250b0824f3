// Descriptors with an owner, and reading and writing that is not cut short by signals.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>

namespace qz::internal {

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) noexcept : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileDescriptor();

    [[nodiscard]] explicit operator bool() const noexcept { return number_ >= 0; }
    [[nodiscard]] int operator*() const noexcept { return number_; }
    /// Closes now: the error of that, or 0.
    int close() noexcept;

private:
    int number_ = -1;
};

/// Writes all: an errno, or 0.
[[nodiscard]] int writeAll(int descriptor, std::span<const std::byte> bytes) noexcept;
/// Makes the entries of a directory last: an errno, or 0.
[[nodiscard]] int flushDirectory(const std::string& path) noexcept;
/// Makes a directory with those above it, as far as they are missing, for the user alone: an errno, or 0. The
/// empty path is an error.
[[nodiscard]] int makePrivateDirectories(const std::string& path);

/// A new file beside a path, under a hidden name, that takes the path's place when it is complete, or goes.
class FileBeside {
public:
    explicit FileBeside(std::string path);
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;
    ~FileBeside();

    /// Made for writing, with the mode that the user's mask leaves: an errno, or 0.
    [[nodiscard]] int create();
    [[nodiscard]] int descriptor() const noexcept { return *file_; }
    [[nodiscard]] const std::string& temporaryPath() const noexcept { return temporary_; }
    /// Flushes and renames: an errno, or 0. With `replaces` false, a file at the path is left alone (EEXIST).
    [[nodiscard]] int place(bool replaces);

private:
    std::string path_;
    std::string directory_;
    std::string temporary_;
    FileDescriptor file_;
    bool exists_ = false;
};

/// A hidden name in the directory of a path that no other file has, most probably.
[[nodiscard]] std::string temporaryPathBeside(const std::string& path);
/// rename(2) that does not replace: an errno, or 0.
[[nodiscard]] int renameToFreePath(const std::string& from, const std::string& to) noexcept;

}  // namespace qz::internal
