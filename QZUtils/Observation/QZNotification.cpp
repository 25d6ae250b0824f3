#include "QZUtils/Observation/QZNotification.h"

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSNotification.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSNotificationQueue.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Device/QZNSBundle.h"

namespace qz {

namespace {

/// The caller's own dictionary if it can be changed.
Ref<NSMutableDictionary> changeable(const Ref<NSDictionary>& userInfo) {
    if (auto own = std::dynamic_pointer_cast<NSMutableDictionary>(userInfo)) {
        return own;
    }
    return userInfo ? userInfo->mutableCopy() : NSMutableDictionary::dictionary();
}

}  // namespace

QZ_DEFINE_CLASS(QZNotification, cls) {
    using Self = QZNotification;
    cls.method("AddObserver:selector:name:", [](Self& self, const Ref<Object>& observer, Selector selector,
                                                Text name) { self.AddObserver(observer, selector, name); });
    cls.method("RemoveObserver:",
               [](Self& self, const Ref<Object>& observer) { self.RemoveObserver(observer); });
    cls.method("RemoveObserver:name:", [](Self& self, const Ref<Object>& observer, Text name) {
        self.RemoveObserver(observer, name);
    });
    cls.method("postNotificationName:",
               [](Self& self, std::string_view name) { self.postNotificationName(name); });
    cls.method("postNotificationName:withUserInfo:",
               [](Self& self, std::string_view name, const Ref<NSDictionary>& userInfo) {
                   self.postNotificationName(name, userInfo);
               });
    cls.method("postNotificationName:withException:userInfo:", &Self::postNotificationNameWithException);
    cls.method("postNotificationName:withError:userInfo:", &Self::postNotificationNameWithError);
    cls.method("enqueueNotificationName:",
               [](Self& self, std::string_view name) { self.enqueueNotificationName(name); });
    cls.method("enqueueNotificationName:withUserInfo:",
               [](Self& self, std::string_view name, const Ref<NSDictionary>& userInfo) {
                   self.enqueueNotificationName(name, userInfo);
               });
    cls.method("postNotification", &Self::postNotification);
    cls.method("postNotificationWithUserInfo:", &Self::postNotificationWithUserInfo);
    cls.method("enqueueNotification", &Self::enqueueNotification);
    cls.method("enqueueNotificationWithUserInfo:", &Self::enqueueNotificationWithUserInfo);
}

void QZNotification::dealloc() {
    NSNotificationCenter::defaultCenter()->removeObserver(*this);
    Super::dealloc();
}

void QZNotification::AddObserver(Receiver observer, Selector selector, Text name) {
    NSNotificationCenter::defaultCenter()->addObserver(observer, selector, name, refTo(*this));
}

void QZNotification::RemoveObserver(Receiver observer) {
    RemoveObserver(observer, nullptr);
}

void QZNotification::RemoveObserver(Receiver observer, Text name) {
    NSNotificationCenter::defaultCenter()->removeObserver(observer, name, refTo(*this));
}

void QZNotification::postNotificationName(std::string_view name) {
    postNotificationName(name, nullptr);
}

void QZNotification::postNotificationName(std::string_view name, const Ref<NSDictionary>& withUserInfo) {
    NSNotificationCenter::defaultCenter()->postNotificationName(name, refTo(*this), withUserInfo);
}

void QZNotification::postNotificationNameWithException(std::string_view name, const NSException& exception,
                                                       const Ref<NSDictionary>& userInfo) {
    const auto info = changeable(userInfo);
    info->setObjectForKey(exception, "exception");
    postNotificationName(name, info);
}

void QZNotification::postNotificationNameWithError(std::string_view name, const Ref<NSError>& error,
                                                   const Ref<NSDictionary>& userInfo) {
    if (!error) {
        postNotificationName(name, userInfo);
        return;
    }
    const auto info = changeable(userInfo);
    info->setObjectForKey(error, "error");
    const NSException exception(QZNSBundle::localizedStringForKey("QZ.iPad.ServiceError").value_or(""),
                                error->localizedDescription(),
                                NSDictionary::dictionary({{"code", error->code()}}));
    postNotificationNameWithException(name, exception, info);
}

void QZNotification::enqueueNotificationName(std::string_view name) {
    enqueueNotificationName(name, nullptr);
}

void QZNotification::enqueueNotificationName(std::string_view name, const Ref<NSDictionary>& withUserInfo) {
    NSNotificationQueue::defaultQueue()->enqueueNotification(
        NSNotification::notificationWithName(name, refTo(*this), withUserInfo), NSPostingStyle::WhenIdle);
}

void QZNotification::postNotification() {
    postNotificationName("");
}

void QZNotification::postNotificationWithUserInfo(const Ref<NSDictionary>& userInfo) {
    postNotificationName("", userInfo);
}

void QZNotification::enqueueNotification() {
    enqueueNotificationName("");
}

void QZNotification::enqueueNotificationWithUserInfo(const Ref<NSDictionary>& userInfo) {
    enqueueNotificationName("", userInfo);
}

}  // namespace qz
