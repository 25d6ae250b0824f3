// Operation queues: order, limits, asynchronous operations and ends.
#include <algorithm>
#include <latch>
#include <limits>
#include <random>

#include "Platform/Dispatch/MainThread.h"
#include "Platform/Dispatch/NSBlockOperation.h"
#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "QZUtils/Concurrency/QZConcurrentOperation.h"
#include "QZUtils/Concurrency/QZLIFOOperationQueue.h"
#include "Support.h"

namespace qz::test {

namespace {

using testing::ElementsAre;

/// Begins when it is started and ends when it is told to.
class Upload : public QZConcurrentOperation {
    QZ_OBJECT(Upload, QZConcurrentOperation)
public:
    std::latch begun{1};
    void main() override { begun.count_down(); }

protected:
    Upload() = default;
};
QZ_DEFINE_CLASS(Upload, cls) {}

/// Is ready when somebody opens it.
class Gated : public NSOperation {
    QZ_OBJECT(Gated, NSOperation)
public:
    bool isReady() const override { return open_ && Super::isReady(); }
    void open() {
        changing(*this, "isReady", [&] { open_ = true; });
    }

protected:
    Gated() = default;

private:
    std::atomic<bool> open_{false};
};
QZ_DEFINE_CLASS(Gated, cls) {}

/// A queue that does nothing before it is resumed, and then one thing at a time.
template <class Queue = NSOperationQueue>
Ref<Queue> pausedQueue() {
    auto queue = Queue::template init<Queue>();
    queue->setMaxConcurrentOperationCount(1);
    queue->setSuspended(true);
    return queue;
}

TEST(OperationQueue, RunsTenThousandOperationsInTheirOrder) {
    constexpr std::size_t count = 10000;
    constexpr int limit = 3;
    std::mt19937 random(7);
    const auto queue = NSOperationQueue::init();
    queue->setMaxConcurrentOperationCount(limit);
    std::vector<Ref<NSBlockOperation>> operations;
    std::vector<std::vector<std::size_t>> dependencies(count);
    std::vector<std::atomic<int>> runs(count);
    std::atomic<int> tooEarly{0};
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    for (std::size_t index = 0; index < count; ++index) {
        operations.push_back(NSBlockOperation::blockOperationWithBlock([&, index] {
            const int now = ++running;
            for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
            }
            for (const auto dependency : dependencies[index]) {
                tooEarly += runs[dependency] == 1 ? 0 : 1;
            }
            ++runs[index];
            --running;
        }));
        operations.back()->setQueuePriority(static_cast<std::int64_t>(random() % 20) - 10);
        for (std::size_t edge = random() % 3; index > 0 && edge > 0; --edge) {
            const auto dependency = random() % index;
            dependencies[index].push_back(dependency);
            operations[index]->addDependency(operations[dependency]);
        }
    }
    // Added in any order, from two threads, while the first already run.
    std::ranges::shuffle(operations, random);
    std::jthread adder([&] {
        for (std::size_t index = 0; index < count; index += 2) {
            queue->addOperation(operations[index]);
        }
    });
    for (std::size_t index = 1; index < count; index += 2) {
        queue->addOperation(operations[index]);
    }
    adder.join();
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(std::ranges::all_of(runs, [](const auto& times) { return times == 1; }));
    EXPECT_EQ(tooEarly, 0);
    EXPECT_LE(most, limit);
    EXPECT_EQ(queue->operationCount(), 0U);
}

TEST(OperationQueue, TakesTheHighestPriorityThenTheOldest) {
    constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
    const std::int64_t priorities[] = {0, 4, -8, 5, 0, highest, -10, 8, 4, -highest, 3, 1000};
    const auto queue = pausedQueue();
    std::vector<std::pair<std::int64_t, std::size_t>> order;  // priority and position
    std::vector<std::pair<std::int64_t, std::size_t>> expected;
    std::vector<Ref<NSOperation>> operations;
    for (std::size_t index = 0; index < std::size(priorities); ++index) {
        operations.push_back(NSBlockOperation::blockOperationWithBlock(
            [&, index] { order.emplace_back(operations[index]->queuePriority(), index); }));
        operations.back()->setQueuePriority(priorities[index]);
        EXPECT_EQ(operations.back()->queuePriority(), priorities[index]);
        queue->addOperation(operations.back());
        expected.emplace_back(priorities[index], index);
    }
    EXPECT_THAT(queue->operations(), testing::ElementsAreArray(operations));
    operations[2]->setQueuePriority(expected[2].first = 6);  // while it waits
    operations[5]->setQueuePriority(expected[5].first = -9);
    operations[0]->setQueuePriority(expected[0].first = 4);
    std::ranges::sort(expected, [](const auto& left, const auto& right) {
        return left.first != right.first ? left.first > right.first : left.second < right.second;
    });
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(order, expected);
}

TEST(OperationQueue, AnAsynchronousOperationHoldsOnePlaceUntilItsEnd) {
    const auto queue = pausedQueue();
    std::vector<Ref<Upload>> uploads;
    for (int index = 0; index < 3; ++index) {
        uploads.push_back(Upload::init<Upload>());
        queue->addOperation(uploads.back());
    }
    queue->setSuspended(false);
    uploads[0]->begun.wait();
    uploads[0]->done();
    uploads[0]->done();  // must not free a second place
    uploads[1]->begun.wait();
    uploads[0]->done();
    EXPECT_FALSE(uploads[2]->begun.try_wait());
    EXPECT_THAT(queue->operations(), ElementsAre(uploads[1], uploads[2]));
    uploads[1]->cancel();
    uploads[2]->begun.wait();
    uploads[2]->done();
    queue->waitUntilAllOperationsAreFinished();
}

TEST(OperationQueue, KeepsAnOperationThatNeverFinishes) {
    auto queue = pausedQueue();
    const auto never = Upload::init<Upload>();
    queue->addOperation(never);
    never->cancel();
    const auto next = NSBlockOperation::blockOperationWithBlock([] {});
    queue->addOperation(next);
    queue->setSuspended(false);
    std::stop_source stop;
    std::jthread waiting([&] { EXPECT_FALSE(queue->waitUntilAllOperationsAreFinished(stop.get_token())); });
    queue->setMaxConcurrentOperationCount(2);
    next->waitUntilFinished();
    queue->setMaxConcurrentOperationCount(1);
    const auto starved = NSBlockOperation::blockOperationWithBlock([] { FAIL() << "its place was free"; });
    queue->addOperation(starved);
    stop.request_stop();
    waiting.join();
    EXPECT_FALSE(never->isFinished());
    EXPECT_THAT(queue->operations(), testing::Contains(Ref<NSOperation>(never)));
    queue->setSuspended(true);  // so that what waits goes with the queue
    queue = nullptr;
    EXPECT_EQ(starved.use_count(), 1);
}

TEST(OperationQueue, StartsCancelledOperationsSoThatTheyFinish) {
    const auto queue = pausedQueue();
    const auto first = NSBlockOperation::blockOperationWithBlock([] { FAIL(); });
    const auto second = NSBlockOperation::blockOperationWithBlock([] { FAIL(); });
    second->addDependency(NSOperation::init());  // which nobody will ever start
    queue->addOperations({first, second}, false);
    queue->cancelAllOperations();
    EXPECT_EQ(queue->operationCount(), 2U);
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(first->isFinished() && second->isFinished());
}

TEST(OperationQueue, NoticesWhatHappensOutsideIt) {
    const auto queue = pausedQueue();
    const auto gated = Gated::init<Gated>();
    const auto byHand = NSBlockOperation::blockOperationWithBlock([] {});
    const auto upload = Upload::init<Upload>();
    const auto late = NSBlockOperation::blockOperationWithBlock([&] { EXPECT_TRUE(upload->isFinished()); });
    queue->addOperations({gated, byHand, upload, late}, false);
    byHand->start();
    upload->start();
    late->addDependency(upload);  // after it had become ready
    queue->setSuspended(false);
    upload->done();
    late->waitUntilFinished();
    EXPECT_FALSE(gated->isExecuting() || gated->isFinished());
    gated->open();
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(gated->isFinished());
}

TEST(OperationQueue, GoesOnWhenNobodyHoldsIt) {
    std::latch done(3);
    const auto upload = Upload::init<Upload>();
    std::weak_ptr<NSOperationQueue> gone;
    {
        const auto queue = NSOperationQueue::init();
        gone = queue;
        queue->setMaxConcurrentOperationCount(1);
        queue->addOperation(upload);
        for (int index = 0; index < 3; ++index) {
            queue->addOperationWithBlock([&] { done.count_down(); });
        }
    }
    upload->begun.wait();
    EXPECT_TRUE(gone.expired());
    upload->done();
    done.wait();
}

TEST(OperationQueue, RunsOperationsOfTheMainQueueOnTheMainThread) {
    const auto main = NSOperationQueue::mainQueue();
    EXPECT_EQ(NSOperationQueue::currentQueue(), main);
    int runs = 0;
    const auto background = NSOperationQueue::init();
    background->addOperationWithBlock([&, background] {
        EXPECT_EQ(NSOperationQueue::currentQueue(), background);
        for (int index = 0; index < 100; ++index) {
            main->addOperationWithBlock([&, index] {
                EXPECT_TRUE(isMainThread());
                EXPECT_EQ(NSOperationQueue::currentQueue(), main);
                EXPECT_EQ(runs++, index);
            });
        }
    });
    EXPECT_TRUE(await([&] { return runs == 100; }));
    main->setSuspended(true);
    main->setMaxConcurrentOperationCount(5);
    EXPECT_FALSE(main->isSuspended());
    EXPECT_EQ(main->maxConcurrentOperationCount(), 1);
    std::jthread([] { EXPECT_EQ(NSOperationQueue::currentQueue(), nullptr); }).join();
}

TEST(OperationQueue, RefusesOperationsThatCannotBeStarted) {
    const auto queue = pausedQueue();
    const auto added = NSOperation::init();
    queue->addOperation(added);
    const auto finished = NSOperation::init();
    finished->start();
    const auto executing = Upload::init<Upload>();
    executing->start();
    for (const Ref<NSOperation>& operation :
         {added, finished, Ref<NSOperation>(executing), Ref<NSOperation>()}) {
        EXPECT_EQ(exceptionName([&] { NSOperationQueue::init()->addOperation(operation); }),
                  NSInvalidArgumentException);
    }
    EXPECT_EQ(exceptionName([&] { queue->setMaxConcurrentOperationCount(-2); }), NSInvalidArgumentException);
    EXPECT_EQ(exceptionName([&] { queue->addOperationWithBlock(nullptr); }), NSInvalidArgumentException);
    EXPECT_EQ(queue->operationCount(), 1U);
}

TEST(OperationQueueDeathTest, EndsTheProgramForAnException) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            const auto queue = NSOperationQueue::init();
            queue->setName("printing");
            queue->addOperationWithBlock([] { throw std::runtime_error("paper jam"); });
            queue->waitUntilAllOperationsAreFinished();
        },
        "printing.*paper jam");
}

TEST(LIFOOperationQueue, PushesWhatWaitsDown) {
    const auto queue = pausedQueue<QZLIFOOperationQueue>();
    std::vector<int> order;
    std::vector<Ref<NSOperation>> operations;
    const auto add = [&] {
        operations.push_back(NSBlockOperation::blockOperationWithBlock(
            [&, index = static_cast<int>(operations.size())] { order.push_back(index); }));
        queue->addOperation(operations.back());
    };
    const auto priorities = [&] {
        std::vector<std::int64_t> list;
        std::ranges::transform(operations, std::back_inserter(list), &NSOperation::queuePriority);
        return list;
    };
    add(), add(), add();
    EXPECT_THAT(priorities(), ElementsAre(6, 7, 8));
    operations[0]->setQueuePriority(0);
    operations[1]->setQueuePriority(1);
    operations[2]->setQueuePriority(std::numeric_limits<std::int64_t>::min() + 3);
    add();
    EXPECT_THAT(priorities(), ElementsAre(-5, 0, std::numeric_limits<std::int64_t>::min(), 8));
    add();
    EXPECT_THAT(priorities(), ElementsAre(-10, -5, std::numeric_limits<std::int64_t>::min(), 7, 8));
    queue->addOperationWithBlock([&] { order.push_back(5); });
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_THAT(order, ElementsAre(5, 4, 3, 1, 0, 2));
}

TEST(LIFOOperationQueue, LeavesWhatExecutesAlone) {
    const auto queue = QZLIFOOperationQueue::init();
    queue->setMaxConcurrentOperationCount(1);
    const auto upload = Upload::init<Upload>();
    queue->addOperation(upload);
    upload->begun.wait();
    std::vector<int> order;
    for (int index = 0; index < 100; ++index) {
        queue->addOperationWithBlock([&, index] { order.push_back(index); });
    }
    EXPECT_EQ(upload->queuePriority(), 8);
    upload->done();
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(std::ranges::is_sorted(order, std::greater()));
    EXPECT_EQ(order.size(), 100U);
}

}  // namespace

}  // namespace qz::test
