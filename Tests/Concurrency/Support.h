// What the tests of this directory share.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <thread>

#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/NSException.h"

namespace qz::test {

/// Long enough for anything that is going to happen.
[[nodiscard]] inline NSRunLoop::Deadline patience() {
    return std::chrono::steady_clock::now() + std::chrono::seconds(60);
}

/// Runs the calling thread's loop until the condition holds.
[[nodiscard]] inline bool await(const std::function<bool()>& condition) {
    return NSRunLoop::currentRunLoop()->runUntil(patience(), condition);
}

/// Runs the calling thread's loop for a while in which something must not happen.
inline void runFor(std::chrono::milliseconds time) {
    NSRunLoop::currentRunLoop()->runUntil(std::chrono::steady_clock::now() + time);
}

/// Does what the calling thread's loop has to do already.
inline void catchUp() {
    while (NSRunLoop::currentRunLoop()->runOnce(false)) {
    }
}

template <class F>
[[nodiscard]] std::string exceptionName(F&& block) {
    try {
        block();
    } catch (const NSException& exception) {
        return exception.name();
    }
    return "none";
}

}  // namespace qz::test
