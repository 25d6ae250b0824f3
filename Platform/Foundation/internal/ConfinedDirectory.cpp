#include "Platform/Foundation/internal/ConfinedDirectory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <system_error>

namespace qz::internal {

namespace {

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// The components of a name joined by single slashes: an errno, or 0.
int normalise(std::string_view name, std::string& path) {
    constexpr std::string_view slashes = "/\\";
    if (name.find('\0') != std::string_view::npos) {
        return EXDEV;
    }
    if (name.size() >= PATH_MAX) {
        return ENAMETOOLONG;
    }
    if (!name.empty() && slashes.find(name.front()) != std::string_view::npos) {
        return EXDEV;
    }
    while (!name.empty()) {
        const auto end = name.find_first_of(slashes);
        const auto component = name.substr(0, end);
        name.remove_prefix(end == std::string_view::npos ? name.size() : end + 1);
        if (component == "..") {
            return EXDEV;
        }
        if (!component.empty() && component != ".") {
            path.append(path.empty() ? 0 : 1, '/').append(component);
        }
    }
    return 0;
}

bool isLink(int directory, const char* name) noexcept {
    struct stat status {};
    return ::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

}  // namespace

bool ConfinedDirectory::isRefusal(int error) noexcept {
    return error == EXDEV || error == ELOOP;
}

int ConfinedDirectory::open(const std::string& path) {
    std::error_code failure;
    std::filesystem::create_directories(path, failure);
    // Whatever failed there, opening tells: a directory that exists is fine.
    root_ = FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    lastDirectory_.clear();
    last_ = FileDescriptor();
    return root_ ? 0 : errno;
}

/// Makes `last_` the directory of these components.
int ConfinedDirectory::descend(const std::string& directory, Missing missing) {
    if (directory == lastDirectory_) {
        return 0;
    }
    FileDescriptor current;
    for (std::size_t start = 0; start < directory.size();) {
        const auto end = std::min(directory.find('/', start), directory.size());
        const auto component = directory.substr(start, end - start);
        const int parent = current ? *current : *root_;
        FileDescriptor next(::openat(parent, component.c_str(), directoryFlags));
        if (!next && errno == ENOENT && missing == Missing::Make) {
            if (::mkdirat(parent, component.c_str(), 0777) != 0 && errno != EEXIST) {
                return errno;
            }
            next = FileDescriptor(::openat(parent, component.c_str(), directoryFlags));
        }
        if (!next) {
            const int error = errno;
            return error == ENOTDIR && isLink(parent, component.c_str()) ? ELOOP : error;
        }
        current = std::move(next);
        start = end + 1;
    }
    last_ = std::move(current);
    lastDirectory_ = directory;
    return 0;
}

int ConfinedDirectory::find(std::string_view name, Missing missing, Place& place) {
    std::string path;
    if (const int error = normalise(name, path)) {
        return error;
    }
    const auto slash = path.rfind('/');
    if (const int error = descend(path.substr(0, slash == std::string::npos ? 0 : slash), missing)) {
        return error;
    }
    place.parent = last_ ? *last_ : *root_;
    place.leaf = path.substr(slash + 1);
    if (place.leaf.empty()) {
        place.leaf = ".";
    }
    return 0;
}

int ConfinedDirectory::makeDirectories(std::string_view name) {
    std::string path;
    const int error = normalise(name, path);
    return error != 0 ? error : descend(path, Missing::Make);
}

int ConfinedDirectory::makeParentDirectories(std::string_view name) {
    Place place;
    return find(name, Missing::Make, place);
}

int ConfinedDirectory::createFile(std::string_view name, FileDescriptor& file) {
    Place place;
    if (const int error = find(name, Missing::Fail, place)) {
        return error;
    }
    // Opening a pipe waits for its reader unless it is asked not to; what is no regular file is given up
    // before anything in it changes, which is why opening does not truncate.
    FileDescriptor opened(::openat(place.parent, place.leaf.c_str(),
                                   O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                                   0666));
    struct stat status {};
    if (!opened || ::fstat(*opened, &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    if (status.st_size != 0 && ::ftruncate(*opened, 0) != 0) {
        return errno;
    }
    file = std::move(opened);
    return 0;
}

int ConfinedDirectory::createLink(const std::string& target, std::string_view name) {
    Place place;
    if (const int error = find(name, Missing::Fail, place)) {
        return error;
    }
    return ::symlinkat(target.c_str(), place.parent, place.leaf.c_str()) == 0 ? 0 : errno;
}

int ConfinedDirectory::removeFile(std::string_view name) {
    Place place;
    if (const int error = find(name, Missing::Fail, place)) {
        return error;
    }
    return ::unlinkat(place.parent, place.leaf.c_str(), 0) == 0 ? 0 : errno;
}

int ConfinedDirectory::status(std::string_view name, struct stat& status) {
    Place place;
    if (const int error = find(name, Missing::Fail, place)) {
        return error;
    }
    return ::fstatat(place.parent, place.leaf.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

int ConfinedDirectory::setModificationTime(std::string_view name, const timespec& time) {
    Place place;
    if (const int error = find(name, Missing::Fail, place)) {
        return error;
    }
    const timespec times[] = {{0, UTIME_OMIT}, time};
    return ::utimensat(place.parent, place.leaf.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

int ConfinedDirectory::setPermissions(std::string_view name, mode_t permissions) {
    Place place;
    if (const int error = find(name, Missing::Fail, place)) {
        return error;
    }
    // The system's own call to change a mode follows links. A descriptor that was opened without following
    // one cannot be exchanged; it is named through /proc, since fchmod() refuses those that only name a file.
    const FileDescriptor item(::openat(place.parent, place.leaf.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!item || ::fstat(*item, &status) != 0) {
        return errno;
    }
    if (S_ISLNK(status.st_mode)) {
        return ELOOP;
    }
    const auto proc = "/proc/self/fd/" + std::to_string(*item);
    return ::chmod(proc.c_str(), permissions) == 0 ? 0 : errno;
}

}  // namespace qz::internal
