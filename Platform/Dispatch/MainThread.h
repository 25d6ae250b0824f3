// Which thread is the main thread: the one that the process started with, where the main queue's blocks and
// the default main context's sources run.
#pragma once

#include "Platform/Export.h"

namespace qz {

/// Whether the caller runs on the main thread. Costs a few nanoseconds from the second call of a thread on.
/// In the child of a fork() the answer of the forking thread is kept.
[[nodiscard]] QZ_EXPORT bool isMainThread() noexcept;

}  // namespace qz
