// Operations by themselves: their states, dependencies, ends and announcements.
#include <latch>

#include "Platform/Dispatch/NSBlockOperation.h"
#include "Platform/Dispatch/NSOperation.h"
#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "QZUtils/Concurrency/QZConcurrentOperation.h"
#include "Support.h"

namespace qz::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Writes down what an operation announces, and in which state it is then.
class Diary : public NSObject {
    QZ_OBJECT(Diary, NSObject)
public:
    void follow(const Ref<NSOperation>& operation) {
        for (const auto* key : {"isExecuting", "isFinished", "isReady", "isCancelled"}) {
            addObserver(operation, *this, key, NSKeyValueObservingOptions::Prior);
        }
    }
    void observe(std::string_view keyPath, const id& object, const Ref<NSDictionary>& change, void*) {
        const auto operation = object.as<NSOperation>();
        const bool isPrior = bool(change->objectForKey(NSKeyValueChangeNotificationIsPriorKey));
        entries.push_back((isPrior ? "will " : "did ") + std::string(keyPath) +
                          (operation->isExecuting() ? " E" : "") + (operation->isFinished() ? " F" : ""));
    }
    std::vector<std::string> take() { return std::exchange(entries, {}); }

    std::vector<std::string> entries;

protected:
    Diary() = default;
};
QZ_DEFINE_CLASS(Diary, cls) {
    cls.method("observeValueForKeyPath:ofObject:change:context:", &Diary::observe);
}

/// Counts how often its work is begun, which somebody else ends.
class Fetch : public QZConcurrentOperation {
    QZ_OBJECT(Fetch, QZConcurrentOperation)
public:
    void main() override { ++begun; }
    int begun = 0;

protected:
    Fetch() = default;
};
QZ_DEFINE_CLASS(Fetch, cls) {}

TEST(Operation, RunsOnceAndAnnouncesIt) {
    int runs = 0;
    const auto operation = NSBlockOperation::blockOperationWithBlock([&] { ++runs; });
    const auto diary = make<Diary>();
    diary->follow(operation);
    operation->start();
    operation->start();
    operation->cancel();
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(operation->isCancelled());
    EXPECT_THAT(diary->entries, ElementsAre("will isExecuting", "did isExecuting E", "will isExecuting E",
                                            "will isFinished E", "did isFinished F", "did isExecuting F"));
}

TEST(Operation, FinishesWithoutWorkWhenItWasCancelled) {
    const auto other = NSOperation::init();
    const auto operation = NSBlockOperation::blockOperationWithBlock([] { FAIL(); });
    operation->addDependency(other);
    const auto diary = make<Diary>();
    diary->follow(operation);
    EXPECT_EQ(exceptionName([&] { operation->start(); }), NSInvalidArgumentException);
    operation->cancel();
    operation->cancel();
    EXPECT_TRUE(operation->isReady());
    operation->start();
    EXPECT_THAT(diary->entries, ElementsAre("will isReady", "will isCancelled", "did isCancelled",
                                            "did isReady", "will isFinished", "did isFinished F"));
}

TEST(Operation, FinishesWhenItsWorkThrows) {
    const auto operation = NSBlockOperation::blockOperationWithBlock([] { raise("Ink", "empty"); });
    EXPECT_EQ(exceptionName([&] { operation->start(); }), "Ink");
    EXPECT_TRUE(operation->isFinished());
    EXPECT_EQ(exceptionName([&] { operation->addExecutionBlock([] {}); }), NSInvalidArgumentException);
}

TEST(Operation, RunsSeveralBlocksAtTheSameTime) {
    std::latch bothRun(2);
    const auto operation = NSBlockOperation::blockOperationWithBlock([&] { bothRun.arrive_and_wait(); });
    operation->addExecutionBlock([&] { bothRun.arrive_and_wait(); });
    operation->start();
    EXPECT_TRUE(operation->isFinished());
}

TEST(Operation, IsReadyWhenItsDependenciesHaveFinished) {
    const auto operation = NSOperation::init();
    const auto plain = NSOperation::init();
    const auto fetch = Fetch::init<Fetch>();
    const auto before = NSOperation::init();
    before->start();
    for (const Ref<NSOperation>& dependency : std::vector<Ref<NSOperation>>{plain, fetch, before, plain}) {
        operation->addDependency(dependency);
    }
    EXPECT_THAT(operation->dependencies(), ElementsAre(plain, fetch, before));
    const auto diary = make<Diary>();
    diary->follow(operation);
    plain->start();
    fetch->start();
    EXPECT_FALSE(operation->isReady());
    EXPECT_THAT(diary->take(), IsEmpty());
    fetch->done();
    fetch->done();
    EXPECT_TRUE(operation->isReady());
    EXPECT_THAT(diary->take(), ElementsAre("will isReady", "did isReady"));

    const auto never = NSOperation::init();
    operation->addDependency(never);
    EXPECT_FALSE(operation->isReady());
    operation->removeDependency(never);
    EXPECT_TRUE(operation->isReady());
    EXPECT_EQ(exceptionName([&] { operation->addDependency(operation); }), NSInvalidArgumentException);
    EXPECT_EQ(exceptionName([&] { operation->addDependency(nullptr); }), NSInvalidArgumentException);
}

TEST(Operation, CallsItsCompletionBlockOnceAfterItsEnd) {
    const auto fetch = Fetch::init<Fetch>();
    const auto plain = NSOperation::init();
    std::atomic<int> calls{0};
    std::latch called(2);
    for (const Ref<NSOperation>& operation : {Ref<NSOperation>(fetch), plain}) {
        operation->setCompletionBlock([&, operation = operation.get()] {
            EXPECT_TRUE(operation->isFinished());
            ++calls;
            called.count_down();
        });
        operation->start();
    }
    fetch->cancel();
    fetch->done();  // announces its end again
    called.wait();
    fetch->setCompletionBlock([&] { ++calls; });  // once is once
    std::latch calledLater(1);
    const auto finished = NSOperation::init();
    finished->start();
    finished->setCompletionBlock([&] { calledLater.count_down(); });
    calledLater.wait();
    EXPECT_EQ(calls, 2);
}

TEST(Operation, CanBeAwaited) {
    const auto fetch = Fetch::init<Fetch>();
    std::stop_source stop;
    std::latch waiting(1);
    std::jthread impatient([&] {
        waiting.count_down();
        EXPECT_FALSE(fetch->waitUntilFinished(stop.get_token()));
    });
    std::jthread patient([&] { fetch->waitUntilFinished(); });
    waiting.wait();
    stop.request_stop();
    impatient.join();
    fetch->start();
    fetch->done();
    patient.join();
    EXPECT_TRUE(fetch->waitUntilFinished({}));
}

TEST(Operation, ReleasesLongChainsOfDependencies) {
    auto last = NSOperation::init();
    for (int length = 0; length < 100000; ++length) {
        const auto next = NSOperation::init();
        next->addDependency(last);
        last = next;
    }
    std::weak_ptr<NSOperation> first = last->dependencies().front();
    last = nullptr;
    EXPECT_TRUE(first.expired());
}

TEST(ConcurrentOperation, FollowsItsLifeCycle) {
    const auto fetch = Fetch::init<Fetch>();
    const auto diary = make<Diary>();
    diary->follow(fetch);
    EXPECT_TRUE(fetch->isConcurrent());
    fetch->done();
    EXPECT_THAT(diary->take(), IsEmpty());  // nothing has begun
    fetch->start();
    EXPECT_TRUE(fetch->operationStarted());
    EXPECT_EQ(fetch->begun, 1);
    EXPECT_THAT(diary->take(), ElementsAre("will isExecuting", "did isExecuting E"));
    fetch->done();
    EXPECT_THAT(diary->take(), ElementsAre("will isExecuting E", "will isFinished E", "did isFinished F",
                                           "did isExecuting F"));
    fetch->start();  // calls done() again
    EXPECT_THAT(diary->take(), ElementsAre("will isExecuting F", "will isFinished F", "did isFinished F",
                                           "did isExecuting F"));
    EXPECT_EQ(fetch->begun, 1);
}

TEST(ConcurrentOperation, NeverFinishesWhenItWasCancelledBeforeItBegan) {
    const auto fetch = Fetch::init<Fetch>();
    fetch->cancel();
    EXPECT_FALSE(fetch->isFinished());
    fetch->start();
    EXPECT_FALSE(fetch->isFinished() || fetch->isExecuting() || fetch->operationStarted());
    EXPECT_EQ(fetch->begun, 0);

    const auto begun = Fetch::init<Fetch>();
    begun->start();
    begun->cancel();
    EXPECT_TRUE(begun->isFinished() && begun->isCancelled() && !begun->isExecuting());
}

TEST(ConcurrentOperation, CanBeCancelledWhileItStarts) {
    for (int round = 0; round < 300; ++round) {
        const auto fetch = Fetch::init<Fetch>();
        std::jthread canceller([&] { fetch->cancel(); });
        fetch->start();
        canceller.join();
        fetch->done();
        EXPECT_TRUE(fetch->isCancelled());
        EXPECT_FALSE(fetch->isExecuting());
        EXPECT_EQ(fetch->isFinished(), fetch->operationStarted());
    }
}

}  // namespace

}  // namespace qz::test
