// QZBlockHandler: a block with a priority, as QZBlockHandlersQueue keeps them.
//
// For use from one thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class QZ_EXPORT QZBlockHandler : public NSObject {
    QZ_OBJECT(QZBlockHandler, NSObject)
public:
    using Block = std::function<void()>;

    template <class Self = QZBlockHandler>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }
    template <class Self = QZBlockHandler>
    [[nodiscard]] static Ref<Self> handlerWithPriority(std::int64_t priority, bool discardable, Block block) {
        auto handler = make<Self>();
        handler->setPriority(priority);
        handler->setDiscardable(discardable);
        handler->setBlock(std::move(block));
        return handler;
    }

    /// Whether the handler is for one execution only.
    [[nodiscard]] bool discardable() const noexcept { return discardable_; }
    void setDiscardable(bool discardable);
    /// Higher ones are executed earlier.
    [[nodiscard]] std::int64_t priority() const noexcept { return priority_; }
    void setPriority(std::int64_t priority);
    /// Must not be empty when the handler is executed.
    [[nodiscard]] const Block& block() const noexcept { return block_; }
    void setBlock(Block block);

protected:
    QZBlockHandler() = default;

private:
    bool discardable_ = false;
    std::int64_t priority_ = 0;
    Block block_;
};

}  // namespace qz
