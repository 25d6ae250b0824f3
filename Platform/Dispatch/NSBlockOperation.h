// NSBlockOperation: an operation whose work is one block, or several that run at the same time.
//
//     queue->addOperation(NSBlockOperation::blockOperationWithBlock([=] { render(page); }));
//
// One block runs on the thread that starts the operation. Of several, that thread and threads of the global
// queue take one after the other, in the order in which they were added; the operation has finished when all
// have. Blocks are released when the operation dies.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "Platform/Dispatch/NSOperation.h"
#include "Platform/Export.h"

namespace qz {

class QZ_EXPORT NSBlockOperation : public NSOperation {
    QZ_OBJECT(NSBlockOperation, NSOperation)
public:
    /// An empty block raises NSInvalidArgumentException.
    template <class Self = NSBlockOperation>
    [[nodiscard]] static Ref<Self> blockOperationWithBlock(Block block) {
        auto operation = make<Self>();
        operation->addExecutionBlock(std::move(block));
        return operation;
    }

    /// Raises NSInvalidArgumentException when the block is empty, and when the operation has begun.
    void addExecutionBlock(Block block);
    [[nodiscard]] std::vector<Block> executionBlocks() const;

    void main() override;

protected:
    NSBlockOperation() = default;

private:
    mutable std::mutex blocksMutex_;  // guards the list until main() has begun; it does not change then
    std::vector<Block> blocks_;
    bool begun_ = false;
};

}  // namespace qz
