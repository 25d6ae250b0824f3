// Observers that end by themselves, and the promises made of them.
#include <gmock/gmock.h>

#include <thread>

#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Foundation/NSNumber.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+ObserveOnce.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+ObserveUntil.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+ObserveWithCondition.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+Promise.h"
#include "Siblings/QZTuple.h"

namespace qz::test {

namespace center = NSNotificationCenterClass;
using testing::ElementsAre;
using testing::IsEmpty;
using Names = std::vector<std::string>;

void postByDefault(std::string_view name, const id& object = nullptr) {
    NSNotificationCenter::defaultCenter()->postNotificationName(name, object,
                                                                NSDictionary::dictionary({{"k", 1}}));
}

/// What a handler was called with; "nil" for none.
struct Calls {
    Names names;
    NotificationHandler handler() {
        return [this](const auto& notification) {
            names.push_back(notification ? notification->name() : "nil");
        };
    }
    /// Holds when called for the `count`-th time.
    NotificationCondition condition(std::size_t count) {
        return [this, count](const auto& notification) {
            handler()(notification);
            return names.size() == count;
        };
    }
};

TEST(ObserveUntil, TestsAtOnceOrWaits) {
    Calls calls;
    center::observeUntil("A", nullptr, calls.condition(1));  // holds at once
    postByDefault("A");
    EXPECT_THAT(calls.names, ElementsAre("nil"));
    EXPECT_FALSE(center::observeUntil("A", nullptr, NotificationPreference::TestAtOnce,
                                      [](const auto&) { return true; }));

    Calls waiting;
    EXPECT_TRUE(ObserveUntil("A", nullptr, waiting.condition(2)));
    for (int i = 0; i < 3; ++i) {
        postByDefault("A");
    }
    EXPECT_THAT(waiting.names, ElementsAre("A", "A"));

    Calls removed;
    NSNotificationCenter::defaultCenter()->removeObserver(ObserveUntil("A", nullptr, removed.condition(9)));
    postByDefault("A");
    EXPECT_THAT(removed.names, IsEmpty());
}

TEST(ObserveAnyOf, PairsNamesWithSenders) {
    const id one = 1;
    const id two = 2;
    const id null = NSNull::null();
    const struct {
        std::vector<id> objects;
        Names ofNil, ofOne, ofTwo;
    } cases[] = {
        {{}, {"A", "B", "C"}, {"A", "B", "C"}, {"A", "B", "C"}},
        {{one}, {}, {"A", "B", "C"}, {}},
        {{one, two}, {}, {"A"}, {"B", "C"}},
        {{null, one}, {"A"}, {"A", "B", "C"}, {"A"}},
        {{nullptr, two}, {"A"}, {"A"}, {"A", "B", "C"}},
    };
    for (const auto& [objects, ofNil, ofOne, ofTwo] : cases) {
        const std::pair<id, Names> senders[] = {{nullptr, ofNil}, {one, ofOne}, {two, ofTwo}};
        for (const auto& [sender, expected] : senders) {
            Calls calls;
            const auto tokens = ObserveAnyUntil({"A", "B", "C"}, objects, calls.condition(99));
            ASSERT_EQ(tokens->count(), 3U);
            for (const auto* name : {"A", "B", "C"}) {
                postByDefault(name, sender);
            }
            EXPECT_EQ(calls.names, expected);
            for (const auto& token : *tokens) {
                NSNotificationCenter::defaultCenter()->removeObserver(token);
            }
        }
    }
    // Elsewhere the null object is a sender like others.
    Calls calls;
    const auto tokens = ObserveAnyOnce({"A", "B"}, {null}, calls.handler());
    postByDefault("A");
    EXPECT_EQ(tokens->count(), 2U);
    postByDefault("B", null);
    EXPECT_EQ(tokens->count(), 0U);
    postByDefault("A", null);
    EXPECT_THAT(calls.names, ElementsAre("B"));
    EXPECT_FALSE(center::observeAnyOfUntil({"A"}, {}, NotificationPreference::TestAtOnce,
                                           [](const auto&) { return true; }));
}

TEST(ObserveWithCondition, CallsOnceWhenTheConditionHolds) {
    using Observe = std::function<void(const StopCondition&, const NotificationHandler&)>;
    const std::pair<NotificationPreference, Names> outcomes[] = {
        {NotificationPreference::TestAtOnce, {"nil"}},
        {NotificationPreference::OnlyWait, {"B"}},
    };
    for (const auto& [preference, whenHolding] : outcomes) {
        const Observe ways[] = {
            [&, preference = preference](const auto& stop, const auto& block) {
                center::observeUsingBlock("B", nullptr, preference, stop, block);
            },
            [&, preference = preference](const auto& stop, const auto& block) {
                center::observeAnyOfUsingBlock({"A", "B"}, {}, preference, stop, block);
            },
        };
        for (const auto& observe : ways) {
            Calls calls;
            observe([] { return true; }, calls.handler());
            postByDefault("B");
            postByDefault("B");
            EXPECT_EQ(calls.names, whenHolding);

            bool holds = false;
            Calls later;
            observe([&] { return holds; }, later.handler());
            postByDefault("B");
            EXPECT_THAT(later.names, IsEmpty());
            holds = true;
            postByDefault("B");
            postByDefault("B");
            EXPECT_THAT(later.names, ElementsAre("B"));
        }
    }
}

TEST(ObserveOnce, EndsBeforeItsHandlerAndOnAnyThread) {
    Calls calls;
    center::observeOnceUsingBlock("A", nullptr, [&](const auto& notification) {
        calls.handler()(notification);
        postByDefault("A");  // is not heard again
    });
    postByDefault("A");
    center::observeOnceAnyOfUsingBlock({"A", "B"}, {}, calls.handler());
    postByDefault("B");
    postByDefault("A");
    center::observeOnceIfNotUsingBlock(true, "A", nullptr, calls.handler());
    center::observeOnceAnyIfNot(true, {"A"}, {}, calls.handler());
    postByDefault("A");
    center::observeOnceIfNotUsingBlock(false, "A", nullptr, calls.handler());
    center::observeOnceAnyIfNot(false, {"B"}, {}, calls.handler());
    postByDefault("A");
    postByDefault("B");
    EXPECT_THAT(calls.names, ElementsAre("A", "B", "nil", "nil", "A", "B"));

    // A delivery elsewhere may come before the token is stored.
    std::atomic<bool> stops = false;
    std::thread poster([&] {
        while (!stops) {
            postByDefault("threads");
        }
    });
    for (int i = 0; i < 200; ++i) {
        std::atomic<int> count = 0;
        center::observeOnceUsingBlock("threads", nullptr, nullptr, [&](const auto&) { ++count; });
        while (count == 0) {
            std::this_thread::yield();
        }
        postByDefault("threads");
        EXPECT_EQ(count, 1);
    }
    stops = true;
    poster.join();
}

TEST(ObservePromise, IsFulfilledByWhatComes) {
    const auto once = center::observeOnceObject("A", nullptr);
    const auto any = center::observeOnceObjects({"A", "B"}, {});
    int asked = 0;
    const auto stop = center::observeStopCondition("A", nullptr, [&](const auto&) { return ++asked == 3; });
    EXPECT_EQ(asked, 1);
    postByDefault("A");
    EXPECT_FALSE(stop->isSettled());
    postByDefault("A");
    postByDefault("A");
    EXPECT_EQ(asked, 3);
    for (const auto& promise : {once, any, stop}) {
        ASSERT_TRUE(promise->isFulfilled());
        const auto tuple = promise->value().as<QZTuple>();
        ASSERT_EQ(tuple->count(), 2U);
        EXPECT_EQ(tuple->objectAtIndex(0).as<NSNotification>()->name(), "A");
        EXPECT_EQ(tuple->objectAtIndex(1), id(NSDictionary::dictionary({{"k", 1}})));
    }
    for (const auto& promise :
         {center::observeOnceIfNotObject(true, "A", nullptr),
          center::observeOnceIfNotObjects(true, {"A"}, {}),
          center::observeStopCondition("A", nullptr, [](const auto&) { return true; })}) {
        EXPECT_TRUE(promise->isFulfilled());
        EXPECT_FALSE(promise->value());
    }
    EXPECT_FALSE(center::observeOnceIfNotObject(false, "never", nullptr)->isSettled());
}

}  // namespace qz::test
