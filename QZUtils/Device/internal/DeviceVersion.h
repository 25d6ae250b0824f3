// The numbers in a machine's name.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "Platform/Export.h"

namespace qz::internal {

/// (10, 3) of "Name10,3": what stands between the first digit and the first comma, and what follows that.
/// (0, 0) without a comma; 0 where there is no number.
[[nodiscard]] QZ_EXPORT std::pair<std::int64_t, std::int64_t> deviceVersion(std::string_view machine);

}  // namespace qz::internal
