// QZBlockHandlersQueue: blocks that are executed together, in the order of their priorities: what an
// application does when it becomes active, say.
//
//     handlers->addHandlerWithPriority(5, false, [=] { refresh(); });
//     handlers->addHandlerWithPriority(1, true, [=] { welcome(); });  // once
//     handlers->executeHandlers();
//
// For use from one thread at a time. Blocks may add and remove handlers.
#pragma once

#include "Platform/Export.h"
#include "Platform/Foundation/NSArray.h"
#include "QZUtils/Concurrency/QZBlockHandler.h"

namespace qz {

class QZ_EXPORT QZBlockHandlersQueue : public NSObject {
    QZ_OBJECT(QZBlockHandlersQueue, NSObject)
public:
    template <class Self = QZBlockHandlersQueue>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }

    /// The handlers, highest priority first, those of equal priority as they were added. The queue's own
    /// array, made when it is first asked for: changes of it change the queue.
    [[nodiscard]] const Ref<NSMutableArray>& blockHandlers();

    /// Adds a handler at the place of its priority; null raises NSInvalidArgumentException. A later change of
    /// the priority does not move it.
    void addHandler(const Ref<QZBlockHandler>& handler);
    /// Makes a handler, adds it and returns it.
    Ref<QZBlockHandler> addHandlerWithPriority(std::int64_t priority, bool discardable,
                                               QZBlockHandler::Block block);
    /// Removes every occurrence of the handler.
    void removeHandler(const Ref<QZBlockHandler>& handler);

    /// Calls the block of each handler in order, and removes the handler after it if it is discardable.
    /// Handlers that a block adds or removes change later passes only, not this one. A handler without a
    /// block raises NSInvalidArgumentException.
    void executeHandlers();

protected:
    QZBlockHandlersQueue() = default;

private:
    Ref<NSMutableArray> blockHandlers_;
};

}  // namespace qz
