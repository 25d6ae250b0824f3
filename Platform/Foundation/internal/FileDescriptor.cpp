#include "Platform/Foundation/internal/FileDescriptor.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/PathUtilities.h"

namespace qz::internal {

FileDescriptor::~FileDescriptor() {
    (void)close();
}

int FileDescriptor::close() noexcept {
    const int number = std::exchange(number_, -1);
    return number < 0 || ::close(number) == 0 || errno == EINTR ? 0 : errno;
}

int writeAll(int descriptor, std::span<const std::byte> bytes) noexcept {
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return written < 0 ? errno : EIO;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return 0;
}

int flushDirectory(const std::string& path) noexcept {
    const FileDescriptor directory(
        ::open(path.empty() ? "." : path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Some file systems cannot flush a directory; nothing is lost by that which could be kept.
    return !directory || ::fsync(*directory) == 0 || errno == EINVAL ? 0 : errno;
}

int makePrivateDirectories(const std::string& path) {
    if (path.empty()) {
        return ENOENT;
    }
    for (auto end = path.find('/', 1);; end = path.find('/', end + 1)) {
        if (::mkdir(path.substr(0, end).c_str(), 0700) != 0 && errno != EEXIST) {
            return errno;
        }
        if (end == std::string::npos) {
            return 0;
        }
    }
}

std::string temporaryPathBeside(const std::string& path) {
    std::uint64_t random = 0;
    if (::getrandom(&random, sizeof random, GRND_NONBLOCK) != sizeof random) {
        random = static_cast<std::uint64_t>(::getpid());  // O_EXCL tells a clash
    }
    const auto directory = stringByDeletingLastPathComponent(path);
    return stringByAppendingPathComponent(directory, stringWithFormat(".qz-%016llx", random));
}

int renameToFreePath(const std::string& from, const std::string& to) noexcept {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
    // A file system that cannot refuse by itself.
    struct stat status {};
    if (::lstat(to.c_str(), &status) == 0) {
        return EEXIST;
    }
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

FileBeside::FileBeside(std::string path)
    : path_(std::move(path)), directory_(stringByDeletingLastPathComponent(path_)) {}

FileBeside::~FileBeside() {
    if (exists_) {
        ::unlink(temporary_.c_str());
    }
}

int FileBeside::create() {
    for (int attempt = 0; attempt < 16; ++attempt) {
        temporary_ = temporaryPathBeside(path_);
        file_ = FileDescriptor(
            ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
        if (file_) {
            exists_ = true;
            return 0;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return errno;
}

int FileBeside::place(bool replaces) {
    if (::fsync(*file_) != 0) {
        return errno;
    }
    if (const int error = file_.close()) {
        return error;
    }
    const int error = replaces ? (::rename(temporary_.c_str(), path_.c_str()) == 0 ? 0 : errno)
                               : renameToFreePath(temporary_, path_);
    if (error != 0) {
        return error;
    }
    exists_ = false;
    return flushDirectory(directory_);
}

}  // namespace qz::internal
