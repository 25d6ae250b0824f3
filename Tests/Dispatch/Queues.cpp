#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Dispatch/DispatchQueue.h"

namespace qz {
namespace {

struct Kind {
    const char* name;
    DispatchQueue (*make)();
};

class EveryQueue : public testing::TestWithParam<Kind> {
protected:
    DispatchQueue queue = GetParam().make();
};

INSTANTIATE_TEST_SUITE_P(Dispatch, EveryQueue,
                         testing::Values(Kind{"serial", [] { return DispatchQueue::serial(""); }},
                                         Kind{"concurrent", [] { return DispatchQueue::concurrent(""); }},
                                         Kind{"global",
                                              [] { return DispatchQueue::global(DispatchPriority::low); }},
                                         Kind{"main", [] { return DispatchQueue::main(); }}),
                         [](const auto& kind) { return kind.param.name; });

TEST_P(EveryQueue, GivesBackWhatASynchronousBlockReturns) {
    int target = 0;
    auto counted = std::make_unique<int>(7);
    const auto moved = [&] { return std::move(counted); };
    const auto referred = [&]() -> int& { return target; };
    EXPECT_EQ(&queue.sync(referred), &target);
    EXPECT_EQ(&queue.barrierSync(referred), &target);
    EXPECT_EQ(*queue.sync(moved), 7);
    EXPECT_EQ(queue.syncUntil({}, [] { return 5; }), 5);
    EXPECT_EQ(queue.barrierSyncUntil({}, [] { return std::string("text"); }), "text");
    EXPECT_TRUE(queue.syncUntil({}, [&] { target = 9; }));
    EXPECT_EQ(target, 9);
}

TEST_P(EveryQueue, StaysUsableAfterASynchronousBlockThrew) {
    const auto fail = []() -> int { throw std::out_of_range("no such page"); };
    EXPECT_THROW(queue.sync(fail), std::out_of_range);
    EXPECT_THROW(queue.barrierSync(fail), std::out_of_range);
    EXPECT_THROW(static_cast<void>(queue.syncUntil({}, fail)), std::out_of_range);
    EXPECT_EQ(queue.barrierSync([] { return 3; }), 3);
}

TEST_P(EveryQueue, RefusesAStoppedToken) {
    std::stop_source source;
    source.request_stop();
    bool ran = false;
    EXPECT_FALSE(queue.syncUntil(source.get_token(), [&] { ran = true; }));
    EXPECT_FALSE(queue.barrierSyncUntil(source.get_token(), [&] { return ran = true; }).has_value());
    EXPECT_FALSE(ran);
}

TEST(DispatchQueue, KeepsItsLabelToTheLetter) {
    const std::string odd("a\0b \n", 5);
    EXPECT_EQ(DispatchQueue::serial(odd).label(), odd);
    EXPECT_EQ(DispatchQueue::concurrent("").label(), "");
}

TEST(DispatchQueue, HandlesOfOneQueueAreEqual) {
    const auto queue = DispatchQueue::serial("same");
    auto other = DispatchQueue::serial("same");
    EXPECT_NE(queue, other);
    other = queue;
    EXPECT_EQ(queue, other);
    EXPECT_EQ(DispatchQueue::global(), DispatchQueue::global(DispatchPriority::standard));
    EXPECT_NE(DispatchQueue::global(), DispatchQueue::global(DispatchPriority::high));
}

// Holds `queue` with a block until `release` counts down.
void hold(const DispatchQueue& queue, std::latch& release) {
    std::latch started(1);
    queue.barrierAsync([&] {
        started.count_down();
        release.wait();
    });
    started.wait();
}

TEST(DispatchQueue, SerialBlocksRunInOrderOfSubmission) {
    const auto queue = DispatchQueue::serial("order");
    std::vector<int> order;  // deliberately not atomic
    for (int i = 0; i < 1000; ++i)
        queue.async([&order, i] { order.push_back(i); });
    queue.sync([&] { order.push_back(1000); });
    ASSERT_EQ(order.size(), 1001U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(DispatchQueue, ContendedSyncRunsOnItsOwnThreadInItsTurn) {
    for (const auto& queue : {DispatchQueue::serial("s"), DispatchQueue::concurrent("c")}) {
        std::latch release(1);
        hold(queue, release);
        std::string order;
        queue.barrierAsync([&] { order += 'a'; });
        std::thread::id ranOn;
        std::latch submitting(1);
        std::jthread caller([&] {
            submitting.count_down();
            queue.barrierSync([&] {
                order += 'b';
                ranOn = std::this_thread::get_id();
            });
        });
        const auto callerId = caller.get_id();
        submitting.wait();
        release.count_down();
        caller.join();
        EXPECT_EQ(order, "ab");
        EXPECT_EQ(ranOn, callerId);
    }
}

TEST(DispatchQueue, ConcurrentBlocksOverlap) {
    const auto queue = DispatchQueue::concurrent("overlap");
    std::latch all(6);
    for (int i = 0; i < 5; ++i)
        queue.async([&] { all.arrive_and_wait(); });
    queue.sync([&] { all.arrive_and_wait(); });
    EXPECT_EQ(queue.barrierSync([&] { return all.try_wait(); }), true);
}

TEST(DispatchQueue, BarrierSeparatesEarlierFromLater) {
    const auto queue = DispatchQueue::concurrent("barrier");
    std::array<int, 3> early{};
    int total = 0;
    std::latch release(1);
    for (int& place : early)
        queue.async([&] {
            release.wait();
            place = 1;
        });
    queue.barrierAsync([&] { total = early[0] + early[1] + early[2]; });
    std::atomic<int> seenLater = 0;
    for (int i = 0; i < 3; ++i)
        queue.async([&] { seenLater += total; });
    release.count_down();
    EXPECT_EQ(queue.sync([&] { return total; }), 3);
    queue.barrierSync([] {});
    EXPECT_EQ(seenLater, 9);
}

TEST(DispatchQueue, BlocksOutliveTheHandlesAndEachIsDestroyedOnce) {
    for (auto make : {&DispatchQueue::serial, &DispatchQueue::concurrent}) {
        std::latch release(1);
        std::latch gone(200);
        struct Large {
            std::array<char, 500> padding{};
        };
        {
            const auto queue = make("short-lived");
            hold(queue, release);
            const auto notice = [&](void* memory) {
                ::operator delete(memory);
                gone.count_down();
            };
            for (int i = 0; i < 100; ++i) {
                auto token = std::unique_ptr<void, decltype(notice)>(::operator new(1), notice);
                queue.async([token = std::move(token)] {});
                auto other = std::unique_ptr<void, decltype(notice)>(::operator new(1), notice);
                queue.barrierAsync(
                    [other = std::move(other), large = Large{}] { EXPECT_EQ(large.padding[499], 0); });
            }
        }
        release.count_down();
        gone.wait();  // a second destruction would make the latch's count negative
        EXPECT_TRUE(gone.try_wait());
    }
}

TEST(DispatchQueue, ASynchronousBlockMayDropTheLastHandle) {
    for (const bool barrier : {false, true})
        for (auto make : {&DispatchQueue::serial, &DispatchQueue::concurrent}) {
            auto handle = std::make_optional(make("dropped"));
            const auto block = [&] { handle.reset(); };
            barrier ? handle->barrierSync(block) : handle->sync(block);
            EXPECT_FALSE(handle.has_value());
        }
}

TEST(DispatchQueue, StopLetsAWaiterOutAndTheQueueGoesOn) {
    for (const auto& queue : {DispatchQueue::serial("s"), DispatchQueue::concurrent("c")}) {
        std::latch release(1);
        hold(queue, release);
        std::stop_source source;
        std::atomic<int> ran = 0;
        std::vector<std::jthread> waiters;
        std::latch left(4);
        for (int i = 0; i < 4; ++i)
            waiters.emplace_back([&, i] {
                const auto block = [&] { ++ran; };
                EXPECT_FALSE(i % 2 != 0 ? queue.syncUntil(source.get_token(), block)
                                        : queue.barrierSyncUntil(source.get_token(), block));
                left.count_down();
            });
        queue.async([&] { ++ran; });
        source.request_stop();
        left.wait();
        EXPECT_EQ(ran, 0);
        release.count_down();
        queue.barrierSync([] {});
        EXPECT_EQ(ran, 1);
    }
}

TEST(DispatchQueue, StopGetsOutOfASyncToTheOwnQueue) {
    const auto queue = DispatchQueue::serial("own");
    std::stop_source source;
    std::jthread rescuer;
    const bool ran = queue.sync([&] {
        rescuer = std::jthread([&] { source.request_stop(); });
        return queue.syncUntil(source.get_token(), [] {});
    });
    EXPECT_FALSE(ran);
    EXPECT_TRUE(queue.syncUntil({}, [] {}));
}

TEST(DispatchQueue, DelayedBlocksComeInTimeOrderAndNotEarly) {
    using namespace std::chrono_literals;
    using Clock = std::chrono::steady_clock;
    std::string order;
    std::latch done(5);
    const auto begin = Clock::now();
    {
        const auto queue = DispatchQueue::serial("delayed");
        const auto note = [&](char name, Clock::duration least) {
            return [&order, &done, name, least, begin] {
                EXPECT_GE(Clock::now() - begin, least);
                order += name;
                done.count_down();
            };
        };
        // Farther apart than a busy machine takes to submit them all.
        queue.after(400ms, note('d', 400ms));
        queue.after(0.2s, note('b', 200ms));
        queue.after(-1h, note('a', 0ms));
        queue.after(std::chrono::hours::max(), [] { FAIL(); });
        queue.after(200'000us, note('c', 200ms));
        queue.after(600ms, note('e', 600ms));
    }
    done.wait();
    EXPECT_EQ(order, "abcde");
}

TEST(DispatchQueueDeathTest, AnEscapingExceptionEndsTheProgramWithItsReason) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto escape = [](const DispatchQueue& queue) {
        queue.barrierAsync([] { throw std::runtime_error("disk full"); });
        std::latch(1).wait();
    };
    EXPECT_DEATH(escape(DispatchQueue::serial("writer")), "writer.*disk full");
    EXPECT_DEATH(escape(DispatchQueue::concurrent("cache")), "cache.*disk full");
    EXPECT_DEATH(escape(DispatchQueue::global()), "qz.global.standard.*disk full");
}

}  // namespace
}  // namespace qz
