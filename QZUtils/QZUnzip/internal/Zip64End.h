// The end of archives that have more entries than the old format counts. The packaged minizip leaves out what
// such an archive needs there.
#pragma once

#include <cstdint>
#include <string>

namespace qz::internal {

/// Entries from which on an archive needs it.
inline constexpr std::uint64_t leastEntriesOfZip64 = 0xFFFF;

/// Puts the ZIP64 end of the directory (APPNOTE.TXT 6.3.10, sections 4.3.14 and 4.3.15) before the end that
/// closes an archive without a comment, unless it is there: an errno, or 0.
[[nodiscard]] int completeZip64End(const std::string& path, std::uint64_t numberOfEntries);

}  // namespace qz::internal
