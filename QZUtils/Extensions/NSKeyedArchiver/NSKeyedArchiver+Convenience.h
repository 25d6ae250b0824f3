// NSKeyedArchiver(Convenience): an object as a keyed archive, in one call. Safe from any thread.
//
//     const auto data = NSKeyedArchiverClass::archivedDataWithObject(bookmarks);
#pragma once

#include <optional>

#include "Platform/Export.h"
#include "Platform/Foundation/NSKeyedArchiver.h"

namespace qz::NSKeyedArchiverClass {

/// The archive of the object as root, without secure coding; nullopt when it cannot be archived
/// (NSKeyedArchiver::archivedDataWithRootObject). Nil is archived too.
[[nodiscard]] QZ_EXPORT std::optional<NSData> archivedDataWithObject(const id& object);

}  // namespace qz::NSKeyedArchiverClass
