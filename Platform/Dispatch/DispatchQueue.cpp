#include "Platform/Dispatch/DispatchQueue.h"

#include <algorithm>
#include <utility>

#include "Platform/Dispatch/internal/ConcurrentQueue.h"
#include "Platform/Dispatch/internal/DelayedSubmissions.h"
#include "Platform/Dispatch/internal/GlobalQueue.h"
#include "Platform/Dispatch/internal/MainQueue.h"
#include "Platform/Dispatch/internal/SerialQueue.h"

namespace qz {

DispatchQueue DispatchQueue::serial(std::string_view label) {
    return DispatchQueue(new detail::SerialQueue(std::string(label)));
}

DispatchQueue DispatchQueue::concurrent(std::string_view label) {
    return DispatchQueue(new detail::ConcurrentQueue(std::string(label)));
}

DispatchQueue DispatchQueue::main() {
    auto& queue = detail::MainQueue::shared();
    queue.retain();
    return DispatchQueue(&queue);
}

DispatchQueue DispatchQueue::global(DispatchPriority priority) {
    auto& queue = detail::GlobalQueue::of(priority);
    queue.retain();
    return DispatchQueue(&queue);
}

void DispatchQueue::submitAfter(std::chrono::duration<double> delay, detail::Item* item) const {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::duration<double> longest =
        std::chrono::years(100);  // beyond it the clock would overflow
    if (!(delay.count() > 0))
        return core_->submit(item);
    const auto wait = std::chrono::ceil<Clock::duration>(std::min(delay, longest));
    detail::DelayedSubmissions::shared().add(Clock::now() + wait, *core_, item);
}

}  // namespace qz
