// Threads that belong to nobody and live until they end by themselves or the process does.
#pragma once

namespace qz::detail {

/// Starts `run(context)` on a detached thread that receives none of the signals meant for the process. False
/// when the system has no thread to give.
[[nodiscard]] bool startServiceThread(void* (*run)(void*), void* context) noexcept;

/// The reason why a block's exception, the one being handled, ends the program, and the end.
[[noreturn]] void endForException(const char* label) noexcept;

/// Ends the program because there is no thread at all to run a submitted block.
[[noreturn]] void endForLackOfThreads() noexcept;

}  // namespace qz::detail
