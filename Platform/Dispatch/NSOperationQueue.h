// NSOperationQueue: starts operations (NSOperation.h) on threads of the global queues, or on the main thread.
//
//     const auto queue = NSOperationQueue::init();
//     queue->setMaxConcurrentOperationCount(2);
//     queue->addOperationWithBlock([=] { render(page); });
//     queue->waitUntilAllOperationsAreFinished();
//
// Of the operations that are ready, the one of the highest priority is started first, and of equal priority
// the one that was added first. Priorities may change until an operation starts. Cancelled operations are
// ready and are started like others, which is how they finish. An operation stays in the queue, and holds one
// of the places for operations that run at the same time, until it has finished: an asynchronous one until it
// announces the change of "isFinished", and one that never finishes for ever.
//
// A queue that nobody holds any more goes on until its operations have finished; one that is suspended then
// drops those that it has not started.
//
// Every operation is safe from any thread. Adding, starting and changing a priority take the logarithm of the
// number of operations. Changes are announced for the keys "operations", "operationCount",
// "maxConcurrentOperationCount", "suspended" and "name".
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Dispatch/NSOperation.h"
#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

namespace detail {
class OperationScheduler;
}

/// As many operations at the same time as the queue sees fit: at most 64.
inline constexpr std::int64_t NSOperationQueueDefaultMaxConcurrentOperationCount = -1;

class QZ_EXPORT NSOperationQueue : public NSObject {
    QZ_OBJECT(NSOperationQueue, NSObject)
public:
    template <class Self = NSOperationQueue>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }

    /// The queue whose operations run on the main thread, one at a time, in turn with the blocks of
    /// DispatchQueue::main(). It cannot be suspended, and its limit stays 1: changing them does nothing.
    [[nodiscard]] static Ref<NSOperationQueue> mainQueue();
    /// The queue that started the operation which the caller is part of; on the main thread otherwise the
    /// main queue, elsewhere null. Null, too, when nobody holds that queue any more.
    [[nodiscard]] static Ref<NSOperationQueue> currentQueue();

    /// Puts an operation into the queue, which holds it until it has finished. Raises
    /// NSInvalidArgumentException for null and for an operation that executes, has finished, or is or was in
    /// a queue.
    virtual void addOperation(const Ref<NSOperation>& operation);
    /// addOperation() with each in turn; with `waitUntilFinished`, waits for all of them then.
    void addOperations(const std::vector<Ref<NSOperation>>& operations, bool waitUntilFinished);
    /// addOperation() with an operation that runs the block.
    void addOperationWithBlock(std::function<void()> block);

    /// Those that have not finished, in the order in which they were added.
    [[nodiscard]] std::vector<Ref<NSOperation>> operations() const;
    [[nodiscard]] std::size_t operationCount() const;
    /// Cancels every one of them.
    void cancelAllOperations();

    /// Waits until the queue is empty: for ever, if one of its operations never finishes, if it is suspended,
    /// or if this is the main thread and the queue the main queue.
    void waitUntilAllOperationsAreFinished() const;
    /// The same until stop is requested: false then.
    [[nodiscard]] bool waitUntilAllOperationsAreFinished(const std::stop_token& stop) const;

    /// How many operations may run at the same time; with 0 none is started. A negative number other than the
    /// default raises NSInvalidArgumentException.
    [[nodiscard]] std::int64_t maxConcurrentOperationCount() const;
    void setMaxConcurrentOperationCount(std::int64_t count);

    /// A suspended queue starts nothing; what it has started goes on.
    [[nodiscard]] bool isSuspended() const;
    void setSuspended(bool suspended);

    /// For people and messages.
    [[nodiscard]] std::string name() const;
    void setName(std::string_view name);

protected:
    NSOperationQueue();
    explicit NSOperationQueue(bool isMain);

    void dealloc() override;

private:
    const std::shared_ptr<detail::OperationScheduler> scheduler_;
    const bool isMainQueue_;
};

}  // namespace qz
