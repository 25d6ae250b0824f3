#include "Platform/Network/internal/PartialFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <vector>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/SearchPaths.h"

namespace qz::internal {

namespace {

constexpr std::size_t gatherSize = std::size_t{256} * 1024;
/// Bytes that are written before the kernel is told to bring them to the disk.
constexpr std::uint64_t writeBackInterval = std::uint64_t{32} * 1024 * 1024;
constexpr std::string_view suffix = ".part";
constexpr std::size_t nameLength = 16 + suffix.size();
constexpr std::time_t secondsOfThirtyDays = std::time_t{30} * 24 * 60 * 60;

bool isNameOfPartialFile(std::string_view name) {
    return name.size() == nameLength && name.ends_with(suffix) &&
           name.find_first_not_of("0123456789abcdef") == nameLength - suffix.size();
}

/// Only what lies in the directory is ever opened or removed, whatever a record says.
bool isPathOfPartialFile(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash != std::string::npos && path.substr(0, slash) == PartialFile::directory() &&
           isNameOfPartialFile(std::string_view(path).substr(slash + 1));
}

bool lock(const FileDescriptor& file) {
    return ::flock(*file, LOCK_EX | LOCK_NB) == 0;
}

std::uint64_t fnv1a(std::span<const std::byte> bytes) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const auto byte : bytes) {
        hash = (hash ^ static_cast<std::uint64_t>(byte)) * 0x100000001B3;
    }
    return hash;
}

}  // namespace

std::string PartialFile::directory() {
    const auto cache = userBaseDirectory(UserBaseDirectory::Cache);
    return cache.empty() ? "" : stringByAppendingPathComponent(cache, "QZUtils/Downloads");
}

std::unique_ptr<PartialFile> PartialFile::create(int& error) {
    const auto directory = PartialFile::directory();
    for (int attempt = 0; attempt < 16; ++attempt) {
        std::uint64_t random = 0;
        if (::getrandom(&random, sizeof random, 0) != sizeof random) {
            error = errno;
            return nullptr;
        }
        auto path = stringWithFormat("%@/%016llx%@", directory, random, suffix);
        FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
        if (file) {
            (void)lock(file);  // where locks are not supported, two processes must not share a record
            return std::unique_ptr<PartialFile>(new PartialFile(std::move(path), std::move(file), 0));
        }
        error = errno == ENOENT ? makePrivateDirectories(directory) : errno;
        if (error != 0 && error != EEXIST) {
            return nullptr;
        }
    }
    return nullptr;
}

std::unique_ptr<PartialFile> PartialFile::reopen(const std::string& path, std::uint64_t size,
                                                 std::uint64_t tailDigest) {
    if (!isPathOfPartialFile(path)) {
        return nullptr;
    }
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    struct stat status {};
    if (!file || !lock(file) || ::fstat(*file, &status) != 0 || !S_ISREG(status.st_mode)) {
        return nullptr;
    }
    // From here on the file goes unless it is what it should be.
    std::unique_ptr<PartialFile> partial(new PartialFile(path, std::move(file), size));
    if (static_cast<std::uint64_t>(status.st_size) < size || partial->tailDigest(size) != tailDigest ||
        ::ftruncate(*partial->file_, static_cast<off_t>(size)) != 0) {
        return nullptr;
    }
    partial->keep();  // the record that led here still does
    return partial;
}

void PartialFile::discard(const std::string& path) {
    if (isPathOfPartialFile(path)) {
        const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
        if (file && lock(file)) {
            ::unlink(path.c_str());
        }
    }
}

void PartialFile::sweep() {
    const auto directory = PartialFile::directory();
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(directory.c_str()), &::closedir);
    const auto now = std::time(nullptr);
    while (const auto* entry = entries ? ::readdir(entries.get()) : nullptr) {
        struct stat status {};
        if (isNameOfPartialFile(entry->d_name) &&
            ::fstatat(::dirfd(entries.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            now - status.st_mtime > secondsOfThirtyDays) {
            discard(stringByAppendingPathComponent(directory, entry->d_name));
        }
    }
}

PartialFile::~PartialFile() {
    if (!isKept_) {
        ::unlink(path_.c_str());
    }
}

int PartialFile::append(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        if (!buffer_) {
            buffer_ = std::make_unique_for_overwrite<std::byte[]>(gatherSize);
        }
        const auto count = std::min(bytes.size(), gatherSize - gathered_);
        std::memcpy(buffer_.get() + gathered_, bytes.data(), count);
        gathered_ += count;
        bytes = bytes.subspan(count);
        if (gathered_ == gatherSize) {
            if (const int error = writeGathered()) {
                return error;
            }
        }
    }
    return 0;
}

int PartialFile::writeGathered() {
    const auto count = std::exchange(gathered_, 0);
    return write({buffer_.get(), count});
}

int PartialFile::write(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const auto count = ::pwrite(*file_, bytes.data(), bytes.size(), static_cast<off_t>(written_));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count < 0 ? errno : ENOSPC;
        }
        written_ += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    if (written_ - writtenBack_ >= writeBackInterval) {
        writtenBack_ = written_;
        writeBack_.begin(*file_);
    }
    return 0;
}

int PartialFile::restart() {
    gathered_ = 0;
    written_ = 0;
    writtenBack_ = 0;
    return ::ftruncate(*file_, 0) == 0 ? 0 : errno;
}

int PartialFile::flush() const {
    return ::fdatasync(*file_) == 0 || errno == EINVAL ? 0 : errno;
}

std::uint64_t PartialFile::tailDigest(std::uint64_t size) const {
    std::vector<std::byte> tail(static_cast<std::size_t>(std::min<std::uint64_t>(size, tailLength)));
    std::size_t length = 0;
    while (length < tail.size()) {
        const auto count = ::pread(*file_, tail.data() + length, tail.size() - length,
                                   static_cast<off_t>(size - tail.size() + length));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        length += static_cast<std::size_t>(count);
    }
    return fnv1a({tail.data(), length});
}

}  // namespace qz::internal
