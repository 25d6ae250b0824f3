// observeUntil() and observeAnyOfUntil() that test the condition at once and give no token
// (NSNotificationCenter+Auxiliary.h).
#pragma once

#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+Auxiliary.h"

namespace qz::NSNotificationCenterClass {

QZ_EXPORT void observeUntil(Text name, const id& object, const NotificationCondition& until);
QZ_EXPORT void observeAnyOfUntil(const std::vector<std::string>& names, const std::vector<id>& objects,
                                 const NotificationCondition& until);

}  // namespace qz::NSNotificationCenterClass
