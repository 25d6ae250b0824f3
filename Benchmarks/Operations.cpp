// What operations, timers and delayed performs cost beside a plain thread pool and its timers (Asio).
#include <benchmark/benchmark.h>

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/thread_pool.hpp>
#include <atomic>
#include <random>
#include <thread>

#include "Platform/Dispatch/DelayedPerforming.h"
#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/NSBlockOperation.h"
#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Dispatch/NSTimer.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Concurrency/QZDebouncer.h"

namespace qz {
namespace {

constexpr int batch = 10000;

void countItems(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * batch);
}

void operations(benchmark::State& state) {
    std::atomic<int> sum{0};
    for (auto _ : state) {
        const auto queue = NSOperationQueue::init();
        for (int index = 0; index < batch; ++index) {
            queue->addOperationWithBlock([&] { ++sum; });
        }
        queue->waitUntilAllOperationsAreFinished();
    }
    countItems(state);
}
BENCHMARK(operations)->UseRealTime();

void operationsOfManyPriorities(benchmark::State& state) {
    std::atomic<int> sum{0};
    for (auto _ : state) {
        std::mt19937 random(1);
        const auto queue = NSOperationQueue::init();
        queue->setSuspended(true);
        for (int index = 0; index < batch; ++index) {
            const auto operation = NSBlockOperation::blockOperationWithBlock([&] { ++sum; });
            operation->setQueuePriority(static_cast<std::int64_t>(random() % 17) - 8);
            queue->addOperation(operation);
        }
        queue->setSuspended(false);
        queue->waitUntilAllOperationsAreFinished();
    }
    countItems(state);
}
BENCHMARK(operationsOfManyPriorities)->UseRealTime();

void operationsThatDependOnEachOther(benchmark::State& state) {
    std::atomic<int> sum{0};
    for (auto _ : state) {
        const auto queue = NSOperationQueue::init();
        Ref<NSOperation> last;
        for (int index = 0; index < batch; ++index) {
            const auto operation = NSBlockOperation::blockOperationWithBlock([&] { ++sum; });
            if (last) {
                operation->addDependency(last);
            }
            queue->addOperation(operation);
            last = operation;
        }
        queue->waitUntilAllOperationsAreFinished();
    }
    countItems(state);
}
BENCHMARK(operationsThatDependOnEachOther)->UseRealTime();

void blocksOfAGlobalQueue(benchmark::State& state) {
    std::atomic<int> sum{0};
    for (auto _ : state) {
        std::atomic<int> left{batch};
        for (int index = 0; index < batch; ++index) {
            DispatchQueue::global().async([&] {
                ++sum;
                if (--left == 0) {
                    left.notify_one();
                }
            });
        }
        for (int seen = left; seen != 0; seen = left) {
            left.wait(seen);
        }
    }
    countItems(state);
}
BENCHMARK(blocksOfAGlobalQueue)->UseRealTime();

void asioThreadPool(benchmark::State& state) {
    std::atomic<int> sum{0};
    for (auto _ : state) {
        asio::thread_pool pool(std::thread::hardware_concurrency());
        for (int index = 0; index < batch; ++index) {
            asio::post(pool, [&] { ++sum; });
        }
        pool.join();
    }
    countItems(state);
}
BENCHMARK(asioThreadPool)->UseRealTime();

/// Setting and cancelling a timer while `range` others wait.
void timerSetAndCancelled(benchmark::State& state) {
    std::vector<Ref<NSTimer>> others;
    for (int index = 0; index < state.range(0); ++index) {
        others.push_back(NSTimer::scheduledTimerWithTimeIntervalBlock(1000 + index, false, [](auto&) {}));
    }
    for (auto _ : state) {
        NSTimer::scheduledTimerWithTimeIntervalBlock(500, false, [](auto&) {})->invalidate();
    }
    for (const auto& timer : others) {
        timer->invalidate();
    }
}
BENCHMARK(timerSetAndCancelled)->Arg(0)->Arg(1000);

void asioTimerSetAndCancelled(benchmark::State& state) {
    asio::io_context context;
    std::vector<std::unique_ptr<asio::steady_timer>> others;
    for (int index = 0; index < state.range(0); ++index) {
        others.push_back(std::make_unique<asio::steady_timer>(context, std::chrono::seconds(1000 + index)));
        others.back()->async_wait([](auto) {});
    }
    for (auto _ : state) {
        asio::steady_timer timer(context, std::chrono::seconds(500));
        timer.async_wait([](auto) {});
        timer.cancel();
        context.poll();
    }
}
BENCHMARK(asioTimerSetAndCancelled)->Arg(0)->Arg(1000);

void debouncedCall(benchmark::State& state) {
    const auto debouncer = QZDebouncer::debouncerWithDelay(500, [] {});
    for (auto _ : state) {
        debouncer->call();
    }
    debouncer->cancel();
}
BENCHMARK(debouncedCall);

void coalescedPerform(benchmark::State& state) {
    const auto queue = NSOperationQueue::init();
    for (auto _ : state) {
        cancelPreviousPerformRequests(queue, "cancelAllOperations"_sel, nullptr);
        performSelectorAfterDelay(queue, "cancelAllOperations"_sel, nullptr, 500);
    }
    cancelPreviousPerformRequests(queue);
}
BENCHMARK(coalescedPerform);

/// Blocks posted to the loop by its own thread, and run.
void runLoopBlocks(benchmark::State& state) {
    const auto loop = NSRunLoop::currentRunLoop();
    int left = 0;
    for (auto _ : state) {
        left = batch;
        for (int index = 0; index < batch; ++index) {
            loop->perform([&] { --left; });
        }
        while (left > 0) {
            loop->runOnce(false);
        }
    }
    countItems(state);
}
BENCHMARK(runLoopBlocks);

}  // namespace
}  // namespace qz
