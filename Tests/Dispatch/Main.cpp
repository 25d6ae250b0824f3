#include <glib.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/MainThread.h"

namespace qz {
namespace {

using namespace std::chrono_literals;

void iterateUntil(const std::atomic<bool>& done) {
    while (!done)
        g_main_context_iteration(nullptr, TRUE);
}

TEST(MainQueue, RunsBlocksOfOtherThreadsInOrderOnTheMainThread) {
    const auto main = DispatchQueue::main();
    std::string order;
    std::atomic<bool> done = false;
    std::jthread other([&] {
        EXPECT_FALSE(isMainThread());
        main.async([&] { order += isMainThread() ? 'a' : '!'; });
        EXPECT_TRUE(main.sync([&] {
            order += 'b';
            return isMainThread();
        }));
        EXPECT_THROW(main.sync([] { throw std::range_error("on its way back"); }), std::range_error);
        main.after(1ms, [&] {
            order += 'c';
            done = true;
        });
    });
    iterateUntil(done);
    EXPECT_EQ(order, "abc");
}

TEST(MainQueue, SyncOnTheMainThreadRunsEarlierBlocksFirst) {
    const auto main = DispatchQueue::main();
    std::string order;
    main.async([&] { order += 'a'; });
    main.sync([&] { order += 'b'; });
    EXPECT_EQ(order, "ab");
}

TEST(MainQueue, BlocksDoNotNestInABlockThatIterates) {
    const auto main = DispatchQueue::main();
    std::string order;
    std::atomic<bool> done = false;
    main.async([&] {
        main.async([&] {
            order += 'b';
            done = true;
        });
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        order += 'a';
    });
    iterateUntil(done);
    EXPECT_EQ(order, "ab");
}

TEST(MainQueue, AThreadThatIteratesTheDefaultContextDoesNotRunItsBlocks) {
    const auto main = DispatchQueue::main();
    std::atomic<bool> done = false;
    std::atomic<bool> onMain = false;
    main.async([&] {
        onMain = isMainThread();
        done = true;
    });
    std::jthread([] {
        for (int i = 0; i < 5; ++i)
            g_main_context_iteration(nullptr, TRUE);
    }).join();
    EXPECT_FALSE(done);
    iterateUntil(done);
    EXPECT_TRUE(onMain);
}

TEST(MainQueue, StopLetsAWaiterOutWhileTheMainThreadIsBusy) {
    const auto main = DispatchQueue::main();
    std::stop_source source;
    bool ran = false;
    bool answer = true;
    std::jthread waiter([&] { answer = main.syncUntil(source.get_token(), [&] { ran = true; }); });
    source.request_stop();
    waiter.join();
    main.sync([] {});
    EXPECT_FALSE(answer);
    EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace qz
