// observeOnceUsingBlock() and its form for several names, on the main operation queue and without a token
// (NSNotificationCenter+Auxiliary.h).
#pragma once

#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+Auxiliary.h"

namespace qz::NSNotificationCenterClass {

QZ_EXPORT void observeOnceUsingBlock(Text name, const id& object, const NotificationHandler& usingBlock);
QZ_EXPORT void observeOnceAnyOfUsingBlock(const std::vector<std::string>& names,
                                          const std::vector<id>& objects,
                                          const NotificationHandler& usingBlock);
/// With `ifNot` true, calls the block at once, with null, and registers nothing.
QZ_EXPORT void observeOnceIfNotUsingBlock(bool ifNot, Text notificationName, const id& object,
                                          const NotificationHandler& usingBlock);
QZ_EXPORT void observeOnceAnyIfNot(bool ifNot, const std::vector<std::string>& notificationNames,
                                   const std::vector<id>& objects, const NotificationHandler& usingBlock);

}  // namespace qz::NSNotificationCenterClass
