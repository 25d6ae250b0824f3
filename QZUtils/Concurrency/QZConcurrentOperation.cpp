#include "QZUtils/Concurrency/QZConcurrentOperation.h"

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz {

QZ_DEFINE_CLASS(QZConcurrentOperation, cls) {
    cls.method("done", &QZConcurrentOperation::done);
    cls.property("operationStarted", &QZConcurrentOperation::operationStarted,
                 &QZConcurrentOperation::setOperationStarted);
}

void QZConcurrentOperation::start() {
    if (isFinished() || isCancelled()) {
        done();
        return;
    }
    setOperationStarted(true);
    changing(*this, "isExecuting", [&] {
        auto expected = State::notStarted;
        state_.compare_exchange_strong(expected, State::executing);
    });
    main();
}

void QZConcurrentOperation::done() {
    if (!operationStarted_) {
        return;
    }
    changing(*this, "isExecuting", [&] { changing(*this, "isFinished", [&] { state_ = State::finished; }); });
}

void QZConcurrentOperation::cancel() {
    Super::cancel();
    done();
}

void QZConcurrentOperation::setOperationStarted(bool operationStarted) {
    changing(*this, "operationStarted", [&] { operationStarted_ = operationStarted; });
}

}  // namespace qz
