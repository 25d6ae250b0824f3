// What a zip archive says of itself and of its entries.
#pragma once

#include <cstdint>

namespace qz {

struct ZipGlobalInfo {
    std::uint64_t numberOfEntries = 0;
    /// Bytes.
    std::uint64_t commentSize = 0;
};

/// A date without a time zone: what clocks showed where the archive was made.
struct ZipDate {
    unsigned second = 0;  // even, in archives
    unsigned minute = 0;
    unsigned hour = 0;
    unsigned day = 0;    // from 1
    unsigned month = 0;  // from 0
    unsigned year = 0;   // in full
};

struct ZipFileInfo {
    /// The high byte is the system whose attributes the external ones are: 3 for Unix.
    std::uint32_t versionMadeBy = 0;
    std::uint32_t versionNeeded = 0;
    std::uint32_t flag = 0;
    std::uint32_t compressionMethod = 0;
    /// The packed MS-DOS date and time, and the same unpacked.
    std::uint32_t dosDate = 0;
    ZipDate date;
    std::uint32_t crc = 0;
    /// Bytes.
    std::uint64_t compressedSize = 0;
    std::uint64_t uncompressedSize = 0;
    std::uint32_t nameSize = 0;
    std::uint32_t extraFieldSize = 0;
    std::uint32_t commentSize = 0;
    std::uint32_t diskNumberStart = 0;
    std::uint32_t internalAttributes = 0;
    /// For Unix, the mode in the upper half.
    std::uint32_t externalAttributes = 0;
};

}  // namespace qz
