// The queues that hand blocks to the pool as they come.
#pragma once

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/internal/QueueCore.h"

namespace qz::detail {

class GlobalQueue final : public QueueCore {
public:
    /// The one of `priority`, made when it is first asked for; it never ends.
    static GlobalQueue& of(DispatchPriority priority);

    void submit(Item* item) noexcept;

private:
    explicit GlobalQueue(DispatchPriority priority);

    const DispatchPriority priority_;
};

}  // namespace qz::detail
