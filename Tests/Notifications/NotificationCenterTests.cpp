// The notification centre and queue, and the short-hands of objects.
#include <gmock/gmock.h>

#include <atomic>
#include <latch>
#include <thread>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSNotificationQueue.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSObject/NSObject+Notification.h"

namespace qz::test {

using testing::ElementsAre;
using testing::IsEmpty;
using Notes = std::vector<std::string>;

class Listener : public NSObject {
    QZ_OBJECT(Listener, NSObject)
public:
    void heard(const Ref<NSNotification>& notification) { notes.push_back(notification->name()); }
    Notes notes;

protected:
    Listener() = default;
};
QZ_DEFINE_CLASS(Listener, cls) {
    cls.method("heard:", &Listener::heard);
}

void runMainLoopUntil(const std::function<bool()>& condition) {
    EXPECT_TRUE(NSRunLoop::mainRunLoop()->runUntil(
        std::chrono::steady_clock::now() + std::chrono::seconds(30), condition));
}

TEST(NotificationCenter, DeliversWhatWasAskedForInOrder) {
    const auto center = NSNotificationCenter::init();
    const id left = make<Listener>();
    const id right = make<Listener>();
    Notes notes;
    const auto observe = [&](const char* who, Text name, const id& object) {
        return center->addObserverForName(name, object, nullptr, [&notes, who](const auto& notification) {
            notes.push_back(who + (":" + notification->name()));
        });
    };
    const auto named = observe("named", "A", nullptr);
    observe("exact", "A", left);
    observe("any", nullptr, nullptr);
    observe("sender", nullptr, right);
    observe("empty", "", nullptr);
    center->postNotificationName("A", left);
    center->postNotificationName("B", right);
    center->postNotificationName("", nullptr);
    EXPECT_THAT(notes, ElementsAre("named:A", "exact:A", "any:A", "any:B", "sender:B", "any:", "empty:"));
    notes.clear();
    center->removeObserver(named);
    center->removeObserver(named);
    center->postNotificationName("A", nullptr);
    EXPECT_THAT(notes, ElementsAre("any:A"));
}

TEST(NotificationCenter, RemovesByNameAndSender) {
    const id sender = make<Listener>();
    const struct {
        Text name;
        id object;
        Notes left;
    } cases[] = {
        {nullptr, nullptr, {}},         {"A", nullptr, {"B", "B"}},           {nullptr, sender, {"A", "B"}},
        {"A", sender, {"A", "B", "B"}}, {"C", nullptr, {"A", "A", "B", "B"}},
    };
    for (const auto& [name, object, left] : cases) {
        const auto center = NSNotificationCenter::init();
        const auto listener = make<Listener>();
        for (const auto* each : {"A", "B"}) {
            center->addObserver(listener, "heard:"_sel, each, nullptr);
            center->addObserver(listener, "heard:"_sel, each, sender);
        }
        center->removeObserver(listener, name, object);
        center->postNotificationName("A", sender);
        center->postNotificationName("B", sender);
        EXPECT_EQ(listener->notes, left);
    }
}

TEST(NotificationCenter, MayBeChangedDuringADelivery) {
    const auto center = NSNotificationCenter::init();
    Notes notes;
    id first;
    id second;
    const auto add = [&](const char* who, const std::function<void()>& then) {
        return center->addObserverForName("A", nullptr, nullptr, [&notes, who, then](const auto&) {
            notes.emplace_back(who);
            then();
        });
    };
    first = add("first", [&] {
        center->removeObserver(first);
        center->removeObserver(second);
        add("added", [] {});
        center->postNotificationName("B", nullptr);
    });
    second = add("second", [] {});
    add("thrower", [] { throw std::runtime_error("thrown"); });
    add("last", [] {});
    EXPECT_THROW(center->postNotificationName("A", nullptr), std::runtime_error);
    EXPECT_THAT(notes, ElementsAre("first", "thrower", "last"));
    notes.clear();
    EXPECT_THROW(center->postNotificationName("A", nullptr), std::runtime_error);
    EXPECT_THAT(notes, ElementsAre("thrower", "last", "added"));
}

TEST(NotificationCenter, HoldsNeitherObserversNorSenders) {
    const auto center = NSNotificationCenter::init();
    auto listener = make<Listener>();
    auto sender = make<Listener>();
    center->addObserver(listener, "heard:"_sel, "A", sender);
    const std::weak_ptr<Listener> gone[] = {listener, sender};
    listener.reset();
    sender.reset();
    EXPECT_TRUE(gone[0].expired());
    EXPECT_TRUE(gone[1].expired());
    for (int i = 0; i < 100; ++i) {  // objects at the old addresses are others
        center->postNotificationName("A", make<Listener>());
    }
}

TEST(NotificationCenter, ServesQueues) {
    const auto center = NSNotificationCenter::init();
    const auto queue = NSOperationQueue::init();
    queue->setMaxConcurrentOperationCount(1);
    Notes notes;
    const auto mainToken = center->addObserverForName("A", nullptr, NSOperationQueue::mainQueue(),
                                                      [&](const auto&) { notes.emplace_back("main"); });
    std::atomic<int> count = 0;
    queue->setSuspended(true);
    const auto token = center->addObserverForName("A", nullptr, queue, [&](const auto&) { ++count; });
    center->postNotificationName("A", nullptr);
    EXPECT_THAT(notes, ElementsAre("main"));  // the poster is on that queue
    center->removeObserver(token);            // what is on its way is dropped
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(count, 0);
    std::thread([&] { center->postNotificationName("A", nullptr); }).join();
    EXPECT_EQ(notes.size(), 1U);
    runMainLoopUntil([&] { return notes.size() == 2; });
}

TEST(NotificationCenter, StandsDyingObserversAndOtherThreads) {
    const auto center = NSNotificationCenter::init();
    std::atomic<bool> stops = false;
    std::atomic<int> heard = 0;
    std::latch started(1);
    std::thread poster([&] {
        started.count_down();
        while (!stops) {
            center->postNotificationName("A", nullptr);
        }
    });
    started.wait();
    for (int i = 0; i < 300; ++i) {
        auto listener = make<Listener>();
        center->addObserver(listener, "heard:"_sel, "A", nullptr);
        id token;
        token = center->addObserverForName("A", nullptr, nullptr, [&](const auto&) { ++heard; });
        while (heard <= i) {
            std::this_thread::yield();
        }
        listener.reset();
        heard = i + 1;
        center->removeObserver(token);
    }
    stops = true;
    poster.join();
}

TEST(NotificationQueue, PostsWhenItIsTime) {
    const auto listener = make<Listener>();
    const auto queue = NSNotificationQueue::defaultQueue();
    const auto make = [&](const char* name, const id& object = nullptr) {
        return NSNotification::notificationWithName(name, object);
    };
    subscribeToNotifications(listener, {"idle", "soon", "now", "once"}, "heard:"_sel);
    const auto enqueue = [&](const char* name, NSPostingStyle style,
                             NSNotificationCoalescing mask = NSNotificationCoalescing::None,
                             const id& object = nullptr) {
        queue->enqueueNotification(make(name, object), style, mask, nullptr);
    };
    enqueue("idle", NSPostingStyle::WhenIdle);
    enqueue("idle", NSPostingStyle::WhenIdle);
    enqueue("soon", NSPostingStyle::ASAP);
    enqueue("now", NSPostingStyle::Now);
    EXPECT_THAT(listener->notes, ElementsAre("now"));
    runMainLoopUntil([&] { return listener->notes.size() == 4; });
    EXPECT_THAT(listener->notes, ElementsAre("now", "soon", "idle", "idle"));

    // Which of them say the same: two of one sender, one of another.
    const struct {
        NSNotificationCoalescing mask;
        std::size_t count;
    } cases[] = {
        {NSNotificationCoalescing::None, 4},
        {NSNotificationCoalescing::OnName, 2},
        {NSNotificationCoalescing::OnSender, 2},
        {NSNotificationCoalescing::OnName | NSNotificationCoalescing::OnSender, 3},
    };
    for (const auto& [mask, count] : cases) {
        listener->notes.clear();
        enqueue("idle", NSPostingStyle::WhenIdle, mask, listener);
        enqueue("idle", NSPostingStyle::WhenIdle, mask, listener);
        enqueue("once", NSPostingStyle::WhenIdle, mask, listener);
        enqueue("idle", NSPostingStyle::WhenIdle, mask, queue);
        enqueue("now", NSPostingStyle::Now);
        bool isIdle = false;
        NSRunLoop::mainRunLoop()->performWhenIdle([&] { isIdle = true; });
        runMainLoopUntil([&] { return isIdle; });
        EXPECT_EQ(listener->notes.size() - 1, count);
    }
    queue->enqueueNotification(make("soon"), NSPostingStyle::ASAP);
    queue->dequeueNotificationsMatching(make("soon"), NSNotificationCoalescing::OnName);
    listener->notes.clear();
    bool isOver = false;
    NSRunLoop::mainRunLoop()->performWhenIdle([&] { isOver = true; });
    runMainLoopUntil([&] { return isOver; });
    EXPECT_THAT(listener->notes, IsEmpty());
}

TEST(ObjectNotification, SubscribesOnceAndEnqueuesWhereItShould) {
    const auto listener = make<Listener>();
    const auto sender = make<Listener>();
    subscribeTo(listener, "A", "heard:"_sel, sender);
    subscribeTo(listener, "A", "heard:"_sel, sender);
    observe(listener, "B", "heard:"_sel, nullptr, true);
    post(sender, "A");
    post(listener, "A");
    post(listener, "B", NSDictionary::dictionary());
    EXPECT_THAT(listener->notes, ElementsAre("A", "B"));
    observe(listener, "B", "heard:"_sel, nullptr, false);
    unsubscribe(listener, "A");
    post(sender, "A");
    post(sender, "B");
    EXPECT_EQ(listener->notes.size(), 2U);  // nil as the sender leaves open which
    subscribeToNotifications(listener, {}, "heard:"_sel);

    listener->notes.clear();
    subscribeTo(listener, "C", "heard:"_sel);
    std::thread([&] {
        enqueue(sender, "C", nullptr, true);
        enqueue(sender, "C", nullptr, true);
        std::thread::id posted;
        const auto token = NSNotificationCenter::defaultCenter()->addObserverForName(
            "own", nullptr, nullptr, [&](const auto&) { posted = std::this_thread::get_id(); });
        enqueue(sender, "own", nullptr);
        while (posted != std::this_thread::get_id()) {
            NSRunLoop::currentRunLoop()->runOnce();
        }
        NSNotificationCenter::defaultCenter()->removeObserver(token);
    }).join();
    runMainLoopUntil([&] { return !listener->notes.empty(); });
    bool isIdle = false;
    NSRunLoop::mainRunLoop()->performWhenIdle([&] { isIdle = true; });
    runMainLoopUntil([&] { return isIdle; });
    EXPECT_THAT(listener->notes, ElementsAre("C"));
}

}  // namespace qz::test
