// Timers: when they fire, what they hold, and how they end.
#include <cmath>
#include <limits>

#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Dispatch/NSTimer.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "Support.h"

namespace qz::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

class Clock : public NSObject {
    QZ_OBJECT(Clock, NSObject)
public:
    void strike() { ++strikes; }
    void strikeTimer(const Ref<NSTimer>& timer) {
        ++strikes;
        said = timer->userInfo();
        timer->invalidate();
        ++strikes;  // still here, although the timer has let go of this object
    }
    int strikes = 0;
    id said;

protected:
    Clock() = default;
};
QZ_DEFINE_CLASS(Clock, cls) {
    cls.method("strike", &Clock::strike);
    cls.method("strike:", &Clock::strikeTimer);
    cls.method("strike:loudly:", [](Clock&, const id&, bool) {});
}

TEST(Timer, FiresWhenItIsDue) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    struct Case {
        double seconds;
        double due;  // infinite: never
    };
    const Case cases[] = {{0.02, 0.02},         {0, 0},           {-5, 0},
                          {std::nan(""), 0},    {-infinite, 0},   {1e-5, 1e-5},
                          {infinite, infinite}, {1e300, infinite}};
    for (const auto& [seconds, due] : cases) {
        SCOPED_TRACE(seconds);
        const auto clock = make<Clock>();
        const auto begin = steady_clock::now();
        const auto timer =
            NSTimer::scheduledTimerWithTimeInterval(seconds, clock, "strike"_sel, nullptr, false);
        EXPECT_EQ(clock->strikes, 0);
        EXPECT_EQ(timer->timeInterval(), 0);
        if (due == infinite) {
            runFor(milliseconds(5));
            EXPECT_EQ(clock->strikes, 0);
            EXPECT_TRUE(timer->isValid());
            timer->invalidate();
        } else {
            EXPECT_TRUE(await([&] { return clock->strikes > 0; }));
            EXPECT_GE(steady_clock::now() - begin, std::chrono::duration<double>(due));
        }
        EXPECT_FALSE(timer->isValid());
        runFor(milliseconds(1));
        EXPECT_EQ(clock->strikes, due == infinite ? 0 : 1);
    }
}

TEST(Timer, FiresInTheOrderOfTimes) {
    std::vector<int> order;
    for (const int milli : {30, 10, 20, 10, 0}) {
        NSTimer::scheduledTimerWithTimeIntervalBlock(milli / 1000.0, false,
                                                     [&, milli](auto&) { order.push_back(milli); });
    }
    const auto moved =
        NSTimer::scheduledTimerWithTimeIntervalBlock(1000, false, [&](auto&) { order.push_back(-1); });
    moved->setFireDate(NSDate::distantPast());
    ASSERT_TRUE(await([&] { return order.size() == 6; }));
    EXPECT_THAT(order, ElementsAre(0, -1, 10, 10, 20, 30));
}

TEST(Timer, HoldsItsTargetUntilItEnds) {
    const auto begin = [](bool repeats, std::weak_ptr<Clock>& target, const char* selector = "strike") {
        const auto clock = make<Clock>();
        target = clock;
        return NSTimer::scheduledTimerWithTimeInterval(0, clock, NSSelectorFromString(selector), "noon",
                                                       repeats);
    };
    std::weak_ptr<Clock> target;
    auto timer = begin(false, target);
    EXPECT_FALSE(target.expired());
    EXPECT_TRUE(await([&] { return target.expired(); }));  // after the one shot

    timer = begin(true, target);
    EXPECT_TRUE(await([&] { return target.lock()->strikes > 2; }));
    timer->invalidate();
    EXPECT_TRUE(target.expired());
    EXPECT_EQ(timer->userInfo(), id());

    timer = begin(false, target);
    timer->fire();
    EXPECT_TRUE(target.expired());

    timer = begin(true, target, "strike:");  // ended by its own action
    const auto clock = target.lock();
    EXPECT_TRUE(await([&] { return clock->strikes > 0; }));
    runFor(milliseconds(1));
    EXPECT_EQ(clock->strikes, 2);
    EXPECT_EQ(clock->said, id("noon"));

    std::weak_ptr<NSTimer> forgotten = begin(false, target);  // held by the loop alone
    EXPECT_FALSE(forgotten.expired());
    EXPECT_TRUE(await([&] { return forgotten.expired(); }));
}

TEST(Timer, RepeatsWithoutDriftAndLeavesOutWhatItMissed) {
    constexpr double interval = 0.02;
    std::vector<double> times;  // of the ticks to come, from the first
    int ticks = 0;
    Ref<NSDate> first;
    const auto timer =
        NSTimer::scheduledTimerWithTimeIntervalBlock(interval, true, [&](const Ref<NSTimer>& self) {
            if (++ticks == 2) {  // busy while three further ticks would have come
                const auto until = steady_clock::now() + milliseconds(75);
                EXPECT_FALSE(NSRunLoop::currentRunLoop()->runUntil(until, [&] { return ticks > 2; }));
            } else if (ticks == 5) {
                self->invalidate();
            }
        });
    first = timer->fireDate();
    EXPECT_EQ(timer->timeInterval(), interval);
    while (timer->isValid()) {
        const auto before = ticks;
        ASSERT_TRUE(await([&] { return ticks > before; }));
        times.push_back(timer->fireDate()->timeIntervalSinceDate(*first) / interval);
    }
    ASSERT_EQ(times.size(), 5U);
    times.pop_back();
    for (const auto time : times) {
        EXPECT_NEAR(time, std::round(time), 0.2) << "off the grid";
    }
    EXPECT_GE(times[1] - times[0], 3.8);
    EXPECT_TRUE(std::ranges::is_sorted(times));
}

TEST(Timer, CanBeEndedByAnyThread) {
    // The loop ticks while others end its timers; none may fire once its end has been seen on this thread.
    constexpr int count = 300;
    std::vector<Ref<NSTimer>> timers;
    std::vector<int> ticks(count);
    for (std::size_t index = 0; index < count; ++index) {
        timers.push_back(NSTimer::scheduledTimerWithTimeIntervalBlock(
            0, true, [&ticks, index](auto&) { ++ticks[index]; }));
    }
    std::jthread ender([&] {
        for (const auto& timer : timers) {
            timer->invalidate();
        }
    });
    EXPECT_TRUE(await([&] { return !timers.back()->isValid(); }));
    ender.join();
    const auto before = ticks;
    runFor(milliseconds(2));
    EXPECT_EQ(ticks, before);
}

TEST(Timer, RefusesWhatCouldNeverFire) {
    const auto clock = make<Clock>();
    const auto schedule = [&](Receiver target, Selector selector) {
        return exceptionName(
            [&] { NSTimer::scheduledTimerWithTimeInterval(0, target, selector, nullptr, false); });
    };
    EXPECT_EQ(schedule(clock, "chime"_sel), NSInvalidArgumentException);
    EXPECT_EQ(schedule(clock, Selector()), NSInvalidArgumentException);
    EXPECT_EQ(schedule(clock, "strike:loudly:"_sel), NSInvalidArgumentException);
    EXPECT_EQ(schedule(nullptr, "strike"_sel), "none");
    EXPECT_EQ(exceptionName([] { NSTimer::scheduledTimerWithTimeIntervalBlock(0, false, nullptr); }),
              NSInvalidArgumentException);
    const auto timer = NSTimer::timerWithTimeInterval(0, clock, "strike"_sel, nullptr, false);
    std::jthread([&] { NSRunLoop::currentRunLoop()->addTimer(timer); }).join();
    runFor(milliseconds(1));
    EXPECT_EQ(clock->strikes, 0);
    const auto here = NSTimer::timerWithTimeInterval(0, clock, "strike"_sel, nullptr, false);
    NSRunLoop::currentRunLoop()->addTimer(here);
    NSRunLoop::currentRunLoop()->addTimer(here);
    std::jthread([&] {
        EXPECT_EQ(exceptionName([&] { NSRunLoop::currentRunLoop()->addTimer(here); }),
                  NSInvalidArgumentException);
    }).join();
    EXPECT_TRUE(await([&] { return !here->isValid(); }));
    EXPECT_EQ(clock->strikes, 1);
}

}  // namespace

}  // namespace qz::test
