// Delayed performs, performs on the main thread, and the guarded and coalesced calls of every object.
#include <latch>

#include "Platform/Dispatch/DelayedPerforming.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/NSInvocation.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Extensions/NSObject/NSObject+PerformSelector.h"
#include "Support.h"

namespace qz::test {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

/// Notes what it is told.
class Listener : public NSObject {
    QZ_OBJECT(Listener, NSObject)
public:
    void refresh() { heard.emplace_back("refresh"); }
    void open(const id& page) { heard.push_back("open " + descriptionOf(page)); }
    void close(const id& page) { heard.push_back("close " + descriptionOf(page)); }
    void fail() { raise("Fire", "the press burns"); }
    std::vector<std::string> heard;

protected:
    Listener() = default;
};
QZ_DEFINE_CLASS(Listener, cls) {
    cls.method("refresh", &Listener::refresh);
    cls.method("open:", &Listener::open);
    cls.method("close:", &Listener::close);
    cls.method("fail", &Listener::fail);
    cls.method("open:close:", [](Listener&, const id&, const id&) {});
}

/// Passes on all that its recipient answers.
class Messenger : public NSProxy {
    QZ_OBJECT(Messenger, NSProxy)
public:
    Ref<Object> recipient;
    bool respondsToSelector(Selector selector) const override {
        return recipient->respondsToSelector(selector);
    }
    Ref<NSMethodSignature> methodSignatureForSelector(Selector selector) const override {
        return recipient->methodSignatureForSelector(selector);
    }
    void forwardInvocation(NSInvocation& invocation) override { invocation.invokeWithTarget(recipient); }

protected:
    Messenger() = default;
};
QZ_DEFINE_CLASS(Messenger, cls) {}

/// Equal to every object, and cancels everything while it is compared.
class Saboteur : public NSObject {
    QZ_OBJECT(Saboteur, NSObject)
public:
    Ref<Object> target;

protected:
    Saboteur() = default;
};
QZ_DEFINE_CLASS(Saboteur, cls) {
    cls.method("isEqual:", [](const Saboteur& self, const id&) {
        cancelPreviousPerformRequests(self.target);
        return true;
    });
}

TEST(DelayedPerform, IsCancelledByTargetSelectorAndObject) {
    const auto here = make<Listener>();
    const auto there = make<Listener>();
    const std::string all = "refresh, open 1, open 1, open 2, close 1, open (null), ";
    struct Case {
        const char* name;
        std::function<void()> cancel;
        std::string here;
        std::size_t there;
    };
    const Case cases[] = {
        {"nothing", [] {}, all, 1},
        {"nobody", [] { cancelPreviousPerformRequests(nullptr); }, all, 1},
        {"target", [&] { cancelPreviousPerformRequests(here); }, "", 1},
        {"other target", [&] { cancelPreviousPerformRequests(there); }, all, 0},
        {"equal object", [&] { cancelPreviousPerformRequests(here, "open:"_sel, "1"); },
         "refresh, open 2, close 1, open (null), ", 1},
        {"nil object", [&] { cancelPreviousPerformRequests(here, "open:"_sel, nullptr); },
         "refresh, open 1, open 1, open 2, close 1, ", 1},
        {"no argument", [&] { cancelPreviousPerformRequests(here, "refresh"_sel, nullptr); },
         "open 1, open 1, open 2, close 1, open (null), ", 1},
    };
    for (const auto& [name, cancel, expectedHere, expectedThere] : cases) {
        SCOPED_TRACE(name);
        here->heard.clear();
        there->heard.clear();
        performSelectorAfterDelay(here, "refresh"_sel, nullptr, -1);
        for (const char* page : {"1", "1", "2"}) {
            performSelectorAfterDelay(here, "open:"_sel, page, 0);
        }
        performSelectorAfterDelay(here, "close:"_sel, "1", 0);
        performSelectorAfterDelay(here, "open:"_sel, nullptr, 0);
        performSelectorAfterDelay(there, "open:"_sel, "1", 0);
        EXPECT_TRUE(here->heard.empty());
        std::jthread([&] { cancelPreviousPerformRequests(here); }).join();  // another thread's loop
        cancel();
        runFor(milliseconds(2));
        std::string heard;
        for (const auto& what : here->heard) {
            heard += what + ", ";
        }
        EXPECT_EQ(heard, expectedHere);
        EXPECT_EQ(there->heard.size(), expectedThere);
    }
}

TEST(DelayedPerform, HoldsTargetAndObjectUntilItIsOver) {
    for (const bool cancel : {false, true}) {
        std::weak_ptr<Listener> target;
        std::weak_ptr<Object> object;
        {
            const auto listener = make<Listener>();
            const Ref<Object> page = make<Listener>();
            target = listener;
            object = page;
            performSelectorAfterDelay(listener, "open:"_sel, page, cancel ? 1000 : 0);
        }
        EXPECT_FALSE(target.expired() || object.expired());
        if (cancel) {
            cancelPreviousPerformRequests(target.lock());
        }
        EXPECT_TRUE(await([&] { return target.expired() && object.expired(); }));
    }
}

TEST(DelayedPerform, SurvivesAComparisonThatCancels) {
    const auto listener = make<Listener>();
    const auto saboteur = make<Saboteur>();
    saboteur->target = listener;
    performSelectorAfterDelay(listener, "open:"_sel, saboteur, 0);
    performSelectorAfterDelay(listener, "open:"_sel, saboteur, 0);
    cancelPreviousPerformRequests(listener, "open:"_sel, "anything");
    runFor(milliseconds(1));
    EXPECT_TRUE(listener->heard.empty());
}

TEST(DelayedPerform, ReachesForwardersAndRefusesOthersAtOnce) {
    const auto messenger = make<Messenger>();
    const auto listener = make<Listener>();
    messenger->recipient = listener;
    performSelectorAfterDelay(messenger, "open:"_sel, "1", 0);
    EXPECT_TRUE(await([&] { return !listener->heard.empty(); }));
    for (const auto selector : {"fly"_sel, "open:close:"_sel, Selector()}) {
        EXPECT_EQ(exceptionName([&] { performSelectorAfterDelay(messenger, selector, nullptr, 0); }),
                  NSInvalidArgumentException);
    }
    performSelectorAfterDelay(nullptr, "fly"_sel, nullptr, 0);
}

TEST(PerformSelector, TriesWhatTheReceiverAnswers) {
    const auto messenger = make<Messenger>();
    const auto listener = make<Listener>();
    messenger->recipient = listener;
    for (const Receiver receiver : {Receiver(listener), Receiver(messenger), Receiver(nullptr)}) {
        tryToPerformSelector(receiver, "refresh"_sel);
        tryToPerformSelector(receiver, "open:"_sel, "1");
        tryToPerformSelector(receiver, "open:"_sel, nullptr);
        tryToPerformSelector(receiver, "refresh"_sel, "ignored");
        tryToPerformSelector(receiver, "fly"_sel);
        tryToPerformSelector(receiver, "fly:"_sel, "2");
        tryToPerformSelector(receiver, Selector());
    }
    EXPECT_THAT(listener->heard, ElementsAre("refresh", "open 1", "open (null)", "refresh",  //
                                             "refresh", "open 1", "open (null)", "refresh"));
}

TEST(PerformSelector, CoalescesWhatIsNeeded) {
    const auto listener = make<Listener>();
    const auto begin = std::chrono::steady_clock::now();
    setNeedsPerformSelector(listener, "open:"_sel, 1000);
    for (int request = 0; request < 3; ++request) {
        setNeedsPerformSelector(listener, "open:"_sel);
    }
    setNeedsPerformSelector(listener, "fly"_sel);
    setNeedsPerformSelector(nullptr, "fly"_sel);
    EXPECT_TRUE(await([&] { return !listener->heard.empty(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(20));
    runFor(milliseconds(5));
    EXPECT_THAT(listener->heard, ElementsAre("open (null)"));

    listener->heard.clear();
    performSelectorAfterDelay(listener, "open:"_sel, "kept", 0.003);
    setNeedsPerformSelector(listener, "open:"_sel, 0);
    cancelDelayedPerformSelector(listener, "open:"_sel);
    setNeedsPerformSelector(listener, "close:"_sel, 0);
    performSelectorAfterDelay(listener, "open:"_sel, "cancelled", 0);
    cancelDelayedPerformSelector(listener, "open:"_sel, "cancelled");
    EXPECT_TRUE(await([&] { return listener->heard.size() == 2; }));
    EXPECT_THAT(listener->heard, testing::UnorderedElementsAre("close (null)", "open kept"));
    setNeedsPerformSelector(listener, "refresh"_sel, 0);
    performSelectorAfterDelay(listener, "open:"_sel, "kept", 0);
    cancelDelayedPerformSelectors(listener);
    runFor(milliseconds(2));
    EXPECT_EQ(listener->heard.size(), 2U);
}

TEST(MainThreadPerform, WaitsForItsEnd) {
    const auto listener = make<Listener>();
    performSelectorOnMainThread(listener, "open:"_sel, "here", true);
    performSelectorOnMainThread(listener, "open:"_sel, "later", false);
    EXPECT_THAT(listener->heard, ElementsAre("open here"));
    bool done = false;
    std::jthread worker([&] {
        performSelectorOnMainThread(listener, "open:"_sel, "waited", true);
        EXPECT_EQ(listener->heard.back(), "open waited");
        EXPECT_EQ(exceptionName([&] { performSelectorOnMainThread(listener, "fail"_sel, nullptr, true); }),
                  "Fire");
        NSRunLoop::mainRunLoop()->perform([&] { done = true; });
    });
    ASSERT_TRUE(await([&] { return done; }));
    EXPECT_THAT(listener->heard, ElementsAre("open here", "open later", "open waited"));

    std::stop_source stop;
    std::jthread impatient([&, token = stop.get_token()] {  // nobody runs the main loop meanwhile
        EXPECT_FALSE(performSelectorOnMainThreadUntil(token, listener, "refresh"_sel, nullptr));
    });
    stop.request_stop();
    impatient.join();
    runFor(milliseconds(1));
    EXPECT_EQ(listener->heard.size(), 3U);
}

}  // namespace

}  // namespace qz::test
