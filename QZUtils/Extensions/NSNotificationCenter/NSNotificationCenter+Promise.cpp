#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Foundation/NSDictionary.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+ObserveOnce.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+Promise.h"
#include "QZUtils/Extensions/NSNotificationCenter/internal/ObserverTokens.h"
#include "Siblings/QZTuple.h"

namespace qz::NSNotificationCenterClass {

namespace {

constexpr std::string_view promiseIdentifier = "NSNotificationCenter";

/// Fulfils with what there is to say of a notification.
NotificationHandler fulfilling(const QZPromise::Resolver& resolver) {
    return [resolver](const Ref<NSNotification>& notification) {
        resolver(
            true,
            notification ? id(QZTuple::tupleWithCount(2, {notification, notification->userInfo()})) : id(),
            nullptr);
    };
}

}  // namespace

Ref<QZPromise> observeStopCondition(Text name, const id& object, const NotificationCondition& stopCondition) {
    return QZPromise::promiseWithIdRun(promiseIdentifier, [&](const QZPromise::Resolver& resolver) {
        const auto tokens = std::make_shared<internal::ObserverTokens>(1);
        const auto check = [tokens, stopCondition,
                            fulfil = fulfilling(resolver)](const Ref<NSNotification>& notification) {
            if (stopCondition(notification)) {
                tokens->end();
                fulfil(notification);
            }
        };
        tokens->observe(name, object, NSOperationQueue::mainQueue(), check);
        check(nullptr);
    });
}

Ref<QZPromise> observeOnceObject(Text name, const id& object) {
    return QZPromise::promiseWithIdRun(promiseIdentifier, [&](const QZPromise::Resolver& resolver) {
        observeOnceUsingBlock(name, object, fulfilling(resolver));
    });
}

Ref<QZPromise> observeOnceObjects(const std::vector<std::string>& names, const std::vector<id>& objects) {
    return observeOnceIfNotObjects(false, names, objects);
}

Ref<QZPromise> observeOnceIfNotObject(bool ifNot, Text notificationName, const id& object) {
    return ifNot ? QZPromise::resolved(nullptr) : observeOnceObject(notificationName, object);
}

Ref<QZPromise> observeOnceIfNotObjects(bool ifNot, const std::vector<std::string>& notificationNames,
                                       const std::vector<id>& objects) {
    return QZPromise::promiseWithIdRun(promiseIdentifier, [&](const QZPromise::Resolver& resolver) {
        observeOnceAnyIfNot(ifNot, notificationNames, objects, fulfilling(resolver));
    });
}

}  // namespace qz::NSNotificationCenterClass
