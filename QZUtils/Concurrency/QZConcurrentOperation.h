// QZConcurrentOperation: the base of operations whose work goes on after main() has returned.
//
//     class Fetch : public QZConcurrentOperation {
//         QZ_OBJECT(Fetch, QZConcurrentOperation)
//         void main() override { request([self = ref()] { static_cast<Fetch&>(*self).done(); }); }
//     };
//
// A subclass begins its work in main() and calls done() when that has ended, on whatever thread. Until then
// the operation executes and holds its place in the queue.
//
//     not started -> start() -> executing -> done() or cancel() -> finished
//
// An operation that is cancelled before it was started never becomes finished, neither by cancel() nor by the
// start() of a queue: done() acts only on an operation that has begun. Such an operation stays in its queue,
// and keeps its place among those that run at the same time. Callers rely on it; cancel what has begun, or
// leave operations that were never started to their queue.
//
// Changes of "isExecuting" and "isFinished" are announced on the thread that calls start(), done() or
// cancel(). The state may be read and changed from any thread.
#pragma once

#include <atomic>

#include "Platform/Dispatch/NSOperation.h"
#include "Platform/Export.h"

namespace qz {

class QZ_EXPORT QZConcurrentOperation : public NSOperation {
    QZ_OBJECT(QZConcurrentOperation, NSOperation)
public:
    template <class Self = QZConcurrentOperation>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }

    [[nodiscard]] bool isConcurrent() const override { return true; }
    [[nodiscard]] bool isExecuting() const override { return state_ == State::executing; }
    [[nodiscard]] bool isFinished() const override { return state_ == State::finished; }

    /// Begins the operation and calls main(). When it has finished or was cancelled, calls done() instead.
    void start() override;
    /// Ends the operation; nothing happens before start() has begun it. Calling it again announces the same
    /// state again.
    void done();
    /// Sets the flag of the base, then calls done(). The work itself has to look at isCancelled().
    void cancel() override;

    /// Whether start() has begun the operation.
    [[nodiscard]] bool operationStarted() const noexcept { return operationStarted_; }
    void setOperationStarted(bool operationStarted);

protected:
    QZConcurrentOperation() = default;

private:
    enum class State : unsigned char { notStarted, executing, finished };

    std::atomic<State> state_{State::notStarted};  // one word, so that a cancellation during start() wins
    std::atomic<bool> operationStarted_{false};
};

}  // namespace qz
