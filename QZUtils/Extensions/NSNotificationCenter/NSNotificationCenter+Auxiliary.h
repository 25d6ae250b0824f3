// Block observers that end by themselves: after the first notification, or when a condition holds. All of
// them register with the default centre, and are called on the main operation queue unless another is given.
//
//     ObserveOnce("IssueArrived", nullptr, [](const auto& notification) { … });
//     NSNotificationCenterClass::observeUntil("Progress", task, [=](const auto&) { return task->isDone(); });
//
// This header has the two cores, until and once, each for one name and for any of several, and what they
// share with the families beside it: observers with a condition (…+ObserveWithCondition.h), without a token
// (…+ObserveUntil.h, …+ObserveOnce.h), and promises (…+Promise.h).
//
// Nil for a name or a sender means any. Of several names, name i goes with sender i, or with the last sender
// where there are fewer; an empty list of senders means any. A token, or every token of a list, may be
// removed from the default centre (removeObserver) to give up waiting. When an observer ends, its token is
// removed and the list emptied before the handler is called, so a handler is never called for a notification
// that was on its way then. Handlers and conditions must not be empty.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSNotification.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSMutableArray;
class NSOperationQueue;

/// Whether a condition is tested before waiting, with a nil notification. Any other value means: only wait.
enum class NotificationPreference : std::uint8_t { TestAtOnce = 0, OnlyWait = 1 };

/// Takes a notification; null where there is none.
using NotificationHandler = std::function<void(const Ref<NSNotification>& notification)>;
/// Handles a notification, null in the immediate test, and says whether that was the last.
using NotificationCondition = std::function<bool(const Ref<NSNotification>& notification)>;
/// Says whether to stop.
using StopCondition = std::function<bool()>;

namespace NSNotificationCenterClass {

/// Calls the condition for every notification until it holds. Answers the token; nil when it held at once.
QZ_EXPORT id observeUntil(Text name, const id& object, NotificationPreference preference,
                          const NotificationCondition& until);
/// The same for any of the names. Here alone an NSNull among the senders means any sender. Answers the list
/// of tokens; null when the condition held at once.
QZ_EXPORT Ref<NSMutableArray> observeAnyOfUntil(const std::vector<std::string>& names,
                                                const std::vector<id>& objects,
                                                NotificationPreference preference,
                                                const NotificationCondition& until);
/// Calls the block for the first notification, on the queue; a null one means the posting thread.
QZ_EXPORT id observeOnceUsingBlock(Text name, const id& object, const Ref<NSOperationQueue>& queue,
                                   const NotificationHandler& usingBlock);
QZ_EXPORT Ref<NSMutableArray> observeOnceAnyOfUsingBlock(const std::vector<std::string>& names,
                                                         const std::vector<id>& objects,
                                                         const Ref<NSOperationQueue>& queue,
                                                         const NotificationHandler& usingBlock);

}  // namespace NSNotificationCenterClass

// The same as functions. Those that wait until a condition holds do not test it at once, unlike
// observeUntil() without a preference; callers rely on the difference.

QZ_EXPORT id ObserveUntil(Text name, const id& object, const NotificationCondition& until);
QZ_EXPORT Ref<NSMutableArray> ObserveAnyUntil(const std::vector<std::string>& names,
                                              const std::vector<id>& objects,
                                              const NotificationCondition& until);
QZ_EXPORT id ObserveOnce(Text name, const id& object, const NotificationHandler& usingBlock);
QZ_EXPORT Ref<NSMutableArray> ObserveAnyOnce(const std::vector<std::string>& names,
                                             const std::vector<id>& objects,
                                             const NotificationHandler& usingBlock);

}  // namespace qz
