// Ctrl-C, for commands that have something to finish.
#pragma once

#include <functional>

namespace qz::tool {

/// The first Ctrl-C, or a polite request to end, calls a block on the main thread; the second one ends the
/// program.
class Interruptions {
public:
    explicit Interruptions(std::function<void()> onFirst);
    /// Keeps the signals from threads that are started from now on. To be called before any is.
    static void block();
};

}  // namespace qz::tool
