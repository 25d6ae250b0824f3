#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/MainThread.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSNotificationQueue.h"
#include "QZUtils/Extensions/NSObject/NSObject+Notification.h"

namespace qz {

void subscribeToNotifications(Receiver self, const std::vector<std::string>& names, Selector selector) {
    subscribeToNotifications(self, names, selector, nullptr);
}

void subscribeToNotifications(Receiver self, const std::vector<std::string>& names, Selector selector,
                              const id& object) {
    for (const auto& name : names) {
        subscribeTo(self, name, selector, object);
    }
}

void subscribeTo(Receiver self, Text name, Selector selector) {
    subscribeTo(self, name, selector, nullptr);
}

void subscribeTo(Receiver self, Text name, Selector selector, const id& object) {
    unsubscribe(self, name, object);
    NSNotificationCenter::defaultCenter()->addObserver(self, selector, name, object);
}

void unsubscribe(Receiver self, Text name) {
    unsubscribe(self, name, nullptr);
}

void unsubscribe(Receiver self, Text name, const id& object) {
    NSNotificationCenter::defaultCenter()->removeObserver(self, name, object);
}

void observe(Receiver self, Text name, Selector selector) {
    subscribeTo(self, name, selector);
}

void observe(Receiver self, Text name, Selector selector, const id& object) {
    subscribeTo(self, name, selector, object);
}

void observe(Receiver self, Text name, Selector selector, const id& object, bool observe) {
    if (observe) {
        subscribeTo(self, name, selector, object);
    } else {
        unsubscribe(self, name, object);
    }
}

void post(Receiver self, std::string_view name) {
    post(self, name, nullptr);
}

void post(Receiver self, std::string_view name, const Ref<NSDictionary>& userInfo) {
    if (self) {
        NSNotificationCenter::defaultCenter()->postNotificationName(name, self.ref(), userInfo);
    }
}

void enqueue(Receiver self, std::string_view name) {
    enqueue(self, name, nullptr);
}

void enqueue(Receiver self, std::string_view name, const Ref<NSDictionary>& userInfo) {
    enqueue(self, name, userInfo, false, false);
}

void enqueue(Receiver self, std::string_view name, const Ref<NSDictionary>& userInfo, bool coalesce) {
    enqueue(self, name, userInfo, coalesce, true);
}

void enqueue(Receiver self, std::string_view name, const Ref<NSDictionary>& userInfo, bool coalesce,
             bool inMainThread) {
    if (!self) {
        return;
    }
    const auto mask = coalesce ? NSNotificationCoalescing::OnName | NSNotificationCoalescing::OnSender
                               : NSNotificationCoalescing::None;
    auto work = [sender = self.ref(), name = std::string(name), userInfo, mask] {
        NSNotificationQueue::defaultQueue()->enqueueNotification(
            NSNotification::notificationWithName(name, sender, userInfo), NSPostingStyle::WhenIdle, mask,
            nullptr);
    };
    if (inMainThread && !isMainThread()) {
        DispatchQueue::main().async(std::move(work));
    } else {
        work();
    }
}

}  // namespace qz
