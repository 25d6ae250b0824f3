// NSError(Initialization): an error from a domain, a code and a text for people.
#pragma once

#include <cstdint>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Runtime/Text.h"

namespace qz::NSErrorClass {

/// The description becomes the only entry of the user information, under NSLocalizedDescriptionKey; without
/// one (nil) the error has no user information at all. Safe from any thread.
[[nodiscard]] QZ_EXPORT Ref<NSError> errorWithDomain(std::string domain, std::int64_t code, Text description);

}  // namespace qz::NSErrorClass
