// Run loops: order, waiting, stopping, threads, and life inside somebody else's loop.
#include <glib.h>

#include <future>
#include <latch>

#include "Platform/Dispatch/DelayedPerforming.h"
#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Dispatch/NSTimer.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Support.h"

namespace qz::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

/// Can be sent messages, and says goodbye to the loop of the thread it dies on.
class Visitor : public NSObject {
    QZ_OBJECT(Visitor, NSObject)
public:
    void visit() { ++visits; }
    int visits = 0;

protected:
    void dealloc() override {
        performSelectorAfterDelay(NSRunLoop::currentRunLoop(), "description"_sel, nullptr, 0);
        cancelPreviousPerformRequests(*this);
        Super::dealloc();
    }
};
QZ_DEFINE_CLASS(Visitor, cls) {
    cls.method("visit", &Visitor::visit);
}

TEST(RunLoop, RunsBlocksOfEveryThreadInTheirOrder) {
    constexpr int threads = 4;
    constexpr int blocks = 2000;
    const auto loop = NSRunLoop::currentRunLoop();
    std::vector<std::vector<int>> seen(threads);  // touched by blocks only
    int total = 0;
    std::vector<std::jthread> posters;
    for (int thread = 0; thread < threads; ++thread) {
        posters.emplace_back([&, thread] {
            for (int block = 0; block < blocks; ++block) {
                loop->perform([&, thread, block] {
                    seen[static_cast<std::size_t>(thread)].push_back(block);
                    ++total;
                });
            }
        });
    }
    ASSERT_TRUE(await([&] { return total == threads * blocks; }));
    for (const auto& order : seen) {
        EXPECT_TRUE(std::ranges::is_sorted(order));
    }
}

TEST(RunLoop, TakesTurnsBetweenBlocksTimersAndIdleTime) {
    const auto loop = NSRunLoop::currentRunLoop();
    std::vector<std::string> order;
    const auto note = [&](const char* what) { return [&order, what] { order.emplace_back(what); }; };
    loop->performWhenIdle(note("idle 1"));
    loop->performWhenIdle(note("idle 2"));
    NSTimer::scheduledTimerWithTimeIntervalBlock(0, false, [&](auto&) { order.emplace_back("timer"); });
    loop->perform([&] {
        order.emplace_back("first");
        loop->perform(note("added"));
    });
    loop->perform([&] {
        order.emplace_back("outer");
        bool reached = false;
        loop->perform([&] { reached = true; });
        EXPECT_TRUE(await([&] { return reached; }));  // a run inside a block goes on with what follows it
        order.emplace_back("outer ends");
    });
    loop->perform(note("last"));
    ASSERT_TRUE(await([&] { return order.size() == 8; }));
    EXPECT_THAT(order,
                ElementsAre("first", "outer", "last", "added", "timer", "outer ends", "idle 1", "idle 2"));
}

TEST(RunLoop, WaitsAsLongAsItWasTold) {
    const auto loop = NSRunLoop::currentRunLoop();
    catchUp();
    EXPECT_FALSE(loop->runOnce(false));
    const auto begin = steady_clock::now();
    EXPECT_FALSE(loop->runOnce(begin + milliseconds(20)));
    EXPECT_GE(steady_clock::now(), begin + milliseconds(20));
    loop->runUntilDate(NSDate::dateWithTimePoint(NSDate::TimePoint::clock::now() + milliseconds(30)));
    EXPECT_GE(steady_clock::now(), begin + milliseconds(49));  // two clocks were read, one after the other

    int turns = 0;
    for (const auto& passed : {NSDate::distantPast(), Ref<NSDate>()}) {
        loop->perform([&] { ++turns; });
        loop->runUntilDate(passed);
    }
    EXPECT_EQ(turns, 2);
    EXPECT_FALSE(loop->runUntil(steady_clock::now() + milliseconds(1), [] { return false; }));
    loop->perform([] {});
    EXPECT_TRUE(loop->runOnce());
}

TEST(RunLoop, StopsTheInnermostRun) {
    const auto loop = NSRunLoop::currentRunLoop();
    std::vector<std::string> order;
    catchUp();
    loop->stop();  // nothing runs: meant for the next run
    loop->run();
    loop->perform([&] {
        loop->perform([&] {
            EXPECT_FALSE(loop->runOnce(false));
            loop->stop();
            EXPECT_FALSE(loop->runOnce(false));  // a single turn leaves the stop to the run around it
        });
        loop->run();
        order.emplace_back("inner");
        loop->perform([&] { loop->stop(); });
    });
    loop->run();
    order.emplace_back("outer");
    EXPECT_THAT(order, ElementsAre("inner", "outer"));

    std::jthread stopper([&] { loop->stop(); });
    loop->run();
    std::stop_source source;
    std::jthread requester([&] { source.request_stop(); });
    loop->run(source.get_token());
    loop->run(source.get_token());
}

TEST(RunLoop, BelongsToItsThread) {
    const auto main = NSRunLoop::mainRunLoop();
    EXPECT_EQ(NSRunLoop::currentRunLoop(), main);
    Ref<NSRunLoop> other;
    std::thread::id ranOn;
    std::latch ready(1);
    std::jthread worker([&] {
        other = NSRunLoop::currentRunLoop();
        EXPECT_NE(other, main);
        EXPECT_EQ(other, NSRunLoop::currentRunLoop());
        EXPECT_EQ(exceptionName([&] { main->run(); }), NSInternalInconsistencyException);
        // Neither a timer nor a delayed perform of this thread may end up on the main thread.
        performSelectorAfterDelay(other, "stop"_sel, nullptr, 0.03);
        NSTimer::scheduledTimerWithTimeIntervalBlock(0.01, false,
                                                     [&](auto&) { ranOn = std::this_thread::get_id(); });
        ready.count_down();
        other->run();
    });
    const auto workerId = worker.get_id();
    ready.wait();
    EXPECT_EQ(exceptionName([&] { static_cast<void>(other->runOnce(false)); }),
              NSInternalInconsistencyException);
    runFor(milliseconds(20));
    worker.join();
    EXPECT_EQ(ranOn, workerId);
    EXPECT_EQ(exceptionName([&] { main->perform(nullptr); }), NSInvalidArgumentException);
}

TEST(RunLoop, ReleasesWhatWaitsWhenItsThreadEnds) {
    std::vector<std::weak_ptr<Visitor>> held;
    Ref<NSRunLoop> ended;
    Ref<NSTimer> timer;
    const auto hold = [&] {
        auto visitor = make<Visitor>();
        held.push_back(visitor);
        return visitor;
    };
    std::jthread([&] {
        ended = NSRunLoop::currentRunLoop();
        ended->perform([visitor = hold()] { visitor->visit(); });
        ended->performWhenIdle([visitor = hold()] { visitor->visit(); });
        performSelectorAfterDelay(hold(), "visit"_sel, hold(), 0);
        timer = NSTimer::scheduledTimerWithTimeInterval(0, hold(), "visit"_sel, hold(), true);
        for (const auto& visitor : held) {
            EXPECT_FALSE(visitor.expired());
        }
    }).join();
    ended->perform([visitor = hold()] { visitor->visit(); });
    EXPECT_EQ(held.size(), 7U);
    for (const auto& visitor : held) {
        EXPECT_TRUE(visitor.expired());
    }
    EXPECT_FALSE(timer->isValid());
}

TEST(RunLoop, WorksInsideAPlainMainLoop) {
    GMainLoop* const program = g_main_loop_new(nullptr, FALSE);
    const auto visitor = make<Visitor>();
    std::vector<std::string> order;
    std::jthread poster([&] {
        performSelectorOnMainThread(visitor, "visit"_sel, nullptr, true);
        EXPECT_EQ(visitor->visits, 1);
        NSRunLoop::mainRunLoop()->perform([&] {
            order.emplace_back("posted");
            performSelectorAfterDelay(visitor, "visit"_sel, nullptr, 0.01);
            NSTimer::scheduledTimerWithTimeIntervalBlock(0.01, true, [&](const Ref<NSTimer>& timer) {
                if (visitor->visits == 2 && timer->isValid()) {
                    timer->invalidate();
                    order.emplace_back("timer");
                    NSRunLoop::mainRunLoop()->performWhenIdle([&] {
                        order.emplace_back("idle");
                        g_main_loop_quit(program);
                    });
                }
            });
        });
    });
    const auto giveUp = g_timeout_add_seconds(
        60,
        [](gpointer loop) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_CONTINUE;
        },
        program);
    g_main_loop_run(program);
    g_source_remove(giveUp);
    g_main_loop_unref(program);
    EXPECT_THAT(order, ElementsAre("posted", "timer", "idle"));
}

TEST(RunLoopDeathTest, EndsTheProgramForAnException) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            NSRunLoop::currentRunLoop()->perform([] { throw std::runtime_error("no paper today"); });
            NSRunLoop::currentRunLoop()->runOnce();
        },
        "no paper today");
}

}  // namespace

}  // namespace qz::test
