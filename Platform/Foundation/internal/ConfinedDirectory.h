// A directory that foreign names cannot lead out of: files, directories and links are made below it by
// relative names.
//
//     ConfinedDirectory directory;
//     if (directory.open("/shelf/issue") == 0) {
//         FileDescriptor file;
//         const int error = directory.createFile("pages/1.png", file);
//     }
//
// The directory is opened once; a name is followed from there one component at a time, never through a link,
// so that a link that appears between two steps changes nothing. Slashes of both kinds separate components;
// empty ones and "." are passed over. EXDEV is the answer to absolute names, to ".." and to a zero byte,
// ELOOP to a name that passes through a link or would write to one, ENAMETOOLONG to names that no path could
// have.
//
// Every operation answers an errno, or 0. The directory of the last name is kept open, so that a row of
// files in one directory costs one look at its components. For one thread at a time.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "Platform/Foundation/internal/FileDescriptor.h"

namespace qz::internal {

class ConfinedDirectory {
public:
    /// Whether an error says that a name was refused, and not that the file system failed.
    [[nodiscard]] static bool isRefusal(int error) noexcept;

    /// Opens the directory itself, making it with those above as far as they are missing. Links in this path
    /// are the caller's own and are followed.
    [[nodiscard]] int open(const std::string& path);

    /// Makes a directory with those above it, as far as they are missing. The empty name is the directory
    /// itself.
    [[nodiscard]] int makeDirectories(std::string_view name);
    /// Makes the directory that a file of this name lies in.
    [[nodiscard]] int makeParentDirectories(std::string_view name);
    /// Opens a regular file for writing, empty: a new one, or the one that is there. The mode is what the
    /// user's mask leaves.
    [[nodiscard]] int createFile(std::string_view name, FileDescriptor& file);
    /// Makes a link, wherever it points; EEXIST when something has that name.
    [[nodiscard]] int createLink(const std::string& target, std::string_view name);
    /// Removes a file or a link.
    [[nodiscard]] int removeFile(std::string_view name);

    /// Of the item itself, links included.
    [[nodiscard]] int status(std::string_view name, struct stat& status);
    [[nodiscard]] int setModificationTime(std::string_view name, const timespec& time);
    /// Of a file or directory; links have none of their own.
    [[nodiscard]] int setPermissions(std::string_view name, mode_t permissions);

private:
    struct Place {
        int parent;        // the descriptor of the directory that the name lies in
        std::string leaf;  // "." for the directory itself
    };
    enum class Missing { Fail, Make };

    [[nodiscard]] int find(std::string_view name, Missing missing, Place& place);
    [[nodiscard]] int descend(const std::string& directory, Missing missing);

    FileDescriptor root_;
    std::string lastDirectory_;  // below the root, its components joined by slashes; empty for the root
    FileDescriptor last_;
};

}  // namespace qz::internal
