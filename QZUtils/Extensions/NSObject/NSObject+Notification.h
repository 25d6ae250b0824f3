// Short-hands for objects that observe and post notifications by the default centre (NSNotificationCenter.h).
//
//     subscribeTo(shelf, "IssueArrived", "issueArrived:"_sel);
//     post(library, "IssueArrived", info);
//     enqueue(library, "IssueArrived", info, true);
//
// The receiver is the observer, or the sender. Subscribing again to the same name and sender replaces the
// registration, so nothing is delivered twice. Names and senders may be nil, which means any. Nothing happens
// for a null receiver. Every function is safe from any thread.
#pragma once

#include <string>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Selector.h"

namespace qz {

class NSDictionary;

/// Has the selector, which takes the notification, sent to the receiver for each of the names.
QZ_EXPORT void subscribeToNotifications(Receiver self, const std::vector<std::string>& names,
                                        Selector selector);
QZ_EXPORT void subscribeToNotifications(Receiver self, const std::vector<std::string>& names,
                                        Selector selector, const id& object);
QZ_EXPORT void subscribeTo(Receiver self, Text name, Selector selector);
QZ_EXPORT void subscribeTo(Receiver self, Text name, Selector selector, const id& object);
QZ_EXPORT void unsubscribe(Receiver self, Text name);
QZ_EXPORT void unsubscribe(Receiver self, Text name, const id& object);

/// The same as subscribeTo(); with `observe` false, as unsubscribe().
QZ_EXPORT void observe(Receiver self, Text name, Selector selector);
QZ_EXPORT void observe(Receiver self, Text name, Selector selector, const id& object);
QZ_EXPORT void observe(Receiver self, Text name, Selector selector, const id& object, bool observe);

/// Posts with the receiver as sender. The user information may be null.
QZ_EXPORT void post(Receiver self, std::string_view name);
QZ_EXPORT void post(Receiver self, std::string_view name, const Ref<NSDictionary>& userInfo);

/// Posts when a run loop is idle: the calling thread's, without coalescing.
QZ_EXPORT void enqueue(Receiver self, std::string_view name);
QZ_EXPORT void enqueue(Receiver self, std::string_view name, const Ref<NSDictionary>& userInfo);
/// The same on the main thread's. One would expect the forms above to choose it too; callers rely on the
/// difference. With `coalesce`, several that wait with the same name and sender are posted once.
QZ_EXPORT void enqueue(Receiver self, std::string_view name, const Ref<NSDictionary>& userInfo,
                       bool coalesce);
QZ_EXPORT void enqueue(Receiver self, std::string_view name, const Ref<NSDictionary>& userInfo, bool coalesce,
                       bool inMainThread);

}  // namespace qz
