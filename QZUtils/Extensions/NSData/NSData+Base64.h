// NSData(Base64): a buffer as text for URLs and file names: base64 with "-" and "_" (RFC 4648, section 5),
// in one line. More than a gigabyte a second. Safe from any thread.
#pragma once

#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"

namespace qz {

/// A single "=" at the end is dropped, two of them stay: one byte gives two characters and "==", two bytes
/// three characters. A reader would expect both or neither to stay; others compare these texts as they are.
[[nodiscard]] QZ_EXPORT std::string urlSafeBase64EncodedString(const NSData& self);

}  // namespace qz
