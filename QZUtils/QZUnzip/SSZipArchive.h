// SSZipArchive: whole archives out of directories and into them, with dates, permissions and symbolic links.
//
//     SSZipArchive::createZipFileAtPathWithContentsOfDirectory("/tmp/issue.zip", "/shelf/issue");
//     SSZipArchive::unzipFileAtPath("/tmp/issue.zip", "/shelf/copy", progressView);
//
//     const auto archive = SSZipArchive::initWithPath("/tmp/notes.zip");
//     if (archive->open()) {
//         archive->writeData(NSData::dataWithText("…"), "notes/1.txt");
//         archive->close();
//     }
//
// Nothing is written outside the destination: names that lead out of it, or through a symbolic link, are
// passed over in silence. Links are made wherever they point, and never followed.
//
// Most of what goes wrong is not reported by results: files that cannot be created, written or read are left
// out, damaged entries stay, and callers rely on the walk going on. Some of it is told on the console log
// (NSLog.h). The forms for creating archives that give an error, and error(), tell all.
//
// Memory does not grow with the sizes of entries. Class operations, which are class messages too, are safe
// from any thread; an archive that is being written belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"
#include "QZUtils/QZUnzip/SSZipArchiveDelegate.h"
#include "QZUtils/QZUnzip/ZipInfo.h"

namespace qz {

class NSDate;
class NSError;

/// Errors of extractions.
inline constexpr std::string_view SSZipArchiveErrorDomain = "SSZipArchiveErrorDomain";
enum class SSZipArchiveErrorCode : std::int64_t {
    FailedToOpen = -1,       // no archive, or none that can be read
    FailedToOpenFirst = -2,  // an archive without entries, or a damaged one
};

class QZ_EXPORT SSZipArchive : public NSObject {
    QZ_OBJECT(SSZipArchive, NSObject)
public:
    // Extracting.

    /// Replaces files that exist. False when the archive cannot be opened, has no entries, or has one that
    /// cannot be opened; the entries before that one are in their places then.
    static bool unzipFileAtPath(std::string_view path, std::string_view toDestination);
    /// `delegate`, which may be null, is one of SSZipArchiveDelegate.
    static bool unzipFileAtPath(std::string_view path, std::string_view toDestination, Receiver delegate);
    /// Without `overwrite`, files that exist are left alone. The password, which may be nil, counts for
    /// encrypted entries; one that is not ASCII is none. `error`, which may be null, is set when the archive
    /// cannot be opened or has no first entry; false has no error otherwise.
    static bool unzipFileAtPathOverwrite(std::string_view path, std::string_view toDestination,
                                         bool overwrite, Text password, Ref<NSError>* error);
    static bool unzipFileAtPathOverwrite(std::string_view path, std::string_view toDestination,
                                         bool overwrite, Text password, Ref<NSError>* error,
                                         Receiver delegate);

    // Creating.

    /// Each file is stored under its last path component. False when the archive cannot be created, and only
    /// then: files that cannot be read are not in it.
    static bool createZipFileAtPathWithFilesAtPaths(std::string_view path,
                                                    const std::vector<std::string>& paths);
    /// Stores the files of a directory and those below it under their paths relative to it, in the order of
    /// their names. Links to files are stored as these files; links to directories and empty directories are
    /// not stored.
    static bool createZipFileAtPathWithContentsOfDirectory(std::string_view path, std::string_view directory);
    /// The same, false also when anything could not be read or written: `error`, which may be null, is what
    /// error() was at the end.
    static bool createZipFileAtPathWithFilesAtPaths(std::string_view path,
                                                    const std::vector<std::string>& paths,
                                                    Ref<NSError>* error);
    static bool createZipFileAtPathWithContentsOfDirectory(std::string_view path, std::string_view directory,
                                                           Ref<NSError>* error);

    // Creating entry by entry.

    template <class Self = SSZipArchive>
    [[nodiscard]] static Ref<Self> initWithPath(std::string_view path) {
        auto archive = make<Self>();
        archive->path_ = path;
        return archive;
    }
    /// Creates the archive, in place of a file that exists.
    [[nodiscard]] bool open();
    /// Stores a file under its last path component.
    bool writeFile(std::string_view path);
    /// Stores a file with its date and mode. False when it cannot be opened: regular files only, and not the
    /// archive itself. Whether it could be stored, error() tells.
    bool writeFileAtPath(std::string_view path, Text withFileName);
    /// Stores bytes, dated now. False when they are nil or the archive is not open.
    bool writeData(const std::optional<NSData>& data, std::string_view filename);
    /// Completes the archive, which the last reference does too. True, whatever happens.
    bool close();
    /// The first thing that went wrong since open(), with its path; null when nothing has.
    [[nodiscard]] const Ref<NSError>& error() const noexcept { return error_; }

    /// Fills the date, as clocks here show it.
    static void zipInfoSetDate(ZipFileInfo& zipInfo, const NSDate& date);
    /// The date of a packed MS-DOS date and time, in the time zone of the process. Days and months that do
    /// not exist count on from those that do.
    [[nodiscard]] static Ref<NSDate> _dateWithMSDOSFormat(std::uint32_t msdosDateTime);

protected:
    SSZipArchive() = default;
    void dealloc() override;

private:
    class Entry;

    template <class F>
    static bool create(std::string_view path, F write, Ref<NSError>& error);
    static bool createWithFiles(std::string_view path, const std::vector<std::string>& paths,
                                Ref<NSError>& error);
    static bool createWithDirectory(std::string_view path, std::string_view directory, Ref<NSError>& error);
    void writeContentsOfDirectory(const std::string& directory, const std::string& prefix);
    [[nodiscard]] bool isArchiveItself(int descriptor) const;
    void failReading(int number, std::string_view path);
    void noteStatus(int status);

    std::string path_;
    void* zip_ = nullptr;  // minizip's handle
    std::uint64_t numberOfEntries_ = 0;
    Ref<NSError> error_;
};

}  // namespace qz
