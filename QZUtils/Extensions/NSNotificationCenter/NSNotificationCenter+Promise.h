// Notifications as promises (NSNotificationCenter+Auxiliary.h, QZPromise.h).
//
//     const id arrived = co_await NSNotificationCenterClass::observeOnceObject("IssueArrived", shelf);
//     arrived.as<QZTuple>()->objectAtIndex(1);      // the user information
//
// A promise is fulfilled with a QZTuple of the notification and its user information, or with nil where there
// was no notification. It is never rejected, and waits for ever if nothing comes: QZPromise::wait() has a
// form that gives up. It is settled on the main operation queue.
#pragma once

#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+Auxiliary.h"
#include "Siblings/QZPromise.h"

namespace qz::NSNotificationCenterClass {

/// Fulfilled when the condition holds, which is asked at once, with null, and at every notification.
[[nodiscard]] QZ_EXPORT Ref<QZPromise> observeStopCondition(Text name, const id& object,
                                                            const NotificationCondition& stopCondition);
/// Fulfilled by the first notification.
[[nodiscard]] QZ_EXPORT Ref<QZPromise> observeOnceObject(Text name, const id& object);
[[nodiscard]] QZ_EXPORT Ref<QZPromise> observeOnceObjects(const std::vector<std::string>& names,
                                                          const std::vector<id>& objects);
/// With `ifNot` true, fulfilled with nil already.
[[nodiscard]] QZ_EXPORT Ref<QZPromise> observeOnceIfNotObject(bool ifNot, Text notificationName,
                                                              const id& object);
[[nodiscard]] QZ_EXPORT Ref<QZPromise> observeOnceIfNotObjects(
    bool ifNot, const std::vector<std::string>& notificationNames, const std::vector<id>& objects);

}  // namespace qz::NSNotificationCenterClass
