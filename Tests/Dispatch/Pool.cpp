#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Dispatch/DispatchQueue.h"

namespace qz {
namespace {

unsigned poolThreads() {
    unsigned count = 0;
    std::error_code ended;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", ended)) {
        std::string name;
        std::ifstream(task.path() / "comm") >> name;
        count += name == "qz-dispatch" ? 1 : 0;
    }
    return count;
}

TEST(ThreadPool, ChainOfQueuesThatWaitForTheNextFinishes) {
    constexpr std::size_t length = 64;
    std::vector<DispatchQueue> queues;
    for (std::size_t i = 0; i <= length; ++i)
        queues.push_back(DispatchQueue::serial("link"));
    // Each link waits behind a block that waits for the next link, the last one for the test.
    std::latch release(1);
    queues[length].async([&] { release.wait(); });
    std::atomic<int> passed = 0;
    for (std::size_t i = 0; i < length; ++i)
        queues[i].async([&, i] { queues[i + 1].sync([&] { ++passed; }); });
    release.count_down();
    for (const auto& queue : queues)
        queue.sync([] {});
    EXPECT_EQ(passed, length);
}

TEST(ThreadPool, GrowsWhileItsThreadsWaitElsewhereAndShrinksAfterwards) {
    constexpr unsigned blocks = 24;
    const auto together = std::make_shared<std::latch>(blocks + 1);  // the last to wake may come late
    for (unsigned i = 0; i < blocks; ++i)
        DispatchQueue::global().async([together] { together->arrive_and_wait(); });
    together->arrive_and_wait();
    EXPECT_GE(poolThreads(), blocks);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (poolThreads() > 2 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_LE(poolThreads(), 2U);
}

TEST(ThreadPool, GrowsForThreadsThatSpinUntilAWaitingBlockHelps) {
    const unsigned blocks = std::max(2U, std::thread::hardware_concurrency()) + 1;
    const auto queue = DispatchQueue::concurrent("spin");
    std::atomic<unsigned> there = 0;
    for (unsigned i = 0; i < blocks; ++i)
        queue.async([&] {
            ++there;
            while (there < blocks)
                std::this_thread::yield();
        });
    queue.barrierSync([] {});
    EXPECT_EQ(there, blocks);
}

TEST(ThreadPool, ComputingThreadsAreNotTakenForBlockedOnes) {
    // Each block computes for several looks of the monitor while others wait.
    std::atomic<unsigned> running = 0;
    std::atomic<unsigned> most = 0;
    constexpr unsigned blocks = 12;
    std::latch done(blocks);
    for (unsigned i = 0; i < blocks; ++i)
        DispatchQueue::global().async([&] {
            const unsigned now = ++running;
            for (unsigned before = most; before < now && !most.compare_exchange_weak(before, now);) {
            }
            const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(20);
            while (std::chrono::steady_clock::now() < end) {
            }
            --running;
            done.count_down();
        });
    done.wait();
    EXPECT_LE(most, std::max(2U, std::thread::hardware_concurrency()) + 1);
}

TEST(ThreadPool, LowPriorityRunsWhileHighPriorityNeverEnds) {
    const auto high = DispatchQueue::global(DispatchPriority::high);
    constexpr int chains = 8;
    std::atomic<bool> lowRan = false;
    std::atomic<int> turns = 0;
    std::latch ended(chains);
    std::function<void()> again = [&] {
        if (++turns > 1'000'000 || lowRan)
            ended.count_down();
        else
            high.async(std::ref(again));
    };
    for (int i = 0; i < chains; ++i)
        high.async(std::ref(again));
    DispatchQueue::global(DispatchPriority::background).async([&] { lowRan = true; });
    ended.wait();
    EXPECT_TRUE(lowRan);
}

}  // namespace
}  // namespace qz
