#include "QZUtils/Concurrency/QZBlockHandler.h"

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz {

QZ_DEFINE_CLASS(QZBlockHandler, cls) {
    cls.classMethod("handlerWithPriority:discardable:block:",
                    [](Class&, std::int64_t priority, bool discardable, const Block& block) {
                        return handlerWithPriority(priority, discardable, block);
                    });
    cls.property("discardable", &QZBlockHandler::discardable, &QZBlockHandler::setDiscardable);
    cls.property("priority", &QZBlockHandler::priority, &QZBlockHandler::setPriority);
    cls.property("block", &QZBlockHandler::block, &QZBlockHandler::setBlock);
}

void QZBlockHandler::setDiscardable(bool discardable) {
    changing(*this, "discardable", [&] { discardable_ = discardable; });
}

void QZBlockHandler::setPriority(std::int64_t priority) {
    changing(*this, "priority", [&] { priority_ = priority; });
}

void QZBlockHandler::setBlock(Block block) {
    changing(*this, "block", [&] { std::swap(block_, block); });
}

}  // namespace qz
