// Memory pressure: a notification when the machine, or the control group that the process lives in, runs
// short of memory, so that caches can give theirs back.
//
// The kernel tells (pressure stall information, Documentation/accounting/psi.rst of Linux): tasks have waited
// for memory for 150 ms of the last two seconds. A host that knows better posts the notification itself.
#pragma once

#include <string_view>

#include "Platform/Export.h"

namespace qz {

/// Posted by the default centre on the main thread, without a sender.
inline constexpr std::string_view UIApplicationDidReceiveMemoryWarningNotification =
    "UIApplicationDidReceiveMemoryWarningNotification";

struct QZ_EXPORT MemoryPressure {
    /// Begins to watch, once for the process. False where the kernel does not tell this process.
    static bool watch();
};

}  // namespace qz
