#include "QZUtils/QZUnzip/SSZipArchive.h"

#include <fcntl.h>
#include <glib.h>
#include <minizip/zip.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/internal/FileDescriptor.h"
#include "Platform/Foundation/internal/FileError.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/QZUnzip/internal/Zip64End.h"

namespace qz {

using internal::FileDescriptor;
using internal::fileError;
using internal::FileOperation;

QZ_DEFINE_CLASS(SSZipArchive, cls) {
    using Paths = std::vector<std::string>;
    cls.classMethod("unzipFileAtPath:toDestination:",
                    [](Class&, std::string_view path, std::string_view destination) {
                        return unzipFileAtPath(path, destination);
                    });
    cls.classMethod("unzipFileAtPath:toDestination:delegate:",
                    [](Class&, std::string_view path, std::string_view destination, const id& delegate) {
                        return unzipFileAtPath(path, destination, delegate);
                    });
    cls.classMethod("unzipFileAtPath:toDestination:overwrite:password:error:",
                    [](Class&, std::string_view path, std::string_view destination, bool overwrite,
                       Text password, Ref<NSError>* error) {
                        return unzipFileAtPathOverwrite(path, destination, overwrite, password, error);
                    });
    cls.classMethod("unzipFileAtPath:toDestination:overwrite:password:error:delegate:",
                    [](Class&, std::string_view path, std::string_view destination, bool overwrite,
                       Text password, Ref<NSError>* error, const id& delegate) {
                        return unzipFileAtPathOverwrite(path, destination, overwrite, password, error,
                                                        delegate);
                    });
    cls.classMethod("createZipFileAtPath:withFilesAtPaths:",
                    [](Class&, std::string_view path, const Paths& paths) {
                        return createZipFileAtPathWithFilesAtPaths(path, paths);
                    });
    cls.classMethod("createZipFileAtPath:withContentsOfDirectory:",
                    [](Class&, std::string_view path, std::string_view directory) {
                        return createZipFileAtPathWithContentsOfDirectory(path, directory);
                    });
    cls.classMethod("_dateWithMSDOSFormat:",
                    [](Class&, std::uint32_t word) { return id(_dateWithMSDOSFormat(word)); });
    cls.method("open", &SSZipArchive::open);
    cls.method("writeFile:", &SSZipArchive::writeFile);
    cls.method("writeFileAtPath:withFileName:", &SSZipArchive::writeFileAtPath);
    cls.method("writeData:filename:", &SSZipArchive::writeData);
    cls.method("close", &SSZipArchive::close);
}

namespace {

constexpr unsigned regularFile = 0x8000;
// What unpackers take the attributes for (APPNOTE.TXT 4.4.2): those of Unix, from a writer that knows ZIP64.
constexpr uLong madeByUnix = 3U << 8U | 45U;
constexpr uLong madeByNobody = 0;
constexpr uLong nameIsUTF8 = 1U << 11U;

constexpr unsigned firstYear = 1980;
constexpr unsigned lastYear = 2107;
constexpr std::uint32_t firstDate = 1U << 21U | 1U << 16U;
constexpr std::uint32_t lastDate = 127U << 25U | 12U << 21U | 31U << 16U | 23U << 11U | 59U << 5U | 29U;

/// The packed date where minizip would write nonsense, which knows no bounds; otherwise 0, and minizip packs
/// it.
uLong packedDateOutOfBounds(const ZipDate& date) {
    return date.year < firstYear ? firstDate : date.year > lastYear ? lastDate : 0;
}

/// Whether an entry may get too long for the sizes of the old format. What cannot be compressed gets longer
/// by less than a thousandth.
bool needsZip64(std::uint64_t size) {
    constexpr std::uint64_t limit = 0xFFFFFFFF;
    return size >= limit - limit / 1024;
}

bool isASCII(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

/// An entry that is being written. What minizip answers is noted by the archive.
class SSZipArchive::Entry {
public:
    Entry(SSZipArchive& archive, std::string_view filename, const ZipFileInfo& info, std::uint64_t size)
        : archive_(archive) {
        constexpr std::size_t longestName = 0xFFFF;
        if (filename.size() > longestName) {  // minizip would write an archive that nobody can read
            archive_.noteStatus(ZIP_PARAMERROR);
            return;
        }
        zip_fileinfo record{};
        record.tmz_date = {info.date.second, info.date.minute, info.date.hour,
                           info.date.day,    info.date.month,  info.date.year};
        record.dosDate = packedDateOutOfBounds(info.date);
        record.external_fa = info.externalAttributes;
        const auto name = std::string(filename);
        const bool isUTF8 =
            !isASCII(name) && ::g_utf8_validate(name.data(), static_cast<gssize>(name.size()), nullptr) != 0;
        constexpr int asItIs = 0;
        note(::zipOpenNewFileInZip4_64(archive_.zip_, name.c_str(), &record, nullptr, 0, nullptr, 0, nullptr,
                                       Z_DEFLATED, Z_DEFAULT_COMPRESSION, asItIs, -MAX_WBITS,
                                       MAX_MEM_LEVEL - 1, Z_DEFAULT_STRATEGY, nullptr, 0, info.versionMadeBy,
                                       isUTF8 ? nameIsUTF8 : 0, needsZip64(size) ? 1 : 0));
    }
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
    ~Entry() {
        if (isOpen_) {
            archive_.noteStatus(::zipCloseFileInZip(archive_.zip_));
        }
    }

    void write(std::span<const std::byte> bytes) {
        if (isOpen_) {
            archive_.noteStatus(
                ::zipWriteInFileInZip(archive_.zip_, bytes.data(), static_cast<unsigned>(bytes.size())));
        }
    }

private:
    void note(int status) {
        isOpen_ = status == ZIP_OK;
        archive_.numberOfEntries_ += isOpen_ ? 1 : 0;
        archive_.noteStatus(status);
    }

    SSZipArchive& archive_;
    bool isOpen_ = false;
};

void SSZipArchive::dealloc() {
    close();
    Super::dealloc();
}

bool SSZipArchive::open() {
    close();
    error_ = nullptr;
    numberOfEntries_ = 0;
    zip_ = ::zipOpen64(path_.c_str(), APPEND_STATUS_CREATE);
    if (!zip_) {
        error_ = fileError(FileOperation::Writing, errno, path_);
    }
    return zip_ != nullptr;
}

bool SSZipArchive::close() {
    if (zip_) {
        noteStatus(::zipClose(zip_, nullptr));
        zip_ = nullptr;
        if (numberOfEntries_ >= internal::leastEntriesOfZip64 && !error_) {
            const int number = internal::completeZip64End(path_, numberOfEntries_);
            error_ = number != 0 ? fileError(FileOperation::Writing, number, path_) : nullptr;
        }
    }
    return true;
}

void SSZipArchive::noteStatus(int status) {
    if (status != ZIP_OK && !error_) {
        error_ = fileError(FileOperation::Writing, status == ZIP_ERRNO && errno != 0 ? errno : EIO, path_);
    }
}

void SSZipArchive::failReading(int number, std::string_view path) {
    if (!error_) {
        error_ = fileError(FileOperation::Reading, number, path);
    }
}

bool SSZipArchive::isArchiveItself(int descriptor) const {
    struct stat file {};
    struct stat archive {};
    return zip_ && ::fstat(descriptor, &file) == 0 && ::stat(path_.c_str(), &archive) == 0 &&
           file.st_dev == archive.st_dev && file.st_ino == archive.st_ino;
}

bool SSZipArchive::writeFile(std::string_view path) {
    return writeFileAtPath(path, nullptr);
}

bool SSZipArchive::writeFileAtPath(std::string_view path, Text withFileName) {
    // A pipe would wait for its writer to be opened, and the archive would never end if it were its own
    // entry.
    const FileDescriptor file(
        ::open(std::string(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file || ::fstat(*file, &status) != 0) {
        failReading(errno, path);
        return false;
    }
    if (!S_ISREG(status.st_mode) || isArchiveItself(*file)) {
        failReading(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path);
        return false;
    }
    constexpr unsigned permissionBits = 07777;
    ZipFileInfo info;
    info.versionMadeBy = madeByUnix;
    info.externalAttributes = ((status.st_mode & permissionBits) + regularFile) << 16U;
    zipInfoSetDate(info, *NSDate::dateWithTimeIntervalSince1970(static_cast<double>(status.st_mtim.tv_sec)));
    const auto lastComponent = lastPathComponent(path);
    Entry entry(*this, withFileName.valueOr(lastComponent), info, static_cast<std::uint64_t>(status.st_size));
    std::array<std::byte, 16384> buffer;
    for (;;) {
        const auto count = ::read(*file, buffer.data(), buffer.size());
        if (count > 0) {
            entry.write(std::span(buffer).first(static_cast<std::size_t>(count)));
        } else if (count == 0 || errno != EINTR) {
            if (count < 0) {
                failReading(errno, path);
            }
            return true;
        }
    }
}

bool SSZipArchive::writeData(const std::optional<NSData>& data, std::string_view filename) {
    if (!data || !zip_) {
        return false;
    }
    // Without permissions, attributes of Unix would be those of a file that nobody may read.
    ZipFileInfo info;
    info.versionMadeBy = madeByNobody;
    zipInfoSetDate(info, *NSDate::date());
    Entry entry(*this, filename, info, data->size());
    constexpr std::size_t most = std::size_t{1} << 30U;  // minizip's lengths are narrower than a size
    for (auto rest = data->bytes(); !rest.empty(); rest = rest.subspan(std::min(most, rest.size()))) {
        entry.write(rest.first(std::min(most, rest.size())));
    }
    return true;
}

void SSZipArchive::writeContentsOfDirectory(const std::string& directory, const std::string& prefix) {
    const auto manager = NSFileManager::defaultManager();
    Ref<NSError> error;
    const auto names = manager->contentsOfDirectoryAtPath(directory, &error);
    if (!names) {
        error_ = error_ ? error_ : error;
        return;
    }
    for (const auto& entry : *names) {
        const auto name = unbox<std::string>(entry).value_or("");
        const auto path = stringByAppendingPathComponent(directory, name);
        struct stat status {};
        bool isDirectory = false;
        static_cast<void>(manager->fileExistsAtPath(path, &isDirectory));
        if (!isDirectory) {
            writeFileAtPath(path, prefix + name);
        } else if (::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
            writeContentsOfDirectory(path, prefix + name + "/");
        }
    }
}

template <class F>
bool SSZipArchive::create(std::string_view path, F write, Ref<NSError>& error) {
    const auto archive = initWithPath(path);
    const bool isOpen = archive->open();
    if (isOpen) {
        write(*archive);
        archive->close();
    }
    error = archive->error();
    return isOpen;
}

bool SSZipArchive::createWithFiles(std::string_view path, const std::vector<std::string>& paths,
                                   Ref<NSError>& error) {
    return create(
        path,
        [&](SSZipArchive& archive) {
            for (const auto& file : paths) {
                archive.writeFile(file);
            }
        },
        error);
}

bool SSZipArchive::createWithDirectory(std::string_view path, std::string_view directory,
                                       Ref<NSError>& error) {
    return create(
        path, [&](SSZipArchive& archive) { archive.writeContentsOfDirectory(std::string(directory), ""); },
        error);
}

bool SSZipArchive::createZipFileAtPathWithFilesAtPaths(std::string_view path,
                                                       const std::vector<std::string>& paths) {
    Ref<NSError> passedOver;
    return createWithFiles(path, paths, passedOver);
}

bool SSZipArchive::createZipFileAtPathWithContentsOfDirectory(std::string_view path,
                                                              std::string_view directory) {
    Ref<NSError> passedOver;
    return createWithDirectory(path, directory, passedOver);
}

bool SSZipArchive::createZipFileAtPathWithFilesAtPaths(std::string_view path,
                                                       const std::vector<std::string>& paths,
                                                       Ref<NSError>* error) {
    Ref<NSError> first;
    const bool isCreated = createWithFiles(path, paths, first);
    if (error) {
        *error = first;
    }
    return isCreated && !first;
}

bool SSZipArchive::createZipFileAtPathWithContentsOfDirectory(std::string_view path,
                                                              std::string_view directory,
                                                              Ref<NSError>* error) {
    Ref<NSError> first;
    const bool isCreated = createWithDirectory(path, directory, first);
    if (error) {
        *error = first;
    }
    return isCreated && !first;
}

void SSZipArchive::zipInfoSetDate(ZipFileInfo& zipInfo, const NSDate& date) {
    const auto seconds = NSDate::TimePoint::clock::to_time_t(date.timePoint());
    std::tm time{};
    ::localtime_r(&seconds, &time);
    const auto field = [](int value) { return static_cast<unsigned>(value); };
    zipInfo.date = {field(time.tm_sec),  field(time.tm_min), field(time.tm_hour),
                    field(time.tm_mday), field(time.tm_mon), field(std::max(time.tm_year + 1900, 0))};
}

Ref<NSDate> SSZipArchive::_dateWithMSDOSFormat(std::uint32_t msdosDateTime) {
    const auto field = [&](unsigned firstBit, unsigned width) {
        return static_cast<int>(msdosDateTime >> firstBit & ((1U << width) - 1));
    };
    std::tm time{};
    time.tm_year = field(25, 7) + static_cast<int>(firstYear) - 1900;
    time.tm_mon = field(21, 4) - 1;
    time.tm_mday = field(16, 5);
    time.tm_hour = field(11, 5);
    time.tm_min = field(5, 6);
    time.tm_sec = field(0, 5) * 2;
    time.tm_isdst = -1;
    return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(::mktime(&time)));
}

}  // namespace qz
