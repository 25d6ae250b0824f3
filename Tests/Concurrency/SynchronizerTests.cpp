// Synchronizers: labels, exclusion, order, lifetime.
#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <latch>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "Platform/Runtime/Class.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Concurrency/Synchronizer.h"
#include "QZUtils/Extensions/NSLocking/NSLocking+DoAction.h"

namespace qz::test {

TEST(Synchronizers, LabelsAreKeptAndNilIsTheBaseClassName) {
    EXPECT_EQ(SerialSynchronizer::initWithLabel(nullptr)->label(), "QZUtils.Synchronizer");
    EXPECT_EQ(ConcurrentSynchronizer::initWithLabel(nullptr)->label(), "QZUtils.Synchronizer");
    EXPECT_EQ(SerialSynchronizer::initWithLabel("")->label(), "");
    EXPECT_EQ(ConcurrentSynchronizer::initWithLabel("pages")->label(), "pages");
    EXPECT_EQ(NSClassFromString("QZUtils.Synchronizer"), &Synchronizer::cls());
}

TEST(SynchronizersDeathTest, TheBaseClassCannotBeMade) {
    EXPECT_DEATH(static_cast<void>(Synchronizer::init()),
                 "unimplemented initializer \"init\\(\\)\" of \"QZUtils.Synchronizer\"");
}

TEST(Synchronizers, SerialBlocksRunInOrderAndNeverOverlap) {
    const auto serial = SerialSynchronizer::initWithLabel("serial");
    std::vector<int> order;  // touched by the blocks alone: the thread sanitizer sees any overlap
    for (int number = 0; number < 1000; ++number) {
        serial->async([&order, number] { order.push_back(number); });
    }
    serial->sync([&] { order.push_back(1000); });
    ASSERT_EQ(order.size(), 1001U);
    EXPECT_TRUE(std::ranges::is_sorted(order));
    EXPECT_EQ(serial->sync([] { return std::string("result"); }), "result");
    EXPECT_THROW(serial->sync([] { throw std::runtime_error("reaches the caller"); }), std::runtime_error);
    EXPECT_TRUE(serial->syncUntil(std::stop_token(), [] {}));
}

TEST(Synchronizers, ReadersOverlapAndBarriersAreSeen) {
    const auto concurrent = ConcurrentSynchronizer::initWithLabel("concurrent");
    std::latch both(2);
    const auto meet = [&] { both.arrive_and_wait(); };  // returns only if two blocks run at once
    std::thread other([&] { concurrent->sync(meet); });
    concurrent->sync(meet);
    other.join();

    int value = 0;
    for (int round = 1; round <= 500; ++round) {
        concurrent->barrierAsync([&value, round] { value = round; });
        EXPECT_EQ(concurrent->sync([&] { return value; }), round);
    }
    concurrent->barrierSync([&] { value = -1; });
    EXPECT_EQ(value, -1);
}

TEST(Synchronizers, BlocksOutliveTheSynchronizer) {
    std::latch gate(1);
    std::latch done(3);
    {
        const auto serial = SerialSynchronizer::initWithLabel("short-lived");
        serial->async([&] { gate.wait(); });
        for (int block = 0; block < 3; ++block) {
            serial->async([&] { done.count_down(); });
        }
    }
    gate.count_down();
    done.wait();
}

TEST(Synchronizers, AnswerMessages) {
    const auto concurrent = ConcurrentSynchronizer::initWithLabel("messages");
    int value = 0;
    const std::function<void()> block = [&] { ++value; };
    for (const auto* name : {"sync:", "async:", "barrierAsync:", "barrierSync:"}) {
        send(concurrent, Selector(name), block);
    }
    EXPECT_EQ(value, 4);
}

TEST(DoAction, ReturnsTheResultAndUnlocks) {
    std::mutex mutex;
    std::shared_mutex shared;
    const auto isLocked = [](auto& lock) {
        return !std::async(std::launch::async, [&] {
                    return lock.try_lock() && (lock.unlock(), true);
                }).get();
    };
    EXPECT_TRUE(doAction(mutex, [&] { return isLocked(mutex); }));
    EXPECT_FALSE(isLocked(mutex));
    int value = 1;
    int& reference = doAction(shared, [&]() -> int& { return value; });
    EXPECT_EQ(&reference, &value);
    EXPECT_FALSE(isLocked(shared));
}

}  // namespace qz::test
