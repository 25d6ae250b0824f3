// Block handlers: order, and changes while they run.
#include "Platform/Foundation/NSString.h"
#include "QZUtils/Concurrency/QZBlockHandlersQueue.h"
#include "Support.h"

namespace qz::test {

namespace {

using testing::ElementsAre;

TEST(BlockHandlers, RunByPriorityThenByAge) {
    const auto queue = QZBlockHandlersQueue::init();
    EXPECT_EQ(queue->blockHandlers()->count(), 0U);
    std::vector<std::string> order;
    const std::pair<std::int64_t, const char*> handlers[] = {
        {1, "1"}, {5, "5 first"}, {5, "5 second"}, {3, "3"}};
    for (const auto& [priority, name] : handlers) {
        const bool discardable = priority == 5;
        const auto handler = queue->addHandlerWithPriority(
            priority, discardable, [&order, name = name] { order.emplace_back(name); });
        EXPECT_EQ(handler->priority(), priority);
        EXPECT_EQ(handler->discardable(), discardable);
    }
    queue->executeHandlers();
    EXPECT_THAT(order, ElementsAre("5 first", "5 second", "3", "1"));
    order.clear();
    queue->executeHandlers();
    EXPECT_THAT(order, ElementsAre("3", "1"));
}

TEST(BlockHandlers, ChangeTheNextPassOnly) {
    auto queue = QZBlockHandlersQueue::init();
    std::vector<std::string> order;
    const auto note = [&](const char* name) { return [&order, name] { order.emplace_back(name); }; };
    const auto removed = QZBlockHandler::handlerWithPriority(0, false, note("removed"));
    queue->addHandlerWithPriority(9, true, [&] {
        queue->addHandlerWithPriority(5, false, note("added"));
        queue->removeHandler(removed);
    });
    queue->addHandler(removed);
    queue->addHandler(removed);
    queue->executeHandlers();
    EXPECT_THAT(order, ElementsAre("removed", "removed"));
    order.clear();
    queue->executeHandlers();
    EXPECT_THAT(order, ElementsAre("added"));
    queue->addHandlerWithPriority(9, true, [&] { queue = nullptr; });  // nobody else holds it
    queue->executeHandlers();
    EXPECT_THAT(order, ElementsAre("added", "added"));
}

TEST(BlockHandlers, ShareTheirArray) {
    const auto queue = QZBlockHandlersQueue::init();
    queue->blockHandlers()->addObject(QZBlockHandler::init());
    EXPECT_EQ(exceptionName([&] { queue->executeHandlers(); }),
              NSInvalidArgumentException);  // it has no block
    queue->blockHandlers()->removeAllObjects();
    queue->blockHandlers()->addObject("no handler");
    EXPECT_EQ(exceptionName([&] { queue->executeHandlers(); }), NSInvalidArgumentException);
    EXPECT_EQ(exceptionName([&] { queue->addHandler(nullptr); }), NSInvalidArgumentException);
}

}  // namespace

}  // namespace qz::test
