// Reading of zip archives: the walk over the central directory and the contents of entries, on minizip.
//
//     ZipReader archive;
//     ZipEntry entry;
//     if (archive.open("/shelf/issue.zip")) {
//         for (int status = archive.goToFirst(); status == ZipStatus::ok; status = archive.goToNext()) {
//             if (archive.entry(entry) == ZipStatus::ok && archive.openEntry(nullptr) == ZipStatus::ok) {
//                 for (…; (count = archive.read(buffer)) > 0;) { … }
//                 status = archive.closeEntry();
//             }
//         }
//     }
//
// minizip walks over the directory. Contents are read beside it, since the packaged one reads neither entries
// above 4 GiB nor enciphered ones: stored and deflated ones, also enciphered in the traditional way or with
// AES (AE-1 and AE-2). An archive without entries opens, and has no first entry.
//
// Archives may be hostile: memory stays the same whatever they say, and sizes are statements, not facts.
// plausibleSize() is what may be taken memory for. One thread at a time uses a reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>

#include "Platform/Archive/internal/ZipStatus.h"
#include "Platform/Runtime/Text.h"

namespace qz::internal {

/// What the central directory says of an entry.
struct ZipEntry {
    /// As stored: any bytes, of any length up to 65,535.
    std::string name;
    std::uint32_t versionMadeBy = 0;
    std::uint32_t versionNeeded = 0;
    std::uint32_t flag = 0;
    std::uint32_t compressionMethod = 0;
    /// The packed MS-DOS date and time.
    std::uint32_t dosDate = 0;
    std::uint32_t crc = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t uncompressedSize = 0;
    std::uint32_t extraFieldSize = 0;
    std::uint32_t commentSize = 0;
    std::uint32_t diskNumberStart = 0;
    std::uint32_t internalAttributes = 0;
    std::uint32_t externalAttributes = 0;

    [[nodiscard]] bool isEncrypted() const noexcept { return (flag & 1U) != 0; }
    /// Whether the name ends with a slash of either kind.
    [[nodiscard]] bool isDirectory() const noexcept { return name.ends_with('/') || name.ends_with('\\'); }
    /// The name up to its first zero byte, with slashes of one kind.
    [[nodiscard]] std::string path() const;
    /// Whether path() is UTF-8, which names are read as.
    [[nodiscard]] bool hasText() const;
};

class ZipReader {
public:
    ZipReader();
    ZipReader(const ZipReader&) = delete;
    ZipReader& operator=(const ZipReader&) = delete;
    ~ZipReader();

    /// False when the file cannot be read or is no zip archive. Once per reader.
    [[nodiscard]] bool open(const std::string& path);
    /// minizip's handle; null before open().
    [[nodiscard]] void* handle() const noexcept;

    /// What the archive says; 0 before open().
    [[nodiscard]] std::uint64_t numberOfEntries() const;
    [[nodiscard]] std::uint64_t commentSize() const;

    // The walk, in the order of the central directory. endOfList when there is no such entry, upon which
    // goToNext() and locate() stay where they were.

    [[nodiscard]] int goToFirst();
    [[nodiscard]] int goToNext();
    /// The first entry of that name, without regard to the case of ASCII letters. parameterError for names of
    /// 256 bytes and more.
    [[nodiscard]] int locate(const std::string& name);

    // The current entry.

    /// parameterError when there is none. `entry` is only complete when this succeeds.
    [[nodiscard]] int entry(ZipEntry& entry) const;
    /// The uncompressed size, or, if that is less, the most that the entry's bytes in this archive can
    /// become.
    [[nodiscard]] std::uint64_t plausibleSize(const ZipEntry& entry) const noexcept;
    /// A password that is nil or empty is none; it counts for encrypted entries only. A wrong one shows in
    /// reading. An encrypted entry that is read without one gives its enciphered bytes, or an error; with
    /// AES, it is not opened (badArchive).
    [[nodiscard]] int openEntry(Text password);
    /// How many bytes were read, 0 at the end, or a status below zero. Data that end before the stated size
    /// are an error (badArchive).
    [[nodiscard]] std::int64_t read(std::span<std::byte> buffer);
    /// Fills the buffer: how many bytes there were, fewer at the end, when stopped, and upon an error, which
    /// closing tells. Where it cannot be stopped, it is one read: nothing is there upon an error.
    [[nodiscard]] std::size_t readAll(std::span<std::byte> buffer, const std::stop_token& stop = {});
    /// crcError when everything was read and the check sum or the authentication code differs; else the
    /// status of a read that failed.
    int closeEntry();
    /// The same, passing over failed reads of plain entries: damaged data whose end was not reached close
    /// well.
    int closeEntryForgivingly();

private:
    struct State;

    std::unique_ptr<State> state_;
};

}  // namespace qz::internal
