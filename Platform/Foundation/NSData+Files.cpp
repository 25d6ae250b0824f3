#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/internal/FileDescriptor.h"
#include "Platform/Foundation/internal/FileError.h"

namespace qz {

using internal::failWithFileError;
using internal::FileDescriptor;
using internal::FileOperation;

namespace {

/// Appends what is left of a file: an errno, or 0.
int readAll(int descriptor, std::string& bytes) {
    for (;;) {
        const auto filled = bytes.size();
        constexpr std::size_t step = std::size_t{1} << 16U;
        bytes.resize(filled + step);
        const auto count = ::read(descriptor, bytes.data() + filled, step);
        bytes.resize(filled + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count == 0) {
            return 0;
        }
        if (count < 0 && errno != EINTR) {
            return errno;
        }
    }
}

int writeAtomically(const NSData& data, const std::string& path) {
    internal::FileBeside file(path);
    if (const int failure = file.create()) {
        return failure;
    }
    struct stat replaced {};
    if (::stat(path.c_str(), &replaced) == 0 && ::fchmod(file.descriptor(), replaced.st_mode & 07777) != 0) {
        return errno;
    }
    if (const int failure = internal::writeAll(file.descriptor(), data)) {
        return failure;
    }
    return file.place(true);
}

int writeInPlace(const NSData& data, const std::string& path) {
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file) {
        return errno;
    }
    const int failure = internal::writeAll(*file, data);
    return failure != 0 ? failure : file.close();
}

}  // namespace

std::optional<NSData> dataWithContentsOfFile(std::string_view path, Ref<NSError>* error) {
    const FileDescriptor file(::open(std::string(path).c_str(), O_RDONLY | O_CLOEXEC));
    std::string bytes;
    const int failure = file ? readAll(*file, bytes) : errno;
    if (failure != 0) {
        failWithFileError(FileOperation::Reading, failure, path, error);
        return std::nullopt;
    }
    return NSData::dataWithText(bytes);
}

bool writeToFile(const NSData& self, std::string_view path, bool atomically, Ref<NSError>* error) {
    const std::string target(path);
    const int failure = atomically ? writeAtomically(self, target) : writeInPlace(self, target);
    return failure == 0 || failWithFileError(FileOperation::Writing, failure, path, error);
}

}  // namespace qz
