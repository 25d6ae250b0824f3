#include "Platform/Foundation/NSArray.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+ObserveUntil.h"

namespace qz::NSNotificationCenterClass {

void observeUntil(Text name, const id& object, const NotificationCondition& until) {
    observeUntil(name, object, NotificationPreference::TestAtOnce, until);
}

void observeAnyOfUntil(const std::vector<std::string>& names, const std::vector<id>& objects,
                       const NotificationCondition& until) {
    observeAnyOfUntil(names, objects, NotificationPreference::TestAtOnce, until);
}

}  // namespace qz::NSNotificationCenterClass
