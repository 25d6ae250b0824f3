// The version of the library that a program runs with, which may be newer than the headers it was built with.
#pragma once

#include <string_view>

#include "Platform/Export.h"

namespace qz {

/// "major.minor.patch" of the loaded library.
[[nodiscard]] QZ_EXPORT std::string_view libraryVersion() noexcept;

}  // namespace qz
