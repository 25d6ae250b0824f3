#include "Platform/Foundation/NSNotificationCenter.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/internal/NotificationRegistry.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"

namespace qz {

using internal::NotificationRegistry;
using internal::Registration;
using internal::Registrations;

namespace {

/// What stands for the registration of a block.
class NotificationToken : public NSObject {
    QZ_OBJECT(NotificationToken, NSObject)
protected:
    NotificationToken() = default;
};
QZ_DEFINE_CLASS_NAMED(NotificationToken, "NSNotificationToken", cls) {
    (void)cls;
}

/// Hangs on an observer, and goes with it: ends its registrations. Under a key for each centre, which is the
/// registry's address; a centre that went first has nothing left to end.
class ObserverEnd : public NSObject {
    QZ_OBJECT(ObserverEnd, NSObject)
protected:
    ObserverEnd(const Object* observer, const std::shared_ptr<NotificationRegistry>& registry)
        : observer_(observer), registry_(registry) {}

    void dealloc() override {
        if (const auto registry = registry_.lock()) {
            registry->remove(observer_, nullptr, nullptr);
        }
        Super::dealloc();
    }

private:
    const Object* observer_;
    std::weak_ptr<NotificationRegistry> registry_;
};
QZ_DEFINE_CLASS_NAMED(ObserverEnd, "NSNotificationObserverEnd", cls) {
    (void)cls;
}

std::shared_ptr<Registration> makeRegistration(Text name, const id& object) {
    auto registration = std::make_shared<Registration>();
    registration->name = name.toString();
    registration->sender = object.get();
    registration->senderLife = object.ref();
    return registration;
}

/// Whether it is still to be called for a notification that reached its list: a sender of before may have
/// left its address to another.
bool isDue(const Registration& registration) {
    return registration.isActive.load(std::memory_order_acquire) &&
           (!registration.sender || !registration.senderLife.expired());
}

void call(const std::shared_ptr<Registration>& registration, const Ref<NSNotification>& notification) {
    if (!isDue(*registration)) {
        return;
    }
    if (!registration->block) {
        if (const auto observer = registration->observerLife.lock()) {
            send(*observer, registration->selector, notification);
        }
    } else if (!registration->queue || NSOperationQueue::currentQueue() == registration->queue) {
        registration->block(notification);
    } else {
        registration->queue->addOperationWithBlock([registration, notification] {
            if (isDue(*registration)) {
                registration->block(notification);
            }
        });
    }
}

/// Calls every one; gives the first exception.
std::exception_ptr callAll(const Registrations& registrations, const Ref<NSNotification>& notification) {
    std::exception_ptr first;
    for (const auto& registration : registrations) {
        try {
            call(registration, notification);
        } catch (...) {
            first = first ? first : std::current_exception();
        }
    }
    return first;
}

}  // namespace

QZ_DEFINE_CLASS(NSNotificationCenter, cls) {
    using Self = NSNotificationCenter;
    cls.classMethod("defaultCenter", [](Class&) { return defaultCenter(); });
    cls.method("addObserver:selector:name:object:",
               [](Self& self, const id& observer, Selector selector, Text name, const id& object) {
                   self.addObserver(observer, selector, name, object);
               });
    cls.method("addObserverForName:object:queue:usingBlock:", &Self::addObserverForName);
    cls.method("removeObserver:", [](Self& self, const id& observer) { self.removeObserver(observer); });
    cls.method("removeObserver:name:object:",
               [](Self& self, const id& observer, Text name, const id& object) {
                   self.removeObserver(observer, name, object);
               });
    cls.method("postNotification:", &Self::postNotification);
    cls.method("postNotificationName:object:", [](Self& self, std::string_view name, const id& object) {
        self.postNotificationName(name, object);
    });
    cls.method("postNotificationName:object:userInfo:",
               [](Self& self, std::string_view name, const id& object, const Ref<NSDictionary>& userInfo) {
                   self.postNotificationName(name, object, userInfo);
               });
}

NSNotificationCenter::NSNotificationCenter() : registry_(std::make_shared<NotificationRegistry>()) {}

const Ref<NSNotificationCenter>& NSNotificationCenter::defaultCenter() {
    static const auto center = init();
    return center;
}

void NSNotificationCenter::addObserver(Receiver observer, Selector selector, Text name, const id& object) {
    if (!observer) {
        return;
    }
    const auto registration = makeRegistration(name, object);
    registration->observer = observer.get();
    registration->observerLife = observer->weak_from_this();
    registration->selector = selector;
    const void* key = registry_.get();
    if (!associatedValue(observer, key)) {
        setAssociatedValue(observer, key, make<ObserverEnd>(observer.get(), registry_));
    }
    registry_->add(registration);
}

id NSNotificationCenter::addObserverForName(Text name, const id& object, const Ref<NSOperationQueue>& queue,
                                            Block usingBlock) {
    const auto registration = makeRegistration(name, object);
    registration->token = make<NotificationToken>();
    registration->observer = registration->token.get();
    registration->queue = queue;
    registration->block = std::move(usingBlock);
    registry_->add(registration);
    return registration->token;
}

void NSNotificationCenter::removeObserver(Receiver observer) {
    removeObserver(observer, nullptr, nullptr);
}

void NSNotificationCenter::removeObserver(Receiver observer, Text name, const id& object) {
    registry_->remove(observer.get(), name, object.get());
}

void NSNotificationCenter::postNotification(const Ref<NSNotification>& notification) {
    std::vector<std::shared_ptr<const Registrations>> lists;
    registry_->collect(*notification, lists);
    std::exception_ptr thrown;
    if (lists.size() == 1) {
        thrown = callAll(*lists.front(), notification);
    } else if (!lists.empty()) {
        Registrations all;
        for (const auto& list : lists) {
            all.insert(all.end(), list->begin(), list->end());
        }
        std::sort(all.begin(), all.end(),
                  [](const auto& left, const auto& right) { return left->number < right->number; });
        thrown = callAll(all, notification);
    }
    if (thrown) {
        std::rethrow_exception(thrown);
    }
}

void NSNotificationCenter::postNotificationName(std::string_view name, const id& object) {
    postNotificationName(name, object, nullptr);
}

void NSNotificationCenter::postNotificationName(std::string_view name, const id& object,
                                                const Ref<NSDictionary>& userInfo) {
    postNotification(NSNotification::notificationWithName(name, object, userInfo));
}

}  // namespace qz
