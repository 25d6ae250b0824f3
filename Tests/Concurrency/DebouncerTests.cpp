// The debouncer: one call, a while after the last request.
#include <latch>

#include "QZUtils/Concurrency/QZDebouncer.h"
#include "Support.h"

namespace qz::test {

namespace {

using std::chrono::duration;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(Debouncer, CallsOnceAfterTheLastRequest) {
    int calls = 0;
    const auto debouncer = QZDebouncer::debouncerWithDelay(0.5, [&] { ++calls; });
    steady_clock::time_point last;
    for (int request = 0; request < 3; ++request) {
        last = steady_clock::now();
        debouncer->call();
        runFor(milliseconds(20));
    }
    EXPECT_TRUE(debouncer->timer()->isValid());
    ASSERT_TRUE(await([&] { return calls > 0; }));
    EXPECT_GE(steady_clock::now() - last, duration<double>(0.5));
    EXPECT_EQ(debouncer->timer(), nullptr);
    runFor(milliseconds(20));
    EXPECT_EQ(calls, 1);
}

TEST(Debouncer, KeepsTheLastCallbackAndDelay) {
    std::string said;
    const auto say = [&](const char* what) { return [&said, what] { said += what; }; };
    const auto debouncer = QZDebouncer::debouncerWithDelay(1000, say("a"));
    debouncer->callWithCallback(say("b"));
    EXPECT_EQ(debouncer->delay(), 1000);
    debouncer->callWithCallback(nullptr, 0.01);
    EXPECT_TRUE(await([&] { return said == "b"; }));
    debouncer->callWithCallback(say("c"), 0.02);
    EXPECT_TRUE(await([&] { return said == "bc"; }));
    const auto begin = steady_clock::now();
    debouncer->call();
    EXPECT_TRUE(await([&] { return said == "bcc"; }));
    EXPECT_GE(steady_clock::now() - begin, duration<double>(0.02));
    EXPECT_EQ(debouncer->delay(), 0.02);
}

TEST(Debouncer, CallsNowAndCancels) {
    int calls = 0;
    int others = 0;
    const auto debouncer = QZDebouncer::initWithDelay(0.005, [&] { ++calls; });
    debouncer->callNow();  // nothing was pending
    EXPECT_EQ(calls, 1);
    debouncer->call();
    const auto dropped = debouncer->timer();
    debouncer->setTimer(dropped);
    EXPECT_TRUE(dropped->isValid());
    debouncer->callNowWithCallback([&] { ++others; });
    EXPECT_FALSE(dropped->isValid());
    debouncer->call();
    debouncer->cancel();
    EXPECT_EQ(debouncer->timer(), nullptr);
    runFor(milliseconds(15));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(others, 1);
    QZDebouncer::debouncerWithDelay(0, nullptr)->callNow();  // no callback: nothing
}

TEST(Debouncer, IsHeldWhileARequestIsPending) {
    int calls = 0;
    auto debouncer = QZDebouncer::debouncerWithDelay(0.005, [&] { ++calls; });
    std::weak_ptr<QZDebouncer> held = debouncer;
    debouncer->call();
    debouncer = nullptr;
    EXPECT_FALSE(held.expired());
    EXPECT_TRUE(await([&] { return held.expired(); }));
    EXPECT_EQ(calls, 1);
    QZDebouncer::debouncerWithDelay(1000, [&] { ++calls; })->call();
    debouncer = QZDebouncer::debouncerWithDelay(1000, nullptr);
    debouncer->call();
    held = debouncer;
    debouncer = nullptr;
    held.lock()->cancel();  // lets go of the last reference
    EXPECT_TRUE(held.expired());
}

TEST(Debouncer, FollowsTheThreadOfTheLastRequest) {
    std::thread::id calledOn;
    std::atomic<int> calls{0};
    const auto debouncer = QZDebouncer::debouncerWithDelay(0.01, [&] {
        calledOn = std::this_thread::get_id();
        ++calls;
    });
    std::latch requestedThere(1);
    std::latch calledThere(1);
    std::latch requestedHere(1);
    debouncer->call();  // here, and then there
    std::jthread worker([&](const std::stop_token& stop) {
        debouncer->call();
        requestedThere.count_down();
        EXPECT_TRUE(await([&] { return calls == 1; }));
        EXPECT_EQ(calledOn, std::this_thread::get_id());
        debouncer->call();  // there, and then here
        calledThere.count_down();
        requestedHere.wait();
        NSRunLoop::currentRunLoop()->run(stop);
    });
    requestedThere.wait();
    runFor(milliseconds(20));  // must not call here
    calledThere.wait();
    EXPECT_NE(calledOn, std::this_thread::get_id());
    debouncer->call();
    requestedHere.count_down();
    EXPECT_TRUE(await([&] { return calls == 2; }));
    EXPECT_EQ(calledOn, std::this_thread::get_id());
}

TEST(Debouncer, SurvivesRequestsOfManyThreads) {
    std::atomic<int> calls{0};
    const auto debouncer = QZDebouncer::debouncerWithDelay(0.0005, [&] { ++calls; });
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 3; ++thread) {
            threads.emplace_back([&] {
                for (int request = 0; request < 300; ++request) {
                    debouncer->call();
                    NSRunLoop::currentRunLoop()->runOnce(false);
                }
            });
        }
    }
    const auto before = calls.load();
    debouncer->call();
    EXPECT_TRUE(await([&] { return calls > before; }));
    EXPECT_EQ(debouncer->timer(), nullptr);
}

}  // namespace

}  // namespace qz::test
