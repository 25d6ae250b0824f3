#include "QZUtils/QZUnzip/QZUnzip.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <new>

#include "Platform/Archive/internal/ZipReader.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Device/QZNSBundle.h"
#include "QZUtils/Diagnostics/Log.h"
#include "QZUtils/Diagnostics/QZExceptionUtil.h"
#include "QZUtils/Extensions/NSError/NSError+Initialization.h"
#include "QZUtils/QZUnzip/internal/DirectoryExtraction.h"
#include "QZUtils/QZUnzip/unzLocateFileRegex.h"

namespace qz {

using internal::ZipEntry;
using internal::ZipReader;
using internal::ZipStatus;

namespace {

/// Of an archive that cannot be opened.
constexpr int cannotOpenArchive = -1;
/// minizip's, for what it does not expect.
constexpr int internalError = -104;

/// Stores an error, if somebody wants it; nullopt, for returning it.
std::nullopt_t fail(int code, std::string_view key, Ref<NSError>* error) {
    if (error) {
        *error = NSErrorClass::errorWithDomain(std::string(UnzipArchiveErrorDomain), code,
                                               QZNSBundle::localizedStringForKey(key));
    }
    return std::nullopt;
}

/// What a password is to archives: its ASCII form, or none.
Text asciiPassword(Text password) {
    const auto text = password.view();
    const bool isASCII =
        std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    return isASCII ? password : Text();
}

/// The contents of the open entry, as far as they can be read; nullopt when there is no memory for them.
std::optional<NSData> contentsOf(ZipReader& archive, const ZipEntry& entry,
                                 const std::stop_token& stop = {}) {
    try {
        return NSData::dataWithCapacity(archive.plausibleSize(entry), [&](std::span<std::byte> buffer) {
            return archive.readAll(buffer, stop);
        });
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

[[noreturn]] void raise(std::string_view key, std::uint32_t line, int code) {
    QZExceptionUtil::ThrowErrorWithName("", QZNSBundle::localizedStringForKey(key), __FILE__, line, code);
}

/// The components of a name; an empty one at each end where a slash stands.
std::vector<std::string> componentsOf(std::string_view name) {
    std::vector<std::string> components;
    for (;;) {
        const auto slash = name.find('/');
        components.emplace_back(name.substr(0, slash));
        if (slash == std::string_view::npos) {
            return components;
        }
        name.remove_prefix(slash + 1);
    }
}

/// One walk over an archive into a tree of dictionaries.
class MemoryExtraction {
public:
    MemoryExtraction(Ref<NSMutableDictionary> tree, std::stop_token stop, std::uint64_t maximumSize)
        : tree_(std::move(tree)), stop_(std::move(stop)), remainingSize_(maximumSize) {}

    void open(const std::string& path) {
        if (!archive_.open(path)) {
            QZExceptionUtil::ThrowError(QZNSBundle::localizedStringForKey("Unzip couldn't locate pack file"),
                                        __FILE__, __LINE__, cannotOpenArchive);
        }
    }
    [[nodiscard]] ZipReader& archive() noexcept { return archive_; }

    enum class Outcome { Stored, Directory, Failed, Stopped };
    /// The current entry, logging what goes wrong.
    Outcome extractEntry() {
        entry_ = ZipEntry();
        try {
            return storeEntry();
        } catch (const NSException& exception) {
            const auto code = exception.userInfo() ? exception.userInfo()->objectForKey("code") : id();
            logWarning("%s: %@: %i, %@", entry_.name.c_str(),
                       QZNSBundle::localizedStringForKey("QZ.iPad.UnableToUnpack"),
                       unbox<std::int32_t>(code).value_or(0), id(exception));
            return Outcome::Failed;
        }
    }

private:
    Outcome storeEntry() {
        int status = archive_.entry(entry_);
        if (status == ZipStatus::ok && !entry_.hasText()) {
            status = ZipStatus::badArchive;
        }
        if (status != ZipStatus::ok) {
            raise("Unzip: getCurrenFileInfo error", __LINE__, status);
        }
        const auto components = componentsOf(entry_.path());
        if (components.back().empty() && components.size() > 1) {
            return Outcome::Directory;
        }
        // Trees are walked by recursion, to describe them as to free them.
        if (components.size() > NSPropertyListSerialization::maximumDepth) {
            raise("Unzip: getCurrenFileInfo error", __LINE__, ZipStatus::badArchive);
        }
        if (archive_.plausibleSize(entry_) > remainingSize_) {
            return Outcome::Stopped;
        }
        status = archive_.openEntry(nullptr);
        if (status != ZipStatus::ok) {
            raise("Unzip: could't open file", __LINE__, status);
        }
        const auto contents = contentsOf(archive_, entry_, stop_);
        status = archive_.closeEntry();
        if (stop_.stop_requested()) {
            return Outcome::Stopped;
        }
        if (!contents || contents->size() != entry_.uncompressedSize || status != ZipStatus::ok) {
            raise("Unzip: read file corrupted", __LINE__, contents ? status : internalError);
        }
        remainingSize_ -= contents->size();
        QZUnzip::putObjectToDictionary(tree_, components, *contents);
        return Outcome::Stored;
    }

    ZipReader archive_;
    ZipEntry entry_;
    Ref<NSMutableDictionary> tree_;
    std::stop_token stop_;
    std::uint64_t remainingSize_;
};

/// Runs a walk, logging an exception that it does not handle itself: the archive's, that cannot be opened.
template <class F>
bool loggingExceptions(F&& walk) {
    try {
        return walk();
    } catch (const NSException& exception) {
        logWarning("%@: %@", QZNSBundle::localizedStringForKey("QZ.iPad.UnableToUnpack"), id(exception));
        return false;
    }
}

}  // namespace

QZ_DEFINE_CLASS(QZUnzip, cls) {
    using Path = std::string_view;
    using Error = Ref<NSError>*;
    cls.classMethod("unzipArchiveAtPath:toDestination:",
                    [](Class&, Path path, Path to) { return unzipArchiveAtPath(path, to); });
    cls.classMethod("unzipArchiveAtPath:toDestination:error:", [](Class&, Path path, Path to, Error error) {
        return unzipArchiveAtPath(path, to, error);
    });
    cls.classMethod(
        "unzipArchiveAtPath:toDestination:overwrite:password:filter:error:",
        [](Class&, Path path, Path to, bool overwrite, Text password, const Filter& filter, Error error) {
            return unzipArchiveAtPathOverwrite(path, to, overwrite, password, filter, error);
        });
    cls.classMethod("extractFiles:dst:",
                    [](Class&, Path path, const Ref<NSMutableDictionary>& dst) { extractFiles(path, dst); });
    cls.classMethod("putObjectToDictionary:path:object:", [](Class&, const Ref<NSMutableDictionary>& root,
                                                             const Ref<NSArray>& path, const id& object) {
        std::vector<std::string> components;
        for (const auto& component : *path) {
            components.push_back(unbox<std::string>(component).value_or(""));
        }
        return putObjectToDictionary(root, components, object);
    });
    cls.classMethod("checkFile:inArchive:error:", [](Class&, Path file, Path archive, Error error) {
        return checkFile(file, archive, error);
    });
    cls.classMethod("checkFile:inArchive:regex:error:",
                    [](Class&, Path file, Path archive, bool regex, Error error) {
                        return checkFileRegex(file, archive, regex, error);
                    });
    cls.classMethod("checkFile:inArchive:password:regex:error:",
                    [](Class&, Path file, Path archive, Text password, bool regex, Error error) {
                        return checkFilePassword(file, archive, password, regex, error);
                    });
    cls.classMethod("extractDataFromFile:inArchive:error:", [](Class&, Path file, Path archive, Error error) {
        return extractDataFromFile(file, archive, error);
    });
    cls.classMethod("extractDataFromFile:inArchive:regex:error:",
                    [](Class&, Path file, Path archive, bool regex, Error error) {
                        return extractDataFromFileRegex(file, archive, regex, error);
                    });
    cls.classMethod("extractDataFromFile:inArchive:password:regex:error:",
                    [](Class&, Path file, Path archive, Text password, bool regex, Error error) {
                        return extractDataFromFilePassword(file, archive, password, regex, error);
                    });
    cls.classMethod(
        "extractDataFromFile:inArchive:password:regex:justChecking:error:",
        [](Class&, Path file, Path archive, Text password, bool regex, bool justChecking, Error error) {
            return extractDataFromFileJustChecking(file, archive, password, regex, justChecking, error);
        });
    cls.classMethod("_dateFor1980", [](Class&) { return _dateFor1980(); });
}

bool QZUnzip::unzipArchiveAtPath(std::string_view path, std::string_view toDestination) {
    return unzipArchiveAtPath(path, toDestination, nullptr);
}

bool QZUnzip::unzipArchiveAtPath(std::string_view path, std::string_view toDestination, Ref<NSError>* error) {
    return unzipArchiveAtPathOverwrite(path, toDestination, true, nullptr, nullptr, error);
}

bool QZUnzip::unzipArchiveAtPathOverwrite(std::string_view path, std::string_view toDestination,
                                          bool overwrite, Text password, const Filter& filter,
                                          Ref<NSError>* error) {
    const auto outcome = unzip({.archive = std::string(path),
                                .directory = std::string(toDestination),
                                .overwrite = overwrite,
                                .password = password.toString().value_or(""),
                                .filter = filter});
    if (outcome.error && error != nullptr) {
        *error = outcome.error;
    }
    return outcome.files > 0;
}

QZUnzip::Outcome QZUnzip::unzip(const Extraction& extraction) {
    Outcome outcome;
    ZipReader archive;
    if (!archive.open(extraction.archive)) {
        fail(cannotOpenArchive, "QZ.iPad.CannotOpenFile", &outcome.error);
        return outcome;
    }
    internal::DirectoryExtraction walk(archive, extraction.directory, extraction.overwrite,
                                       asciiPassword(extraction.password), extraction.filter);
    int status = archive.goToFirst();
    while (status == ZipStatus::ok && !extraction.stop.stop_requested()) {
        walk.extractEntry();
        status = archive.goToNext();
    }
    outcome.hasReachedEnd = status == ZipStatus::endOfList;
    outcome.files = walk.extractedFiles();
    outcome.warnings = std::move(walk.warnings());
    return outcome;
}

void QZUnzip::extractFiles(std::string_view path, const Ref<NSMutableDictionary>& dst) {
    MemoryExtraction extraction(dst, {}, ~std::uint64_t{0});
    using Outcome = MemoryExtraction::Outcome;
    loggingExceptions([&] {
        extraction.open(std::string(path));
        auto& archive = extraction.archive();
        // The end of the list leaves the walk at the last entry, which is therefore stored twice; behind a
        // directory the end is not looked for, so that one at the end of an archive is met for ever. Both
        // are what callers have come to rely on.
        int status = archive.goToFirst();
        while (status == ZipStatus::ok || status == ZipStatus::endOfList) {
            const auto outcome = extraction.extractEntry();
            if (outcome != Outcome::Directory && status == ZipStatus::endOfList) {
                break;
            }
            status = archive.goToNext();
        }
        return true;
    });
}

bool QZUnzip::extractFilesUntil(const std::stop_token& stop, std::string_view path,
                                const Ref<NSMutableDictionary>& dst, std::uint64_t maximumSize) {
    MemoryExtraction extraction(dst, stop, maximumSize);
    using Outcome = MemoryExtraction::Outcome;
    return loggingExceptions([&] {
        extraction.open(std::string(path));
        auto& archive = extraction.archive();
        bool isComplete = true;
        int status = archive.goToFirst();
        for (; status == ZipStatus::ok; status = archive.goToNext()) {
            const auto outcome = stop.stop_requested() ? Outcome::Stopped : extraction.extractEntry();
            if (outcome == Outcome::Stopped) {
                return false;
            }
            isComplete = isComplete && outcome != Outcome::Failed;
        }
        return isComplete && status == ZipStatus::endOfList;
    });
}

id QZUnzip::putObjectToDictionary(const Ref<NSMutableDictionary>& root, const std::vector<std::string>& path,
                                  const id& object) {
    // By messages: whatever stands on the way is descended into.
    id current = root;
    for (std::size_t index = 0; current && index + 1 < path.size(); ++index) {
        const id key = path[index];
        auto next = send<id>(*current, "objectForKey:"_sel, key);
        if (!next) {
            next = NSMutableDictionary::dictionary();
            send(*current, "setObject:forKey:"_sel, next, key);
        }
        current = next;
    }
    if (current && !path.empty() && !path.back().empty()) {
        send(*current, "setObject:forKey:"_sel, object, id(path.back()));
    }
    return current;
}

bool QZUnzip::checkFile(std::string_view file, std::string_view inArchive, Ref<NSError>* error) {
    return checkFileRegex(file, inArchive, false, error);
}

bool QZUnzip::checkFileRegex(std::string_view file, std::string_view inArchive, bool regex,
                             Ref<NSError>* error) {
    return checkFilePassword(file, inArchive, nullptr, regex, error);
}

bool QZUnzip::checkFilePassword(std::string_view file, std::string_view inArchive, Text password, bool regex,
                                Ref<NSError>* error) {
    return extractDataFromFileJustChecking(file, inArchive, password, regex, true, error).has_value();
}

std::optional<NSData> QZUnzip::extractDataFromFile(std::string_view file, std::string_view inArchive,
                                                   Ref<NSError>* error) {
    return extractDataFromFileRegex(file, inArchive, false, error);
}

std::optional<NSData> QZUnzip::extractDataFromFileRegex(std::string_view file, std::string_view inArchive,
                                                        bool regex, Ref<NSError>* error) {
    return extractDataFromFilePassword(file, inArchive, nullptr, regex, error);
}

std::optional<NSData> QZUnzip::extractDataFromFilePassword(std::string_view file, std::string_view inArchive,
                                                           Text password, bool regex, Ref<NSError>* error) {
    return extractDataFromFileJustChecking(file, inArchive, password, regex, false, error);
}

std::optional<NSData> QZUnzip::extractDataFromFileJustChecking(std::string_view file,
                                                               std::string_view inArchive, Text password,
                                                               bool regex, bool justChecking,
                                                               Ref<NSError>* error) {
    ZipReader archive;
    if (!archive.open(std::string(inArchive))) {
        return fail(cannotOpenArchive, "QZ.iPad.CannotOpenFile", error);
    }
    const std::string name(file);
    int status = regex ? unzLocateFileRegex(archive.handle(), name.c_str()) : archive.locate(name);
    if (status != ZipStatus::ok) {
        return fail(status, "QZ.iPad.CannotLocateFileInArchive", error);
    }
    status = archive.openEntry(asciiPassword(password));
    if (status != ZipStatus::ok) {
        return fail(status, "QZ.iPad.CannotOpenFileInArchive", error);
    }
    ZipEntry entry;
    status = archive.entry(entry);
    if (status != ZipStatus::ok) {
        return fail(status, "QZ.iPad.CannotGetFileInfoInArchive", error);
    }
    if (justChecking) {
        return NSData();
    }
    auto contents = contentsOf(archive, entry);
    status = contents ? archive.closeEntryForgivingly() : internalError;
    if (status != ZipStatus::ok) {
        return fail(status, "QZ.iPad.FileCurruptedInArchive", error);
    }
    return contents;
}

Ref<NSDate> QZUnzip::_dateFor1980() {
    std::tm calendar{};
    calendar.tm_year = 80;
    calendar.tm_mday = 1;
    calendar.tm_isdst = -1;
    return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(std::mktime(&calendar)));
}

}  // namespace qz
