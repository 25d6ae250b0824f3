// Observers that ask a condition at every notification and call their block once, when it holds
// (NSNotificationCenter+Auxiliary.h). Called on the main operation queue.
#pragma once

#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+Auxiliary.h"

namespace qz::NSNotificationCenterClass {

/// Registers, and then, when it is to be tested at once, asks the condition: the block gets null if it holds
/// already.
QZ_EXPORT void observeUsingBlock(Text name, const id& object, NotificationPreference preference,
                                 const StopCondition& stopCondition, const NotificationHandler& usingBlock);
/// Tests at once.
QZ_EXPORT void observeUsingBlock(Text name, const id& object, const StopCondition& stopCondition,
                                 const NotificationHandler& usingBlock);
QZ_EXPORT void observeAnyOfUsingBlock(const std::vector<std::string>& names, const std::vector<id>& objects,
                                      NotificationPreference preference, const StopCondition& stopCondition,
                                      const NotificationHandler& usingBlock);
QZ_EXPORT void observeAnyOfUsingBlock(const std::vector<std::string>& names, const std::vector<id>& objects,
                                      const StopCondition& stopCondition,
                                      const NotificationHandler& usingBlock);

}  // namespace qz::NSNotificationCenterClass
