// QZUnzip: extraction of zip archives to a directory, to memory, or of one entry. All of it is asked of the
// class.
//
//     Ref<NSError> error;
//     QZUnzip::unzipArchiveAtPath("/shelf/issue.zip", "/shelf/issue", &error);
//     const auto cover = QZUnzip::extractDataFromFile("cover.png", "/shelf/issue.zip", &error);
//     const auto page = QZUnzip::extractDataFromFileRegex("\\.pdf$", "/shelf/issue.zip", true, &error);
//
// Names are UTF-8 and may have slashes of both kinds; one that ends with a slash is a directory. Entries that
// are enciphered, in the traditional way or with AES (AE-1 and AE-2), are read with a password, which is
// ASCII: any other, like nil and the empty one, is no password. It counts for encrypted entries alone. A
// wrong one shows as damaged contents, and so does a changed entry of AES. Without one, entries of AES are
// not opened.
//
// Archives may come from anywhere. Nothing is written outside of the destination, whatever names, links and
// filter say: such an entry is one whose file cannot be created. Sizes are checked before memory is taken for
// them.
//
// ERRORS are of "UnzipArchiveErrorDomain": -1 when the archive cannot be opened, otherwise minizip's
// statuses: -100 no such entry, -102 a bad argument, -103 a damaged archive, -105 a wrong check sum. The user
// information has the text for people alone. Error pointers may be null.
//
// Every call opens the archive for itself, so calls may run at the same time on any threads; two that write
// into the same directory or dictionary are not coordinated.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSDate;
class NSError;
class NSMutableDictionary;

/// The domain of errors of QZUnzip.
inline constexpr std::string_view UnzipArchiveErrorDomain = "UnzipArchiveErrorDomain";

class QZ_EXPORT QZUnzip : public NSObject {
    QZ_OBJECT(QZUnzip, NSObject)
public:
    /// Takes an entry's name, with slashes of one kind, and answers the path below the destination at which
    /// to place it, or nullopt to skip it.
    using Filter = std::function<std::optional<std::string>(const std::string& name)>;

    // To a directory. Memory does not grow with the sizes of entries.

    static bool unzipArchiveAtPath(std::string_view path, std::string_view toDestination);
    static bool unzipArchiveAtPath(std::string_view path, std::string_view toDestination,
                                   Ref<NSError>* error);
    /// Extracts all entries, in the order of the archive, to a directory that is made if it is missing.
    /// Without `overwrite` files that exist stay as they are. The filter may be empty.
    ///
    /// True when at least one file was extracted, whatever happened to others: files that cannot be created
    /// are left out, and damaged ones removed again, with a warning in the log each. False without an error
    /// for an archive of which nothing came out, an empty one included; the only error is -1.
    ///
    /// An entry whose packed date and time is not zero gets the modification date _dateFor1980() plus that
    /// word taken as seconds. This is far from the date that was archived, and callers rely on it.
    static bool unzipArchiveAtPathOverwrite(std::string_view path, std::string_view toDestination,
                                            bool overwrite, Text password, const Filter& filter,
                                            Ref<NSError>* error);

    /// The same with more to say and more to tell.
    struct Extraction {
        std::string archive = {};
        std::string directory = {};
        bool overwrite = true;
        std::string password = {};  // empty: none
        Filter filter = {};         // empty: all entries, under their names
        std::stop_token stop = {};  // looked at before each entry
    };
    struct Outcome {
        std::uint64_t files = 0;            // extracted whole
        std::vector<std::string> warnings;  // the lines logged for others, at most 1,000
        Ref<NSError> error;                 // the archive cannot be opened
        bool hasReachedEnd = false;         // not stopped, and the list of entries is whole
        /// Every entry that the filter let pass is in its place.
        [[nodiscard]] bool isComplete() const noexcept { return hasReachedEnd && warnings.empty(); }
    };
    ///     const auto outcome = QZUnzip::unzip({.archive = "issue.zip", .directory = "issue"});
    [[nodiscard]] static Outcome unzip(const Extraction& extraction);

    // To memory.

    /// Stores every file's contents in a tree of mutable dictionaries, one for each directory of its name.
    /// What cannot be read is left out with a warning in the log.
    ///
    /// WARNING: does not end when the archive's last entry is a directory, and callers of old rely on its
    /// walk: use extractFilesUntil().
    static void extractFiles(std::string_view path, const Ref<NSMutableDictionary>& dst);
    /// The same for one walk over the archive, which ends. It also ends when it is told to stop, and before
    /// an entry with which more than `maximumSize` bytes were stored. True when all files are there.
    [[nodiscard]] static bool extractFilesUntil(const std::stop_token& stop, std::string_view path,
                                                const Ref<NSMutableDictionary>& dst,
                                                std::uint64_t maximumSize);
    /// Stores an object below dictionaries that are reached by all components but the last, which are made
    /// where they are missing, and answers the innermost one. Nothing is stored when the last one is empty. A
    /// value on the way that is no mutable dictionary raises what it raises for messages that it does not
    /// understand.
    static id putObjectToDictionary(const Ref<NSMutableDictionary>& root,
                                    const std::vector<std::string>& path, const id& object);

    // One entry: the first of that name, without regard to the case of ASCII letters, or, with `regex`, the
    // first whose name a POSIX pattern matches (unzLocateFileRegex.h).

    /// Whether the entry can be opened. Its contents are not read.
    [[nodiscard]] static bool checkFile(std::string_view file, std::string_view inArchive,
                                        Ref<NSError>* error);
    [[nodiscard]] static bool checkFileRegex(std::string_view file, std::string_view inArchive, bool regex,
                                             Ref<NSError>* error);
    [[nodiscard]] static bool checkFilePassword(std::string_view file, std::string_view inArchive,
                                                Text password, bool regex, Ref<NSError>* error);
    /// Its bytes, all in memory; nullopt with an error.
    [[nodiscard]] static std::optional<NSData> extractDataFromFile(std::string_view file,
                                                                   std::string_view inArchive,
                                                                   Ref<NSError>* error);
    [[nodiscard]] static std::optional<NSData> extractDataFromFileRegex(std::string_view file,
                                                                        std::string_view inArchive,
                                                                        bool regex, Ref<NSError>* error);
    [[nodiscard]] static std::optional<NSData> extractDataFromFilePassword(std::string_view file,
                                                                           std::string_view inArchive,
                                                                           Text password, bool regex,
                                                                           Ref<NSError>* error);
    /// With `justChecking` the bytes are not read, and the buffer is empty.
    ///
    /// Contents that are damaged in the middle, so that their end is not reached, are answered as an empty
    /// buffer without an error, and callers rely on it; a wrong check sum at the end is an error.
    [[nodiscard]] static std::optional<NSData> extractDataFromFileJustChecking(std::string_view file,
                                                                               std::string_view inArchive,
                                                                               Text password, bool regex,
                                                                               bool justChecking,
                                                                               Ref<NSError>* error);

    /// 1 January 1980, 00:00 in the current time zone.
    [[nodiscard]] static Ref<NSDate> _dateFor1980();

protected:
    QZUnzip() = default;
};

}  // namespace qz
