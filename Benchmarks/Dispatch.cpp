// Queues beside what a program would otherwise take: locks for synchronous blocks, strands for asynchronous
// ones.
#include <benchmark/benchmark.h>
#include <malloc.h>

#define ASIO_STANDALONE
#include <algorithm>
#include <asio.hpp>
#include <atomic>
#include <chrono>
#include <latch>
#include <mutex>
#include <shared_mutex>
#include <thread>
#include <vector>

#include "Platform/Dispatch/DispatchQueue.h"

namespace {

using qz::DispatchQueue;

constexpr int blocksPerRound = 16384;
constexpr std::size_t manyQueues = 256;

// Synchronous blocks

// The C library and the queues leave out what a process of one thread does not need. The first run of each is
// that of such a process, the one with a bystander is that of any other.
void startBystander(const benchmark::State&) {
    static const bool started = [] {
        std::thread([] { std::this_thread::sleep_for(std::chrono::hours(1)); }).detach();
        return true;
    }();
    static_cast<void>(started);
}

void lockMutex(benchmark::State& state) {
    static std::mutex mutex;
    long counter = 0;
    for (auto _ : state) {
        const std::lock_guard lock(mutex);
        benchmark::DoNotOptimize(++counter);
    }
}

void lockShared(benchmark::State& state) {
    static std::shared_mutex mutex;
    long counter = 0;
    for (auto _ : state) {
        const std::shared_lock lock(mutex);
        benchmark::DoNotOptimize(++counter);
    }
}

void runSync(benchmark::State& state, const DispatchQueue& queue, bool barrier) {
    long counter = 0;
    const auto block = [&counter] { benchmark::DoNotOptimize(++counter); };
    for (auto _ : state)
        barrier ? queue.barrierSync(block) : queue.sync(block);
}

void syncSerial(benchmark::State& state) {
    static const auto queue = DispatchQueue::serial("serial");
    runSync(state, queue, false);
}

void syncConcurrent(benchmark::State& state) {
    static const auto queue = DispatchQueue::concurrent("concurrent");
    runSync(state, queue, false);
}

void barrierSyncConcurrent(benchmark::State& state) {
    static const auto queue = DispatchQueue::concurrent("barrier");
    runSync(state, queue, true);
}

// One barrier in sixteen blocks, from two threads: a cache that is written now and then.
void mixedConcurrent(benchmark::State& state) {
    static const auto queue = DispatchQueue::concurrent("mixed");
    long counter = 0;
    const auto block = [&counter] { benchmark::DoNotOptimize(++counter); };
    for (auto _ : state)
        counter % 16 == 0 ? queue.barrierSync(block) : queue.sync(block);
}

void mixedLocks(benchmark::State& state) {
    static std::shared_mutex mutex;
    long counter = 0;
    for (auto _ : state)
        if (counter % 16 == 0) {
            const std::lock_guard lock(mutex);
            benchmark::DoNotOptimize(++counter);
        } else {
            const std::shared_lock lock(mutex);
            benchmark::DoNotOptimize(++counter);
        }
}

// Each benchmark of one group runs before those of the next.
BENCHMARK(lockMutex);
BENCHMARK(syncSerial);
BENCHMARK(barrierSyncConcurrent);
BENCHMARK(lockShared);
BENCHMARK(syncConcurrent);
BENCHMARK(lockMutex)->Name("lockMutex/bystander")->Setup(startBystander);
BENCHMARK(syncSerial)->Name("syncSerial/bystander")->Setup(startBystander);
BENCHMARK(barrierSyncConcurrent)->Name("barrierSyncConcurrent/bystander")->Setup(startBystander);
BENCHMARK(lockShared)->Name("lockShared/bystander")->Setup(startBystander);
BENCHMARK(syncConcurrent)->Name("syncConcurrent/bystander")->Setup(startBystander);
BENCHMARK(lockMutex)->Threads(2)->UseRealTime();
BENCHMARK(syncSerial)->Threads(2)->UseRealTime();
BENCHMARK(lockShared)->Threads(2)->UseRealTime();
BENCHMARK(syncConcurrent)->Threads(2)->UseRealTime();
BENCHMARK(mixedLocks)->Threads(2)->UseRealTime();
BENCHMARK(mixedConcurrent)->Threads(2)->UseRealTime();

// Asynchronous blocks: a round submits many and waits for the last.

asio::thread_pool& pool() {
    static asio::thread_pool threads(std::max(2U, std::thread::hardware_concurrency()));
    return threads;
}

struct Strand {
    asio::strand<asio::thread_pool::executor_type> strand = asio::make_strand(pool());
    template <class F>
    void async(F&& block) const {
        asio::post(strand, std::forward<F>(block));
    }
};

template <class Queue>
void submitRounds(benchmark::State& state, const std::vector<Queue>& queues) {
    std::atomic<long> sum = 0;
    for (auto _ : state) {
        std::latch done(blocksPerRound);
        for (int i = 0; i < blocksPerRound; ++i)
            queues[static_cast<std::size_t>(i) % queues.size()].async([&sum, &done] {
                sum.store(sum.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
                done.count_down();
            });
        done.wait();
    }
    state.SetItemsProcessed(state.iterations() * blocksPerRound);
}

void asyncSerial(benchmark::State& state) {
    static const std::vector queues{DispatchQueue::serial("serial")};
    submitRounds(state, queues);
}
BENCHMARK(asyncSerial)->UseRealTime();
BENCHMARK(asyncSerial)->Threads(2)->UseRealTime();

void asyncStrand(benchmark::State& state) {
    static const std::vector<Strand> strands(1);
    submitRounds(state, strands);
}
BENCHMARK(asyncStrand)->UseRealTime();
BENCHMARK(asyncStrand)->Threads(2)->UseRealTime();

void asyncManySerial(benchmark::State& state) {
    static const std::vector queues = [] {
        std::vector<DispatchQueue> made;
        for (std::size_t i = 0; i < manyQueues; ++i)
            made.push_back(DispatchQueue::serial("one of many"));
        return made;
    }();
    submitRounds(state, queues);
}
BENCHMARK(asyncManySerial)->UseRealTime();

void asyncManyStrands(benchmark::State& state) {
    static const std::vector<Strand> strands(manyQueues);
    submitRounds(state, strands);
}
BENCHMARK(asyncManyStrands)->UseRealTime();

void asyncConcurrent(benchmark::State& state) {
    static const std::vector queues{DispatchQueue::concurrent("concurrent")};
    submitRounds(state, queues);
}
BENCHMARK(asyncConcurrent)->UseRealTime();

void asyncGlobal(benchmark::State& state) {
    static const std::vector queues{DispatchQueue::global()};
    submitRounds(state, queues);
}
BENCHMARK(asyncGlobal)->UseRealTime();

struct Pool {
    template <class F>
    void async(F&& block) const {
        asio::post(pool(), std::forward<F>(block));
    }
};

void asyncPool(benchmark::State& state) {
    static const std::vector<Pool> pools(1);
    submitRounds(state, pools);
}
BENCHMARK(asyncPool)->UseRealTime();

// One block there and back: what waiting for another thread costs.
void asyncAndWait(benchmark::State& state) {
    static const auto queue = DispatchQueue::serial("there and back");
    for (auto _ : state) {
        std::latch done(1);
        queue.async([&done] { done.count_down(); });
        done.wait();
    }
}
BENCHMARK(asyncAndWait)->UseRealTime();

void strandAndWait(benchmark::State& state) {
    static const Strand strand;
    for (auto _ : state) {
        std::latch done(1);
        strand.async([&done] { done.count_down(); });
        done.wait();
    }
}
BENCHMARK(strandAndWait)->UseRealTime();

// Memory

template <auto make>
void createAndDestroy(benchmark::State& state) {
    constexpr std::size_t count = 1000;
    const auto inUse = [] { return static_cast<double>(mallinfo2().uordblks); };
    std::vector<DispatchQueue> queues;
    queues.reserve(count);
    const double before = inUse();
    for (std::size_t i = 0; i < count; ++i)
        queues.push_back(make("memory"));
    state.counters["bytes"] = (inUse() - before) / count;
    for (auto _ : state)
        benchmark::DoNotOptimize(make("memory"));
}
BENCHMARK(createAndDestroy<&DispatchQueue::serial>)->Name("createSerial");
BENCHMARK(createAndDestroy<&DispatchQueue::concurrent>)->Name("createConcurrent");

}  // namespace
