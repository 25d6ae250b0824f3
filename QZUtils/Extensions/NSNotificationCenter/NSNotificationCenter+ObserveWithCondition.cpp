#include "Platform/Dispatch/NSOperationQueue.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+ObserveWithCondition.h"
#include "QZUtils/Extensions/NSNotificationCenter/internal/ObserverTokens.h"

namespace qz::NSNotificationCenterClass {

using internal::ObserverTokens;

namespace {

NotificationHandler checkingBlock(const std::shared_ptr<ObserverTokens>& tokens,
                                  const StopCondition& stopCondition, const NotificationHandler& usingBlock) {
    return [tokens, stopCondition, usingBlock](const Ref<NSNotification>& notification) {
        if (stopCondition() && tokens->end()) {
            usingBlock(notification);
        }
    };
}

void testAtOnce(NotificationPreference preference, const NotificationHandler& check) {
    if (preference == NotificationPreference::TestAtOnce) {
        check(nullptr);
    }
}

}  // namespace

void observeUsingBlock(Text name, const id& object, NotificationPreference preference,
                       const StopCondition& stopCondition, const NotificationHandler& usingBlock) {
    const auto tokens = std::make_shared<ObserverTokens>(1);
    const auto check = checkingBlock(tokens, stopCondition, usingBlock);
    tokens->observe(name, object, NSOperationQueue::mainQueue(), check);
    testAtOnce(preference, check);
}

void observeUsingBlock(Text name, const id& object, const StopCondition& stopCondition,
                       const NotificationHandler& usingBlock) {
    observeUsingBlock(name, object, NotificationPreference::TestAtOnce, stopCondition, usingBlock);
}

void observeAnyOfUsingBlock(const std::vector<std::string>& names, const std::vector<id>& objects,
                            NotificationPreference preference, const StopCondition& stopCondition,
                            const NotificationHandler& usingBlock) {
    const auto tokens = std::make_shared<ObserverTokens>(names.size());
    const auto check = checkingBlock(tokens, stopCondition, usingBlock);
    tokens->observeAnyOf(names, objects, NSOperationQueue::mainQueue(), check);
    testAtOnce(preference, check);
}

void observeAnyOfUsingBlock(const std::vector<std::string>& names, const std::vector<id>& objects,
                            const StopCondition& stopCondition, const NotificationHandler& usingBlock) {
    observeAnyOfUsingBlock(names, objects, NotificationPreference::TestAtOnce, stopCondition, usingBlock);
}

}  // namespace qz::NSNotificationCenterClass
