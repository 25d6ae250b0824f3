#pragma once

namespace qz::internal {

/// minizip's own; others, below zero, are zlib's.
struct ZipStatus {
    static constexpr int ok = 0;
    static constexpr int ioError = -1;
    static constexpr int endOfList = -100;
    static constexpr int parameterError = -102;
    static constexpr int badArchive = -103;
    static constexpr int crcError = -105;
};

}  // namespace qz::internal
