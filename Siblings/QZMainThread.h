// QZMainThread: runs a block on the main thread.
#pragma once

#include <functional>

#include "Platform/Export.h"

namespace qz {

struct QZ_EXPORT QZMainThread {
    /// At once when this is the main thread; elsewhere the block is run by the main run loop, and this does
    /// not wait for it.
    static void run(std::function<void()> block);
};

}  // namespace qz
