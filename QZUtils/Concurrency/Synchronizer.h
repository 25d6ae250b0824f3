// Synchronizers: objects that own one private queue and run blocks on it.
//
// SerialSynchronizer runs one block at a time (mutual exclusion). ConcurrentSynchronizer lets sync() blocks
// overlap and runs barrier blocks alone (readers and writers). Any thread may call any operation. Calling
// sync() or barrierSync() from a block that runs on the same serial queue, or barrierSync() from a block of
// the same concurrent queue, waits for ever: nothing detects it. Blocks submitted asynchronously still run
// when the synchronizer is gone. What a synchronous block throws reaches its caller; what leaves an
// asynchronous one ends the program (DispatchQueue.h).
#pragma once

#include <concepts>
#include <stop_token>
#include <string>
#include <utility>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

/// The abstract base; its name in the runtime is "QZUtils.Synchronizer".
class QZ_EXPORT Synchronizer : public NSObject {
    QZ_OBJECT(Synchronizer, NSObject)
public:
    /// Not available: ends the program with a message that names the unimplemented initialiser.
    [[noreturn]] static Ref<Synchronizer> init();

    /// Runs the block on the queue and returns when it has run, with its result. No reference to it is kept.
    template <std::invocable F>
    decltype(auto) sync(F&& block) const {
        return queue_.sync(std::forward<F>(block));
    }
    /// The same, unless stop is requested before the block has started: then false, or no value.
    template <std::invocable F>
    [[nodiscard]] auto syncUntil(const std::stop_token& stop, F&& block) const {
        return queue_.syncUntil(stop, std::forward<F>(block));
    }
    /// Submits the block and returns at once. The block is held until it has run.
    template <std::invocable F>
    void async(F&& block) const {
        queue_.async(std::forward<F>(block));
    }

    /// The label of the queue.
    [[nodiscard]] const std::string& label() const noexcept { return queue_.label(); }

protected:
    explicit Synchronizer(DispatchQueue queue) noexcept : queue_(std::move(queue)) {}

    /// The label given, or the name of the base class, for subclasses too, when it is nil. Empty stays empty.
    [[nodiscard]] static std::string labelOrDefault(Text label);

    [[nodiscard]] const DispatchQueue& queue() const noexcept { return queue_; }

private:
    const DispatchQueue queue_;
};

class QZ_EXPORT SerialSynchronizer : public Synchronizer {
    QZ_OBJECT(SerialSynchronizer, Synchronizer)
public:
    /// A nil label makes the queue's label "QZUtils.Synchronizer"; an empty one stays empty.
    template <class Self = SerialSynchronizer>
    [[nodiscard]] static Ref<Self> initWithLabel(Text label) {
        return make<Self>(label);
    }

protected:
    explicit SerialSynchronizer(Text label) : Synchronizer(DispatchQueue::serial(labelOrDefault(label))) {}
};

class QZ_EXPORT ConcurrentSynchronizer : public Synchronizer {
    QZ_OBJECT(ConcurrentSynchronizer, Synchronizer)
public:
    /// As for SerialSynchronizer.
    template <class Self = ConcurrentSynchronizer>
    [[nodiscard]] static Ref<Self> initWithLabel(Text label) {
        return make<Self>(label);
    }

    /// Waits until every block submitted before has finished, runs the block alone, and returns with its
    /// result.
    template <std::invocable F>
    decltype(auto) barrierSync(F&& block) const {
        return queue().barrierSync(std::forward<F>(block));
    }
    /// The same, unless stop is requested before the block has started: then false, or no value.
    template <std::invocable F>
    [[nodiscard]] auto barrierSyncUntil(const std::stop_token& stop, F&& block) const {
        return queue().barrierSyncUntil(stop, std::forward<F>(block));
    }
    /// Submits the block as a barrier and returns at once.
    template <std::invocable F>
    void barrierAsync(F&& block) const {
        queue().barrierAsync(std::forward<F>(block));
    }

protected:
    explicit ConcurrentSynchronizer(Text label)
        : Synchronizer(DispatchQueue::concurrent(labelOrDefault(label))) {}
};

}  // namespace qz
