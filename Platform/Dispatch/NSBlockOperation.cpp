#include "Platform/Dispatch/NSBlockOperation.h"

#include <atomic>
#include <exception>
#include <latch>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/internal/ThreadPool.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

QZ_DEFINE_CLASS(NSBlockOperation, cls) {
    cls.classMethod("blockOperationWithBlock:",
                    [](Class&, const Block& block) { return blockOperationWithBlock(block); });
    cls.method("addExecutionBlock:", &NSBlockOperation::addExecutionBlock);
}

void NSBlockOperation::addExecutionBlock(Block block) {
    if (!block) {
        raise(NSInvalidArgumentException, "a block operation needs a block");
    }
    const std::lock_guard lock(blocksMutex_);
    if (begun_) {
        raise(NSInvalidArgumentException, descriptionOf(*this) + " takes no more blocks: it has begun");
    }
    blocks_.push_back(std::move(block));
}

std::vector<NSOperation::Block> NSBlockOperation::executionBlocks() const {
    const std::lock_guard lock(blocksMutex_);
    return blocks_;
}

namespace {

/// Blocks that several threads take from one list.
struct SharedBlocks {
    const std::vector<NSOperation::Block>& blocks;  // the operation's, which waits
    std::atomic<std::size_t> next{0};
    std::latch done;

    explicit SharedBlocks(const std::vector<NSOperation::Block>& list)
        : blocks(list), done(static_cast<std::ptrdiff_t>(list.size())) {}

    /// False when there was none left.
    bool runNext(std::size_t count) {
        const auto index = next.fetch_add(1);
        if (index >= count) {
            return false;
        }
        struct Done {
            std::latch& latch;
            ~Done() { latch.count_down(); }
        } const counted{done};
        blocks[index]();
        return true;
    }
};

}  // namespace

void NSBlockOperation::main() {
    {
        const std::lock_guard lock(blocksMutex_);
        begun_ = true;
    }
    const auto count = blocks_.size();
    if (count == 1) {
        return blocks_.front()();
    }
    const auto shared = std::make_shared<SharedBlocks>(blocks_);
    for (std::size_t index = 1; index < count; ++index) {
        DispatchQueue::global().async([shared, count] { shared->runNext(count); });
    }
    std::exception_ptr failure;
    try {
        while (shared->runNext(count)) {
        }
    } catch (...) {
        failure = std::current_exception();  // the others still take blocks from this operation's list
    }
    const detail::ThreadPool::Blocked blocked;
    shared->done.wait();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace qz
