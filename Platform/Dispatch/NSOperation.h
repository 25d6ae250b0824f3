// NSOperation: a piece of work with a life of its own: it can wait for others, be cancelled, be waited for,
// and be put into an NSOperationQueue (NSOperationQueue.h), which starts it.
//
//     class Render : public NSOperation {
//         QZ_OBJECT(Render, NSOperation)
//         void main() override { while (!isCancelled() && renderNextPage()) {} }
//     };
//
// An ordinary operation overrides main() and is finished when that returns. An asynchronous one, whose work
// goes on after main() has returned, overrides start(), isConcurrent(), isExecuting() and isFinished(), and
// announces changes of the keys "isExecuting" and "isFinished" (KeyValueObserving.h); QZConcurrentOperation
// does that for its subclasses. For work that fits a block there is NSBlockOperation.
//
// An operation is ready when the operations that it depends on have finished, cancelled or not. Cancelling
// stops nothing by itself: it sets a flag that main() should look at, and makes the operation ready, so that
// it is started and can finish without having worked. Operations that depend on each other in a circle never
// become ready.
//
// Every operation is safe from any thread. Changes are announced for the keys "isReady", "isCancelled",
// "isExecuting", "isFinished", "queuePriority" and "dependencies" on the thread that makes them. An exception
// that leaves main() ends the operation and reaches the caller of start(); when that is a queue, it ends the
// program.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

namespace detail {
class DependencyWatch;
class FinishWatch;
class OperationScheduler;
}  // namespace detail

/// The usual priorities. Any other integer is one too, and keeps its place between or beyond them.
inline constexpr std::int64_t NSOperationQueuePriorityVeryLow = -8;
inline constexpr std::int64_t NSOperationQueuePriorityLow = -4;
inline constexpr std::int64_t NSOperationQueuePriorityNormal = 0;
inline constexpr std::int64_t NSOperationQueuePriorityHigh = 4;
inline constexpr std::int64_t NSOperationQueuePriorityVeryHigh = 8;

class QZ_EXPORT NSOperation : public NSObject {
    QZ_OBJECT(NSOperation, NSObject)
public:
    using Block = std::function<void()>;

    template <class Self = NSOperation>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }
    ~NSOperation() override;

    /// Runs the operation on the calling thread: main(), unless it was cancelled. Nothing happens when it has
    /// finished; NSInvalidArgumentException when it is not ready or is executing.
    virtual void start();
    /// The work; none in the base.
    virtual void main() {}
    /// Sets the flag; nothing happens when the operation has finished. Overrides call the base.
    virtual void cancel();

    [[nodiscard]] bool isCancelled() const noexcept { return cancelled_; }
    [[nodiscard]] virtual bool isExecuting() const;
    [[nodiscard]] virtual bool isFinished() const;
    /// Overrides include the base's answer, and announce changes of "isReady".
    [[nodiscard]] virtual bool isReady() const;
    /// Whether the operation keeps its state by itself and goes on after start() has returned.
    [[nodiscard]] virtual bool isConcurrent() const { return false; }

    /// Makes this operation wait for another one. Adding it again does nothing, and so does any change once
    /// this operation executes. Null and the operation itself raise NSInvalidArgumentException.
    void addDependency(const Ref<NSOperation>& operation);
    void removeDependency(const Ref<NSOperation>& operation);
    /// In the order in which they were added; they are held until this operation dies.
    [[nodiscard]] std::vector<Ref<NSOperation>> dependencies() const;

    /// Queues start the operations of higher priority first. Changes count while the operation waits.
    [[nodiscard]] std::int64_t queuePriority() const noexcept { return queuePriority_; }
    void setQueuePriority(std::int64_t priority);

    /// Called once, on a thread of a global queue, after the operation has finished, cancelled or not; also
    /// when it is set later. Empty for none.
    [[nodiscard]] Block completionBlock() const;
    void setCompletionBlock(Block block);

    /// For people; empty at first.
    [[nodiscard]] std::string name() const;
    void setName(std::string_view name);

    /// Waits until the operation has finished: for ever, if it never does.
    void waitUntilFinished() const;
    /// The same until stop is requested: false then.
    [[nodiscard]] bool waitUntilFinished(const std::stop_token& stop) const;

protected:
    NSOperation() = default;

private:
    friend class detail::DependencyWatch;
    friend class detail::OperationScheduler;

    enum class State : std::uint8_t { waiting, starting, executing, finished };

    struct Dependency {
        Ref<NSOperation> operation;
        Ref<detail::DependencyWatch> watch;  // null when the operation had finished before
    };

    void finish();
    void dependencyFinished();
    void updateReadiness();
    [[nodiscard]] Ref<detail::FinishWatch> finishWatch() const;
    void enterQueue(std::weak_ptr<detail::OperationScheduler> queue, std::uint64_t number);

    std::atomic<State> state_{State::waiting};
    std::atomic<bool> cancelled_{false};
    std::atomic<bool> dependenciesFinished_{true};
    std::atomic<std::int64_t> queuePriority_{NSOperationQueuePriorityNormal};

    mutable std::mutex mutex_;  // guards what follows; nothing else is locked meanwhile
    std::vector<Dependency> dependencies_;
    std::size_t unfinishedDependencies_ = 0;
    mutable Ref<detail::FinishWatch> finishWatch_;  // made when somebody wants to know
    std::string name_;
    bool inQueue_ = false;
    std::weak_ptr<detail::OperationScheduler> queue_;
    std::uint64_t number_ = 0;  // in the queue
};

}  // namespace qz
