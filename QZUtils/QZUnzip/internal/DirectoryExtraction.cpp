#include "QZUtils/QZUnzip/internal/DirectoryExtraction.h"

#include <cmath>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/PathUtilities.h"
#include "QZUtils/Diagnostics/Log.h"

namespace qz::internal {

namespace {

/// Enough that the system's calls cost nothing beside inflation.
constexpr auto bufferSize = std::size_t{64} * 1024;
/// A hostile archive has any number of entries.
constexpr std::size_t maximumWarnings = 1000;

}  // namespace

DirectoryExtraction::DirectoryExtraction(ZipReader& archive, std::string destination, bool overwrites,
                                         Text password, const QZUnzip::Filter& filter)
    : archive_(archive),
      destination_(std::move(destination)),
      overwrites_(overwrites),
      password_(password),
      filter_(filter),
      dateFor1980_(QZUnzip::_dateFor1980()->timeIntervalSince1970()),
      buffer_(bufferSize) {}

void DirectoryExtraction::extractEntry() {
    if (archive_.openEntry(password_) != ZipStatus::ok) {
        warn("Unable to open current file for unzipping");
        return;
    }
    ZipEntry entry;
    if (archive_.entry(entry) != ZipStatus::ok || !entry.hasText()) {
        warn("Unable to get information about current file for unzipping");
        archive_.closeEntry();
        return;
    }
    placeOpenEntry(entry);
}

void DirectoryExtraction::placeOpenEntry(const ZipEntry& entry) {
    const auto name = filter_ ? filter_(entry.path()) : entry.path();
    if (!name) {
        archive_.closeEntry();
    } else if (entry.isDirectory()) {
        placeDirectory(*name, entry);
        archive_.closeEntry();
    } else {
        placeFile(*name, entry);
    }
}

void DirectoryExtraction::placeDirectory(const std::string& name, const ZipEntry& entry) {
    int error = openDestination();
    if (error == 0) {
        error = directory_.makeDirectories(name);
    }
    if (ConfinedDirectory::isRefusal(error)) {
        warnOfFile(name);
        return;
    }
    setDate(name, entry);
}

void DirectoryExtraction::placeFile(const std::string& name, const ZipEntry& entry) {
    int error = openDestination();
    if (error == 0) {
        error = directory_.makeParentDirectories(name);
    }
    struct stat existing {};
    if (error == 0 && !overwrites_ && directory_.status(name, existing) == 0) {
        archive_.closeEntry();
        return;
    }
    FileDescriptor file;
    if (error == 0) {
        error = directory_.createFile(name, file);
    }
    if (error != 0) {
        warnOfFile(name);
        archive_.closeEntry();
        return;
    }
    int status = writeContents(file);
    if (file.close() != 0) {
        status = ZipStatus::ioError;
    }
    setDate(name, entry);
    const int closing = archive_.closeEntry();
    status = closing == ZipStatus::ok ? status : closing;
    if (status == ZipStatus::ok) {
        ++extractedFiles_;
        return;
    }
    (void)directory_.removeFile(name);  // what is worth telling of it is told now
    warn(stringWithFormat("Unable to uznip file %@: data currupted: %i", name, status));
}

/// The status of writing: that of reading is the archive's to tell.
int DirectoryExtraction::writeContents(const FileDescriptor& file) {
    for (;;) {
        const auto count = archive_.read(buffer_);
        if (count <= 0) {
            return ZipStatus::ok;
        }
        if (writeAll(*file, std::span(buffer_).first(static_cast<std::size_t>(count))) != 0) {
            return ZipStatus::ioError;
        }
    }
}

void DirectoryExtraction::setDate(const std::string& name, const ZipEntry& entry) {
    if (entry.dosDate == 0) {
        return;
    }
    // The word packs a calendar date; it is taken for a number of seconds all the same, and callers rely on
    // it.
    const timespec time{static_cast<time_t>(dateFor1980_) + static_cast<time_t>(entry.dosDate), 0};
    if (!isDestinationOpen_ || directory_.setModificationTime(name, time) != 0) {
        warn("Failed to set attributes");
    }
}

int DirectoryExtraction::openDestination() {
    if (isDestinationOpen_) {
        return 0;
    }
    const int error = directory_.open(destination_.empty() ? "." : destination_);
    isDestinationOpen_ = error == 0;
    return error;
}

void DirectoryExtraction::warn(std::string text) {
    logWarning("%@", text);
    if (warnings_.size() < maximumWarnings) {
        warnings_.push_back(std::move(text));
    }
}

void DirectoryExtraction::warnOfFile(std::string_view name) {
    warn(stringWithFormat("Unable to create file %@", stringByAppendingPathComponent(destination_, name)));
}

}  // namespace qz::internal
