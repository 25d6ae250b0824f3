#include "Platform/Foundation/NSFileManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/internal/FileDescriptor.h"
#include "Platform/Foundation/internal/FileError.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

using internal::failWithFileError;
using internal::FileDescriptor;
using internal::FileOperation;

namespace {

namespace fs = std::filesystem;

constexpr mode_t permissionBits = 07777;

std::string_view typeOf(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return NSFileTypeRegular;
        case S_IFDIR:
            return NSFileTypeDirectory;
        case S_IFLNK:
            return NSFileTypeSymbolicLink;
        default:
            return NSFileTypeUnknown;
    }
}

timespec timespecOf(const NSDate& date) {
    const auto seconds = std::floor(date.timeIntervalSince1970());
    return {static_cast<time_t>(seconds), static_cast<long>((date.timeIntervalSince1970() - seconds) * 1e9)};
}

/// Copies what is in a regular file: an errno, or 0.
int copyContents(int from, int to) {
    for (;;) {
        const auto copied = ::copy_file_range(from, nullptr, to, nullptr, std::size_t{1} << 30U, 0);
        if (copied == 0) {
            return 0;
        }
        if (copied < 0 && errno != EINTR) {
            break;
        }
    }
    // The file system or the kernel cannot do it between these two.
    std::vector<std::byte> buffer(std::size_t{1} << 18U);
    for (;;) {
        const auto count = ::read(from, buffer.data(), buffer.size());
        if (count == 0) {
            return 0;
        }
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        if (const int error =
                count > 0 ? internal::writeAll(to, std::span(buffer).first(static_cast<std::size_t>(count)))
                          : 0) {
            return error;
        }
    }
}

/// Copies a regular file, with its mode and times, to a free path, whole or not at all: an errno, or 0.
int copyFile(const std::string& from, const std::string& to) {
    const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!source || ::fstat(*source, &status) != 0) {
        return errno;
    }
    internal::FileBeside copy(to);
    if (const int error = copy.create()) {
        return error;
    }
    if (const int error = copyContents(*source, copy.descriptor())) {
        return error;
    }
    const timespec times[] = {status.st_atim, status.st_mtim};
    if (::fchmod(copy.descriptor(), status.st_mode & permissionBits) != 0 ||
        ::futimens(copy.descriptor(), times) != 0) {
        return errno;
    }
    return copy.place(false);
}

/// Copies anything to a free path: an errno, or 0.
int copyItem(const std::string& from, const std::string& to) {
    struct stat status {};
    if (::lstat(from.c_str(), &status) != 0) {
        return errno;
    }
    if (S_ISREG(status.st_mode)) {
        return copyFile(from, to);
    }
    const auto beside = internal::temporaryPathBeside(to);
    std::error_code error;
    fs::copy(from, beside, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    const int failure = error ? error.value() : internal::renameToFreePath(beside, to);
    if (failure != 0) {
        fs::remove_all(beside, error);
    }
    return failure;
}

}  // namespace

QZ_DEFINE_CLASS(NSFileManager, cls) {
    using Self = NSFileManager;
    cls.classMethod("defaultManager", [](Class&) { return defaultManager(); });
    cls.method("fileExistsAtPath:", [](const Self& self, Text path) { return self.fileExistsAtPath(path); });
    cls.method("removeItemAtPath:error:", &Self::removeItemAtPath);
    cls.method("moveItemAtPath:toPath:error:", &Self::moveItemAtPath);
    cls.method("copyItemAtPath:toPath:error:", &Self::copyItemAtPath);
    cls.method("createDirectoryAtPath:withIntermediateDirectories:attributes:error:",
               &Self::createDirectoryAtPath);
    cls.method("attributesOfItemAtPath:error:", &Self::attributesOfItemAtPath);
    cls.method("setAttributes:ofItemAtPath:error:", &Self::setAttributes);
    cls.method("contentsOfDirectoryAtPath:error:", &Self::contentsOfDirectoryAtPath);
}

Ref<NSFileManager> NSFileManager::defaultManager() {
    static const auto manager = make<NSFileManager>();
    return manager;
}

bool NSFileManager::fileExistsAtPath(Text path) const {
    return fileExistsAtPath(path, nullptr);
}

bool NSFileManager::fileExistsAtPath(Text path, bool* isDirectory) const {
    struct stat status {};
    const bool exists = path && ::stat(std::string(path.view()).c_str(), &status) == 0;
    if (isDirectory) {
        *isDirectory = exists && S_ISDIR(status.st_mode);
    }
    return exists;
}

bool NSFileManager::removeItemAtPath(std::string_view path, Ref<NSError>* error) {
    std::error_code failure;
    const auto count = fs::remove_all(path, failure);
    if (!failure && count == 0) {
        failure = std::make_error_code(std::errc::no_such_file_or_directory);
    }
    return !failure || failWithFileError(FileOperation::Writing, failure.value(), path, error);
}

bool NSFileManager::moveItemAtPath(std::string_view path, std::string_view toPath, Ref<NSError>* error) {
    const std::string from(path);
    const std::string to(toPath);
    int failure = internal::renameToFreePath(from, to);
    if (failure == EXDEV) {
        failure = copyItem(from, to);
        if (failure == 0) {
            std::error_code ignored;  // the target is whole; a source that stays does no harm
            fs::remove_all(from, ignored);
        }
    }
    return failure == 0 ||
           failWithFileError(FileOperation::Writing, failure, failure == EEXIST ? to : from, error);
}

bool NSFileManager::copyItemAtPath(std::string_view path, std::string_view toPath, Ref<NSError>* error) {
    const std::string to(toPath);
    struct stat status {};
    const int failure = ::lstat(to.c_str(), &status) == 0 ? EEXIST : copyItem(std::string(path), to);
    return failure == 0 ||
           failWithFileError(FileOperation::Writing, failure, failure == EEXIST ? toPath : path, error);
}

bool NSFileManager::createDirectoryAtPath(std::string_view path, bool withIntermediateDirectories,
                                          const Ref<NSDictionary>& attributes, Ref<NSError>* error) {
    const std::string directory(path);
    std::error_code failure;
    if (withIntermediateDirectories) {
        fs::create_directories(directory, failure);
    } else if (::mkdir(directory.c_str(), 0777) != 0) {
        failure.assign(errno, std::generic_category());
    }
    if (failure) {
        return failWithFileError(FileOperation::Writing, failure.value(), path, error);
    }
    return !attributes || setAttributes(attributes, path, error);
}

Ref<NSDictionary> NSFileManager::attributesOfItemAtPath(std::string_view path, Ref<NSError>* error) const {
    struct stat status {};
    if (::lstat(std::string(path).c_str(), &status) != 0) {
        failWithFileError(FileOperation::Reading, errno, path, error);
        return nullptr;
    }
    return NSDictionary::dictionary(
        {{NSFileSize, static_cast<std::uint64_t>(status.st_size)},
         {NSFileModificationDate,
          NSDate::dateWithTimeIntervalSince1970(static_cast<double>(status.st_mtim.tv_sec) +
                                                static_cast<double>(status.st_mtim.tv_nsec) / 1e9)},
         {NSFileType, typeOf(status.st_mode)},
         {NSFilePosixPermissions, static_cast<std::uint64_t>(status.st_mode & permissionBits)}});
}

bool NSFileManager::setAttributes(const Ref<NSDictionary>& attributes, std::string_view ofItemAtPath,
                                  Ref<NSError>* error) {
    const std::string path(ofItemAtPath);
    const auto mode = unbox<std::uint32_t>(attributes->objectForKey(NSFilePosixPermissions));
    if (mode && ::chmod(path.c_str(), *mode & permissionBits) != 0) {
        return failWithFileError(FileOperation::Writing, errno, path, error);
    }
    if (const auto date = attributes->objectForKey(NSFileModificationDate).as<NSDate>()) {
        const timespec times[] = {{0, UTIME_OMIT}, timespecOf(*date)};
        if (::utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
            return failWithFileError(FileOperation::Writing, errno, path, error);
        }
    }
    return true;
}

Ref<NSArray> NSFileManager::contentsOfDirectoryAtPath(std::string_view path, Ref<NSError>* error) const {
    std::vector<std::string> names;
    std::error_code failure;
    for (fs::directory_iterator entry(path, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        names.push_back(entry->path().filename().string());
    }
    if (failure) {
        failWithFileError(FileOperation::Reading, failure.value(), path, error);
        return nullptr;
    }
    std::sort(names.begin(), names.end());
    return NSArray::arrayWithObjects(std::vector<id>(names.begin(), names.end()));
}

}  // namespace qz
