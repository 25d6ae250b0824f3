// Extracting, step by step.
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Archive/internal/ZipReader.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/internal/ConfinedDirectory.h"
#include "Platform/Foundation/internal/FileDescriptor.h"
#include "Platform/Foundation/internal/FileError.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/QZUnzip/SSZipArchive.h"

namespace qz {

using internal::ConfinedDirectory;
using internal::FileDescriptor;
using internal::fileError;
using internal::FileOperation;
using internal::ZipEntry;
using internal::ZipReader;
using internal::ZipStatus;

namespace {

ZipFileInfo infoOf(const ZipEntry& entry) {
    const auto field = [&](unsigned firstBit, unsigned width) {
        return entry.dosDate >> firstBit & ((1U << width) - 1);
    };
    ZipFileInfo info;
    info.versionMadeBy = entry.versionMadeBy;
    info.versionNeeded = entry.versionNeeded;
    info.flag = entry.flag;
    info.compressionMethod = entry.compressionMethod;
    info.dosDate = entry.dosDate;
    info.date = {field(0, 5) * 2, field(5, 6),      field(11, 5),
                 field(16, 5),    field(21, 4) - 1, field(25, 7) + 1980};
    info.crc = entry.crc;
    info.compressedSize = entry.compressedSize;
    info.uncompressedSize = entry.uncompressedSize;
    info.nameSize = static_cast<std::uint32_t>(entry.name.size());
    info.extraFieldSize = entry.extraFieldSize;
    info.commentSize = entry.commentSize;
    info.diskNumberStart = entry.diskNumberStart;
    info.internalAttributes = entry.internalAttributes;
    info.externalAttributes = entry.externalAttributes;
    return info;
}

bool isSymbolicLink(const ZipEntry& entry) {
    constexpr unsigned madeByUnix = 3;
    constexpr unsigned linkType = 0xA;
    return (entry.versionMadeBy >> 8U & 0xFFU) == madeByUnix && entry.externalAttributes >> 28U == linkType;
}

bool isASCII(std::string_view text) {
    return text.end() ==
           std::ranges::find_if(text, [](char c) { return static_cast<unsigned char>(c) > 127; });
}

bool fail(SSZipArchiveErrorCode code, const char* text, Ref<NSError>* error) {
    if (error) {
        *error =
            NSError::errorWithDomain(std::string(SSZipArchiveErrorDomain), static_cast<std::int64_t>(code),
                                     NSDictionary::dictionary({{NSLocalizedDescriptionKey, text}}));
    }
    return false;
}

/// One archive on its way into one directory.
class Extraction {
public:
    Extraction(std::string_view path, std::string_view destination, bool overwrite, Text password,
               Receiver delegate)
        : path_(path),
          destination_(destination),
          overwrite_(overwrite),
          password_(isASCII(password.view()) ? password : Text()),
          delegate_(delegate) {}

    bool run(Ref<NSError>* error) {
        if (!archive_.open(std::string(path_))) {
            return fail(SSZipArchiveErrorCode::FailedToOpen, "failed to open zip file", error);
        }
        total_ = archiveSize();
        const ZipGlobalInfo info{archive_.numberOfEntries(), archive_.commentSize()};
        numberOfEntries_ = static_cast<std::int64_t>(info.numberOfEntries);
        if (archive_.goToFirst() != ZipStatus::ok) {
            return fail(SSZipArchiveErrorCode::FailedToOpenFirst, "failed to open first file in zip file",
                        error);
        }
        tell("zipArchiveWillUnzipArchiveAtPath:zipInfo:"_sel, path_, info);
        tellProgress(0);
        destinationError_ = directory_.open(std::string(destination_));
        const bool success = walk();
        restoreDates();
        setDirectoryPermissions();
        if (success) {
            tell("zipArchiveDidUnzipArchiveAtPath:zipInfo:unzippedPath:"_sel, path_, info, destination_);
        }
        tellProgress(total_);
        return success;
    }

private:
    /// The date that an item gets in the end, since writing into a directory changes the directory's own.
    struct DatedItem {
        std::string name;
        timespec date;
    };

    template <class... A>
    void tell(Selector selector, const A&... arguments) const {
        if (qz::respondsToSelector(delegate_, selector)) {
            send(delegate_, selector, arguments...);
        }
    }
    void tellProgress(std::int64_t loaded) const {
        tell("zipArchiveProgressEvent:total:"_sel, loaded, total_);
    }

    [[nodiscard]] std::int64_t archiveSize() const {
        struct stat status {};
        return ::stat(std::string(path_).c_str(), &status) == 0 ? status.st_size : 0;
    }

    [[nodiscard]] bool walk() {
        std::int64_t index = 0;
        std::int64_t position = 0;
        bool hasNext = true;
        do {
            ZipEntry entry;
            if (archive_.openEntry(password_) != ZipStatus::ok || archive_.entry(entry) != ZipStatus::ok) {
                archive_.closeEntryForgivingly();
                return false;
            }
            const auto info = infoOf(entry);
            tell("zipArchiveWillUnzipFileAtIndex:totalFiles:archivePath:fileInfo:"_sel, index,
                 numberOfEntries_, path_, info);
            position += static_cast<std::int64_t>(entry.compressedSize);
            tellProgress(position);
            const bool isExtracted = extract(entry);
            // A damaged entry stays.
            archive_.closeEntryForgivingly();
            hasNext = archive_.goToNext() == ZipStatus::ok;
            if (isExtracted) {
                tell("zipArchiveDidUnzipFileAtIndex:totalFiles:archivePath:fileInfo:"_sel, index,
                     numberOfEntries_, path_, info);
                ++index;
            }
        } while (hasNext);
        return true;
    }

    /// False when the entry was passed over for a file that exists.
    [[nodiscard]] bool extract(const ZipEntry& entry) {
        const auto name = entry.path();
        const auto date = dateOf(entry);
        const auto directory = entry.isDirectory() ? name : stringByDeletingLastPathComponent(name);
        const int error = makeDirectory(directory, date);
        if (ConfinedDirectory::isRefusal(error)) {
            return true;
        }
        if (error != 0) {
            NSLog("[SSZipArchive] Error: %@",
                  fileError(FileOperation::Writing, error, fullPath(directory))->localizedDescription());
        }
        if (!overwrite_ && !entry.isDirectory() && exists(name)) {
            return false;
        }
        if (isSymbolicLink(entry)) {
            extractLink(name);
            return true;
        }
        datedItems_.push_back({name, date});
        const int opening = entry.isDirectory() ? 0 : extractFile(name);
        if (!ConfinedDirectory::isRefusal(opening)) {
            setAttributes(entry, name, date);
        }
        return true;
    }

    [[nodiscard]] bool exists(const std::string& name) {
        struct stat status {};
        return destinationError_ == 0 && directory_.status(name, status) == 0;
    }

    /// A directory that was not there has the entry's date, as long as nothing is written into it.
    [[nodiscard]] int makeDirectory(const std::string& name, const timespec& date) {
        struct stat status {};
        if (destinationError_ != 0) {
            return destinationError_;
        }
        if (directory_.status(name, status) == 0 && S_ISDIR(status.st_mode)) {
            return 0;
        }
        const int error = directory_.makeDirectories(name);
        return error != 0 ? error : directory_.setModificationTime(name, date);
    }

    void extractLink(const std::string& name) {
        const auto target = linkTarget();
        const int error = destinationError_ != 0 ? destinationError_ : directory_.createLink(target, name);
        if (error != 0 && !ConfinedDirectory::isRefusal(error)) {
            NSLog("Failed to create symbolic link at \"%@\" to \"%@\". symlink() error code: %d",
                  fullPath(name), target, error);
        }
    }

    /// Longer targets than any link can have are cut after the first byte that is too much.
    [[nodiscard]] std::string linkTarget() {
        std::string target;
        while (target.size() <= PATH_MAX) {
            const auto count = archive_.read(chunk_);
            if (count <= 0) {
                break;
            }
            const std::string_view text(reinterpret_cast<const char*>(chunk_.data()),
                                        static_cast<std::size_t>(count));
            target += text.substr(0, text.find('\0'));
        }
        return target;
    }

    /// An errno when the file cannot be opened, or 0. What cannot be read or written of it is missing.
    [[nodiscard]] int extractFile(const std::string& name) {
        FileDescriptor file;
        const int error = destinationError_ != 0 ? destinationError_ : directory_.createFile(name, file);
        if (error != 0) {
            return error;
        }
        bool isWritten = true;
        std::size_t filled = 0;
        const auto flush = [&] {
            isWritten = internal::writeAll(*file, std::span(gathered_).first(filled)) == 0;
            filled = 0;
        };
        // Small chunks are read, since how much of a damaged entry stays goes by them, and large ones
        // written.
        while (isWritten) {
            const auto count = archive_.read(std::span(gathered_).subspan(filled, chunkSize));
            if (count <= 0) {
                break;
            }
            filled += static_cast<std::size_t>(count);
            if (filled + chunkSize > gathered_.size()) {
                flush();
            }
        }
        flush();
        return 0;
    }

    /// Also of an item whose file could not be opened.
    void setAttributes(const ZipEntry& entry, const std::string& name, const timespec& date) {
        constexpr std::uint32_t leastWithMode = 0x10000;
        if (entry.dosDate != 0 && setDate(name, date) != 0) {
            NSLog("[SSZipArchive] Failed to set attributes - whilst setting modification date");
        }
        if (entry.externalAttributes < leastWithMode) {
            return;
        }
        const mode_t permissions = entry.externalAttributes >> 16U;
        if (entry.isDirectory()) {
            directoryPermissions_.emplace_back(name, permissions);
        } else {
            setPermissions(name, permissions);
        }
    }

    void setPermissions(const std::string& name, mode_t permissions) {
        if (destinationError_ != 0 || directory_.setPermissions(name, permissions) != 0) {
            NSLog("[SSZipArchive] Failed to set attributes - whilst setting permissions");
        }
    }

    /// In the end, and the inner ones first: nothing can be put into a directory that is for reading only.
    void setDirectoryPermissions() {
        std::ranges::reverse(directoryPermissions_);
        for (const auto& [name, permissions] : directoryPermissions_) {
            setPermissions(name, permissions);
        }
    }

    [[nodiscard]] int setDate(const std::string& name, const timespec& date) {
        return destinationError_ != 0 ? destinationError_ : directory_.setModificationTime(name, date);
    }

    void restoreDates() {
        for (const auto& [name, date] : datedItems_) {
            const int error = setDate(name, date);
            if (error != 0 && !ConfinedDirectory::isRefusal(error)) {
                const auto path = fullPath(name);
                NSLog("[SSZipArchive] Set attributes failed for directory: %@.", path);
                NSLog("[SSZipArchive] Error setting directory file modification date attribute: %@",
                      fileError(FileOperation::Writing, error, path)->localizedDescription());
            }
        }
    }

    [[nodiscard]] static timespec dateOf(const ZipEntry& entry) {
        const auto date = SSZipArchive::_dateWithMSDOSFormat(entry.dosDate);
        return {static_cast<time_t>(date->timeIntervalSince1970()), 0};
    }
    [[nodiscard]] std::string fullPath(const std::string& name) const {
        return stringByAppendingPathComponent(destination_, name);
    }

    static constexpr std::size_t chunkSize = 4096;

    const std::string_view path_;
    const std::string_view destination_;
    const bool overwrite_;
    const Text password_;
    const Receiver delegate_;
    std::int64_t total_ = 0;  // bytes of the archive
    std::int64_t numberOfEntries_ = 0;
    ZipReader archive_;
    ConfinedDirectory directory_;
    int destinationError_ = 0;
    std::vector<DatedItem> datedItems_;
    std::vector<std::pair<std::string, mode_t>> directoryPermissions_;
    std::array<std::byte, chunkSize> chunk_{};
    std::vector<std::byte> gathered_ = std::vector<std::byte>(64 * chunkSize);
};

}  // namespace

bool SSZipArchive::unzipFileAtPath(std::string_view path, std::string_view toDestination) {
    return unzipFileAtPath(path, toDestination, nullptr);
}

bool SSZipArchive::unzipFileAtPath(std::string_view path, std::string_view toDestination, Receiver delegate) {
    return unzipFileAtPathOverwrite(path, toDestination, true, nullptr, nullptr, delegate);
}

bool SSZipArchive::unzipFileAtPathOverwrite(std::string_view path, std::string_view toDestination,
                                            bool overwrite, Text password, Ref<NSError>* error) {
    return unzipFileAtPathOverwrite(path, toDestination, overwrite, password, error, nullptr);
}

bool SSZipArchive::unzipFileAtPathOverwrite(std::string_view path, std::string_view toDestination,
                                            bool overwrite, Text password, Ref<NSError>* error,
                                            Receiver delegate) {
    return Extraction(path, toDestination, overwrite, password, delegate).run(error);
}

}  // namespace qz
