#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <random>
#include <stop_token>
#include <thread>
#include <vector>

#include "Platform/Dispatch/DispatchQueue.h"

namespace qz {
namespace {

constexpr std::size_t submitters = 4;
constexpr int operations = 4000;

/// A queue with a record that its blocks keep, from which every promise about order can be checked.
struct Watched {
    explicit Watched(bool isSerial)
        : queue(isSerial ? DispatchQueue::serial("stress") : DispatchQueue::concurrent("stress")),
          serial(isSerial) {}

    struct Submitted {  // by one thread, kept by that thread
        int blocks = 0;
        int barriers = 0;
    };

    void run(std::size_t submitter, Submitted before, bool isBarrier) {
        const bool alone = isBarrier || serial;
        const int others = running.fetch_add(alone ? 1000 : 1);
        faults += alone ? others != 0 : others >= 1000;
        faults += finishedBarriers[submitter] != before.barriers;
        if (alone) {
            faults += finishedBlocks[submitter] != before.blocks;
            ++generation;
        } else {
            sum += generation;  // a race with the line above unless barriers run alone
        }
        running.fetch_sub(alone ? 1000 : 1);
        ++finishedBlocks[submitter];
        finishedBarriers[submitter] += alone ? 1 : 0;
    }

    DispatchQueue queue;
    const bool serial;
    std::atomic<int> running = 0;
    std::atomic<int> faults = 0;
    std::atomic<long> sum = 0;
    long generation = 0;
    std::array<std::atomic<int>, submitters> finishedBlocks{};
    std::array<std::atomic<int>, submitters> finishedBarriers{};
};

class Submitter {
public:
    Submitter(std::size_t number, std::vector<std::unique_ptr<Watched>>& queues)
        : number_(number),
          random_(static_cast<unsigned>(number)),
          queues_(queues),
          submitted_(queues.size()) {}

    void run() {
        for (int i = 0; i < operations; ++i) {
            // Bursts of one operation, so that queues fill up and concurrent ones become biased.
            if (random_() % 64 == 0)
                burst_ = random_() % 6;
            const std::size_t which = random_() % queues_.size();
            submit(*queues_[which], submitted_[which], random_() % 4 == 0 ? random_() % 6 : burst_);
        }
    }

    long abandoned = 0;

private:
    void submit(Watched& watched, Watched::Submitted& submitted, unsigned operation) {
        const bool barrier = operation % 2 != 0;
        const auto block = [&watched, number = number_, before = submitted, barrier] {
            watched.run(number, before, barrier);
        };
        if (operation < 2)
            barrier ? watched.queue.barrierAsync(block) : watched.queue.async(block);
        else if (operation < 4)
            barrier ? watched.queue.barrierSync(block) : watched.queue.sync(block);
        else if (!submitUnlessStopped(watched, block, barrier))
            return;
        ++submitted.blocks;
        submitted.barriers += barrier || watched.serial ? 1 : 0;
    }

    template <class Block>
    bool submitUnlessStopped(Watched& watched, const Block& block, bool barrier) {
        std::stop_source source;
        if (random_() % 4 == 0)
            DispatchQueue::global(DispatchPriority::high).async([source]() mutable {
                source.request_stop();
            });
        const bool ran = barrier ? watched.queue.barrierSyncUntil(source.get_token(), block)
                                 : watched.queue.syncUntil(source.get_token(), block);
        abandoned += ran ? 0 : 1;
        return ran;
    }

    const std::size_t number_;
    std::minstd_rand random_;
    std::vector<std::unique_ptr<Watched>>& queues_;
    std::vector<Watched::Submitted> submitted_;
    unsigned burst_ = 0;
};

TEST(DispatchStress, EveryMixtureKeepsItsPromises) {
    std::vector<std::unique_ptr<Watched>> queues;
    for (const bool serial : {true, false, false})
        queues.push_back(std::make_unique<Watched>(serial));
    long abandoned = 0;
    {
        std::vector<Submitter> all;
        for (std::size_t i = 0; i < submitters; ++i)
            all.emplace_back(i, queues);
        {
            std::vector<std::jthread> threads;
            for (Submitter& submitter : all)
                threads.emplace_back([&submitter] { submitter.run(); });
        }
        for (const Submitter& submitter : all)
            abandoned += submitter.abandoned;
    }
    long finished = 0;
    for (const auto& watched : queues) {
        watched->queue.barrierSync([] {});
        EXPECT_EQ(watched->faults, 0);
        for (const auto& blocks : watched->finishedBlocks)
            finished += blocks;
    }
    EXPECT_EQ(finished + abandoned, static_cast<long>(submitters) * operations);
}

TEST(DispatchStress, ReadersSeeWholeWritesWhileTheQueueGainsAndLosesItsBias) {
    constexpr int writes = 60;
    constexpr long readsBetween = 1500;  // enough for threads that meet to bias the queue again
    const auto queue = DispatchQueue::concurrent("biased");
    std::array<int, 64> values{};  // equal except while a barrier writes
    std::atomic<int> torn = 0;
    std::atomic<long> reads = 0;
    std::atomic<bool> over = false;
    {
        std::vector<std::jthread> readers;
        for (int i = 0; i < 2; ++i)
            readers.emplace_back([&] {
                for (long own = 1; !over; ++own) {
                    queue.sync([&] {
                        if (values.front() != values.back())
                            torn = 1;
                    });
                    if (own % 100 == 0)
                        reads += 100;
                }
            });
        for (int i = 1; i <= writes; ++i) {
            const auto write = [&values, i] { std::fill(values.begin(), values.end(), i); };
            i % 2 != 0 ? queue.barrierSync(write) : queue.barrierAsync(write);
            for (const long target = reads + readsBetween; reads < target;)
                std::this_thread::yield();
        }
        over = true;
    }
    EXPECT_EQ(queue.sync([&] { return values.back(); }), writes);
    EXPECT_EQ(torn, 0);
}

TEST(DispatchStress, BarrierFindsReadersThatEnteredWhileTheQueueWasBiased) {
    const auto queue = DispatchQueue::concurrent("biased");
    for (int round = 0; round < 10; ++round) {
        std::latch together(2);
        std::latch inside(2);
        std::latch release(1);
        std::array<std::jthread, 2> readers;
        for (std::jthread& reader : readers)
            reader = std::jthread([&] {
                together.arrive_and_wait();
                for (int i = 0; i < 50'000; ++i)
                    queue.sync([] {});
                queue.sync([&] {
                    inside.count_down();
                    release.wait();
                });
            });
        inside.wait();
        std::stop_source source;
        DispatchQueue::global().after(std::chrono::milliseconds(2),
                                      [source]() mutable { source.request_stop(); });
        EXPECT_FALSE(queue.barrierSyncUntil(source.get_token(), [] {}));
        release.count_down();
        queue.barrierSync([] {});
    }
}

}  // namespace
}  // namespace qz
