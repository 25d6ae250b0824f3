// Whole files as buffers, and buffers as whole files. Errors are those of NSFileManager.h.
#pragma once

#include <optional>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"

namespace qz {

class NSError;

/// Nullopt when the file cannot be read. `error` may be null.
[[nodiscard]] QZ_EXPORT std::optional<NSData> dataWithContentsOfFile(std::string_view path,
                                                                     Ref<NSError>* error);

/// Writes a file. With `atomically`, an existing file stays whole until the new one, flushed to disk, takes
/// its place, and keeps its mode; a failure leaves it as it was, and nothing beside it. Otherwise it is
/// overwritten in place. `error` may be null.
QZ_EXPORT bool writeToFile(const NSData& self, std::string_view path, bool atomically, Ref<NSError>* error);

}  // namespace qz
