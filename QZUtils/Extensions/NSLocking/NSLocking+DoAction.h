// doAction: runs a block under any lock.
#pragma once

#include <concepts>
#include <functional>
#include <mutex>
#include <utility>

namespace qz {

/// Locks, runs the action, unlocks, and returns what the action returned. The lock is any type with lock()
/// and unlock(), those of the standard library included. It is unlocked too when the action throws.
template <class Lock, std::invocable F>
requires requires(Lock& lock) {
    lock.lock();
    lock.unlock();
}
decltype(auto) doAction(Lock& lock, F&& action) {
    const std::lock_guard guard(lock);
    return std::invoke(std::forward<F>(action));
}

}  // namespace qz
