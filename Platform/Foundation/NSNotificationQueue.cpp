#include "Platform/Foundation/NSNotificationQueue.h"

#include <utility>
#include <vector>

#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

constexpr bool contains(NSNotificationCoalescing mask, NSNotificationCoalescing one) noexcept {
    return (static_cast<std::uint64_t>(mask) & static_cast<std::uint64_t>(one)) != 0;
}

}  // namespace

QZ_DEFINE_CLASS(NSNotificationQueue, cls) {
    using Self = NSNotificationQueue;
    cls.classMethod("defaultQueue", [](Class&) { return defaultQueue(); });
    cls.method("enqueueNotification:postingStyle:",
               [](Self& self, const Ref<NSNotification>& notification, std::uint64_t style) {
                   self.enqueueNotification(notification, static_cast<NSPostingStyle>(style));
               });
    cls.method("enqueueNotification:postingStyle:coalesceMask:forModes:",
               [](Self& self, const Ref<NSNotification>& notification, std::uint64_t style,
                  std::uint64_t coalesceMask, const Ref<NSArray>& modes) {
                   self.enqueueNotification(notification, static_cast<NSPostingStyle>(style),
                                            static_cast<NSNotificationCoalescing>(coalesceMask), modes);
               });
}

Ref<NSNotificationQueue> NSNotificationQueue::defaultQueue() {
    thread_local const auto queue = make<NSNotificationQueue>();
    return queue;
}

void NSNotificationQueue::enqueueNotification(const Ref<NSNotification>& notification,
                                              NSPostingStyle postingStyle) {
    enqueueNotification(notification, postingStyle,
                        NSNotificationCoalescing::OnName | NSNotificationCoalescing::OnSender, nullptr);
}

void NSNotificationQueue::enqueueNotification(const Ref<NSNotification>& notification,
                                              NSPostingStyle postingStyle,
                                              NSNotificationCoalescing coalesceMask,
                                              const Ref<NSArray>& /*forModes*/) {
    dequeueNotificationsMatching(notification, coalesceMask);
    if (postingStyle == NSPostingStyle::Now) {
        NSNotificationCenter::defaultCenter()->postNotification(notification);
        return;
    }
    const auto number = ++lastNumber_;
    waiting_.emplace(number, notification);
    byName_[notification->name()].insert(number);
    auto block = [self = refTo(*this), number] { self->post(number); };
    const auto loop = NSRunLoop::currentRunLoop();
    if (postingStyle == NSPostingStyle::ASAP) {
        loop->perform(std::move(block));
    } else {
        loop->performWhenIdle(std::move(block));
    }
}

void NSNotificationQueue::dequeueNotificationsMatching(const Ref<NSNotification>& notification,
                                                       NSNotificationCoalescing coalesceMask) {
    const bool onName = contains(coalesceMask, NSNotificationCoalescing::OnName);
    const bool onSender = contains(coalesceMask, NSNotificationCoalescing::OnSender);
    if (!onName && !onSender) {
        return;
    }
    std::vector<std::uint64_t> matching;
    const auto collect = [&](std::uint64_t number, const NSNotification& other) {
        if (!onSender || other.object().get() == notification->object().get()) {
            matching.push_back(number);
        }
    };
    if (onName) {
        if (const auto named = byName_.find(notification->name()); named != byName_.end()) {
            for (const auto number : named->second) {
                collect(number, *waiting_.at(number));
            }
        }
    } else {
        for (const auto& [number, other] : waiting_) {
            collect(number, *other);
        }
    }
    for (const auto number : matching) {
        takeOut(number);
    }
}

void NSNotificationQueue::takeOut(std::uint64_t number) {
    const auto found = waiting_.find(number);
    const auto named = byName_.find(found->second->name());
    named->second.erase(number);
    if (named->second.empty()) {
        byName_.erase(named);
    }
    waiting_.erase(found);
}

/// One that was taken out meanwhile is not there any more.
void NSNotificationQueue::post(std::uint64_t number) {
    const auto found = waiting_.find(number);
    if (found == waiting_.end()) {
        return;
    }
    const auto notification = found->second;
    takeOut(number);
    NSNotificationCenter::defaultCenter()->postNotification(notification);
}

}  // namespace qz
