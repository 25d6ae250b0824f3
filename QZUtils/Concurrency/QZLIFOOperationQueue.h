// QZLIFOOperationQueue: an operation queue that starts what was added last first: pages that the reader looks
// at now before those that he has left.
//
// Each addition lowers the priority of all that waits and gives the new operation the highest. It takes time
// in proportion to the number of waiting operations.
#pragma once

#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Export.h"

namespace qz {

class QZ_EXPORT QZLIFOOperationQueue : public NSOperationQueue {
    QZ_OBJECT(QZLIFOOperationQueue, NSOperationQueue)
public:
    template <class Self = QZLIFOOperationQueue>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }

    /// Lowers the priority of every operation of the queue that does not execute, by 5 where it is below 1
    /// and by 1 otherwise, sets that of the new one to 8 (very high), and adds it as the base does.
    void addOperation(const Ref<NSOperation>& operation) override;

protected:
    QZLIFOOperationQueue() = default;
};

}  // namespace qz
