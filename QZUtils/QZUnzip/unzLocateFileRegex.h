// unzLocateFileRegex: what minizip's own look-up by name lacks, one by a POSIX regular expression.
//
//     unzFile archive = unzOpen64("issue.zip");
//     if (unzLocateFileRegex(archive, "\\.pdf$") == UNZ_OK) { … }    // the first entry with that extension
//
// Costs one read of the central directory up to the entry. The C library's matcher can take seconds for
// patterns that are made to that end: bound those that come from elsewhere. As safe across threads as the
// handle.
#pragma once

#include "Platform/Export.h"

namespace qz {

/// Makes the first entry whose name the pattern matches, anywhere in its first 256 bytes, the current one of
/// a minizip handle (unzFile). The syntax is the basic one, and case counts.
///
/// Answers minizip's status: UNZ_OK (0); UNZ_END_OF_LIST_OF_FILE (-100) when there is no match, or no current
/// entry to begin with; the status of reading when the archive is damaged; UNZ_PARAMERROR (-102) for a null
/// handle or pattern, for a pattern of 256 bytes or more, and for one that is not well formed, which leaves
/// the handle at the first entry. In all other cases without a match the current entry stays what it was.
[[nodiscard]] QZ_EXPORT int unzLocateFileRegex(void* archive, const char* pattern);

}  // namespace qz
