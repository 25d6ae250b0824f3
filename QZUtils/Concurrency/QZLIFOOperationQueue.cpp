#include "QZUtils/Concurrency/QZLIFOOperationQueue.h"

#include <limits>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(QZLIFOOperationQueue, cls) {}

namespace {

std::int64_t lowered(std::int64_t priority) {
    constexpr std::int64_t step = 5;
    constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
    if (priority >= 1) {
        return priority - 1;
    }
    return priority < lowest + step ? lowest : priority - step;
}

}  // namespace

void QZLIFOOperationQueue::addOperation(const Ref<NSOperation>& operation) {
    for (const auto& other : operations()) {
        if (!other->isExecuting()) {
            other->setQueuePriority(lowered(other->queuePriority()));
        }
    }
    if (operation) {
        operation->setQueuePriority(NSOperationQueuePriorityVeryHigh);
    }
    Super::addOperation(operation);
}

}  // namespace qz
