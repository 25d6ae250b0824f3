#include "Platform/Dispatch/internal/GlobalQueue.h"

#include <array>

#include "Platform/Dispatch/internal/ThreadPool.h"

namespace qz::detail {

GlobalQueue::GlobalQueue(DispatchPriority priority)
    : QueueCore(Kind::global, globalQueueLabel(priority)), priority_(priority) {}

GlobalQueue& GlobalQueue::of(DispatchPriority priority) {
    static const auto* const queues = new std::array<GlobalQueue*, 4>{
        new GlobalQueue(DispatchPriority::high), new GlobalQueue(DispatchPriority::standard),
        new GlobalQueue(DispatchPriority::low), new GlobalQueue(DispatchPriority::background)};
    return *queues->at(static_cast<std::size_t>(priority));
}

void GlobalQueue::submit(Item* item) noexcept {
    ThreadPool::shared().submit(*item, priority_);
}

}  // namespace qz::detail
