// NSKeyedUnarchiver(Convenience): the root object of a keyed archive, in one call. Safe from any thread.
//
//     const auto bookmarks = NSKeyedUnarchiverClass::unarchivedRootObjectWithData(data).as<NSArray>();
#pragma once

#include <optional>

#include "Platform/Export.h"
#include "Platform/Foundation/NSKeyedUnarchiver.h"

namespace qz::NSKeyedUnarchiverClass {

/// The object under NSKeyedArchiveRootObjectKey, of any class that adopts NSCoding: secure coding is
/// switched off. Nil for nil, for bytes that are no keyed archive, when there is no such object and when it
/// cannot be read.
[[nodiscard]] QZ_EXPORT id unarchivedRootObjectWithData(const std::optional<NSData>& data);

}  // namespace qz::NSKeyedUnarchiverClass
