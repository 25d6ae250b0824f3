#include "QZUtils/Concurrency/QZBlockHandlersQueue.h"

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

QZ_DEFINE_CLASS(QZBlockHandlersQueue, cls) {
    cls.property("blockHandlers", &QZBlockHandlersQueue::blockHandlers);
    cls.method("addHandler:", &QZBlockHandlersQueue::addHandler);
    cls.method("addHandlerWithPriority:discardable:block:", &QZBlockHandlersQueue::addHandlerWithPriority);
    cls.method("removeHandler:", &QZBlockHandlersQueue::removeHandler);
    cls.method("executeHandlers", &QZBlockHandlersQueue::executeHandlers);
}

namespace {

/// The array is open to everybody, so what comes out of it is checked.
Ref<QZBlockHandler> handlerFrom(const id& element) {
    auto handler = element.as<QZBlockHandler>();
    if (!handler) {
        raise(NSInvalidArgumentException, descriptionOf(element) + " is no block handler");
    }
    return handler;
}

}  // namespace

const Ref<NSMutableArray>& QZBlockHandlersQueue::blockHandlers() {
    if (!blockHandlers_) {
        blockHandlers_ = NSMutableArray::array();
    }
    return blockHandlers_;
}

void QZBlockHandlersQueue::addHandler(const Ref<QZBlockHandler>& handler) {
    const auto& handlers = *blockHandlers();
    std::size_t index = 0;
    while (handler && index < handlers.count() &&
           handlerFrom(handlers[index])->priority() >= handler->priority()) {
        ++index;
    }
    blockHandlers()->insertObjectAtIndex(handler, index);
}

Ref<QZBlockHandler> QZBlockHandlersQueue::addHandlerWithPriority(std::int64_t priority, bool discardable,
                                                                 QZBlockHandler::Block block) {
    auto handler = QZBlockHandler::handlerWithPriority(priority, discardable, std::move(block));
    addHandler(handler);
    return handler;
}

void QZBlockHandlersQueue::removeHandler(const Ref<QZBlockHandler>& handler) {
    blockHandlers()->removeObject(handler);
}

void QZBlockHandlersQueue::executeHandlers() {
    const auto self = ref();  // a block may drop the last other reference
    const auto pass = blockHandlers()->NSArray::mutableCopy();
    for (const auto& element : *pass) {
        const auto handler = handlerFrom(element);
        const auto block = handler->block();
        if (!block) {
            raise(NSInvalidArgumentException, descriptionOf(handler) + " has no block to execute");
        }
        block();
        if (handler->discardable()) {
            removeHandler(handler);
        }
    }
}

}  // namespace qz
