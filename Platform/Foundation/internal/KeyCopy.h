// Keys of containers that hold them by value: a key that changes afterwards would never be found again.
#pragma once

#include "Platform/Runtime/Id.h"

namespace qz::internal {

/// The key's copy; the key itself where it has none. Not for nil.
[[nodiscard]] id copyOfKey(const id& key);

}  // namespace qz::internal
