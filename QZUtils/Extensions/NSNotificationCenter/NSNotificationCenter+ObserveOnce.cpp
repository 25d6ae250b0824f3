#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Foundation/NSArray.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+ObserveOnce.h"

namespace qz::NSNotificationCenterClass {

void observeOnceUsingBlock(Text name, const id& object, const NotificationHandler& usingBlock) {
    observeOnceUsingBlock(name, object, NSOperationQueue::mainQueue(), usingBlock);
}

void observeOnceAnyOfUsingBlock(const std::vector<std::string>& names, const std::vector<id>& objects,
                                const NotificationHandler& usingBlock) {
    observeOnceAnyOfUsingBlock(names, objects, NSOperationQueue::mainQueue(), usingBlock);
}

void observeOnceIfNotUsingBlock(bool ifNot, Text notificationName, const id& object,
                                const NotificationHandler& usingBlock) {
    if (ifNot) {
        usingBlock(nullptr);
    } else {
        observeOnceUsingBlock(notificationName, object, usingBlock);
    }
}

void observeOnceAnyIfNot(bool ifNot, const std::vector<std::string>& notificationNames,
                         const std::vector<id>& objects, const NotificationHandler& usingBlock) {
    if (ifNot) {
        usingBlock(nullptr);
    } else {
        observeOnceAnyOfUsingBlock(notificationNames, objects, usingBlock);
    }
}

}  // namespace qz::NSNotificationCenterClass
