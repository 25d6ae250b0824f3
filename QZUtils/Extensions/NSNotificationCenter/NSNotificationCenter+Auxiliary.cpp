#include "Platform/Dispatch/NSOperationQueue.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+Auxiliary.h"
#include "QZUtils/Extensions/NSNotificationCenter/internal/ObserverTokens.h"

namespace qz {

using internal::ObserverTokens;

namespace {

/// The condition is the only handler: nothing else is called.
NotificationHandler untilBlock(const std::shared_ptr<ObserverTokens>& tokens,
                               const NotificationCondition& until) {
    return [tokens, until](const Ref<NSNotification>& notification) {
        if (until(notification)) {
            tokens->end();
        }
    };
}

NotificationHandler onceBlock(const std::shared_ptr<ObserverTokens>& tokens,
                              const NotificationHandler& usingBlock) {
    return [tokens, usingBlock](const Ref<NSNotification>& notification) {
        if (tokens->end()) {
            usingBlock(notification);
        }
    };
}

bool holdsAtOnce(NotificationPreference preference, const NotificationCondition& until) {
    return preference == NotificationPreference::TestAtOnce && until(nullptr);
}

}  // namespace

namespace NSNotificationCenterClass {

id observeUntil(Text name, const id& object, NotificationPreference preference,
                const NotificationCondition& until) {
    if (holdsAtOnce(preference, until)) {
        return nullptr;
    }
    const auto tokens = std::make_shared<ObserverTokens>(1);
    tokens->observe(name, object, NSOperationQueue::mainQueue(), untilBlock(tokens, until));
    return tokens->token();
}

Ref<NSMutableArray> observeAnyOfUntil(const std::vector<std::string>& names, const std::vector<id>& objects,
                                      NotificationPreference preference, const NotificationCondition& until) {
    if (holdsAtOnce(preference, until)) {
        return nullptr;
    }
    const auto tokens = std::make_shared<ObserverTokens>(names.size());
    tokens->observeAnyOf(names, objects, NSOperationQueue::mainQueue(), untilBlock(tokens, until), true);
    return tokens->list();
}

id observeOnceUsingBlock(Text name, const id& object, const Ref<NSOperationQueue>& queue,
                         const NotificationHandler& usingBlock) {
    const auto tokens = std::make_shared<ObserverTokens>(1);
    tokens->observe(name, object, queue, onceBlock(tokens, usingBlock));
    return tokens->token();
}

Ref<NSMutableArray> observeOnceAnyOfUsingBlock(const std::vector<std::string>& names,
                                               const std::vector<id>& objects,
                                               const Ref<NSOperationQueue>& queue,
                                               const NotificationHandler& usingBlock) {
    const auto tokens = std::make_shared<ObserverTokens>(names.size());
    tokens->observeAnyOf(names, objects, queue, onceBlock(tokens, usingBlock));
    return tokens->list();
}

}  // namespace NSNotificationCenterClass

using namespace NSNotificationCenterClass;

id ObserveUntil(Text name, const id& object, const NotificationCondition& until) {
    return observeUntil(name, object, NotificationPreference::OnlyWait, until);
}

Ref<NSMutableArray> ObserveAnyUntil(const std::vector<std::string>& names, const std::vector<id>& objects,
                                    const NotificationCondition& until) {
    return observeAnyOfUntil(names, objects, NotificationPreference::OnlyWait, until);
}

id ObserveOnce(Text name, const id& object, const NotificationHandler& usingBlock) {
    return observeOnceUsingBlock(name, object, NSOperationQueue::mainQueue(), usingBlock);
}

Ref<NSMutableArray> ObserveAnyOnce(const std::vector<std::string>& names, const std::vector<id>& objects,
                                   const NotificationHandler& usingBlock) {
    return observeOnceAnyOfUsingBlock(names, objects, NSOperationQueue::mainQueue(), usingBlock);
}

}  // namespace qz
