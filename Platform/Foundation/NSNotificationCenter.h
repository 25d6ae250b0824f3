// NSNotificationCenter: brings notifications from those who post them to those who asked for them.
//
//     center->addObserver(reader, "issueArrived:"_sel, "IssueArrived", nullptr);
//     const auto token = center->addObserverForName("IssueArrived", nullptr, nullptr, [](const auto& n) { …
//     }); center->postNotificationName("IssueArrived", shelf); center->removeObserver(token);
//
// A registration is for one name or any, and for one sender or any; senders are compared by identity. Posting
// calls every registration that matches, in the order in which they were made, on the posting thread, or on
// the operation queue that was given: at once where the poster is part of that queue (the main thread is of
// the main queue), later otherwise. Posting does not wait for queues.
//
// Neither observers nor senders are held: a registration ends when it is removed or when its observer dies.
// The token of a block is held by the centre until it is removed.
//
// DURING A DELIVERY a registration that is removed is not called any more, unless another thread is calling
// it already; one that is added waits for the next notification; posting again is fine. When observers throw,
// the others are still served, and the first exception leaves the post.
//
// Every operation is safe from any thread. A post costs a lock, a look-up by name and the calls; registering
// and removing take constant time.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSNotification.h"
#include "Platform/Runtime/Selector.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSOperationQueue;

namespace internal {
class NotificationRegistry;
}

class QZ_EXPORT NSNotificationCenter : public NSObject {
    QZ_OBJECT(NSNotificationCenter, NSObject)
public:
    using Block = std::function<void(const Ref<NSNotification>& notification)>;

    /// The one of the process.
    [[nodiscard]] static const Ref<NSNotificationCenter>& defaultCenter();
    template <class Self = NSNotificationCenter>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }

    /// Sends the observer the message, with the notification, for each that matches. Nil means any name, and
    /// any sender. The same registration twice is called twice. Nothing happens for a null observer.
    void addObserver(Receiver observer, Selector selector, Text name, const id& object);
    /// Calls the block. Answers the token to remove it by. A null queue means the posting thread.
    id addObserverForName(Text name, const id& object, const Ref<NSOperationQueue>& queue, Block usingBlock);

    /// Ends all registrations of an observer, or the one of a token.
    void removeObserver(Receiver observer);
    /// Ends those of its registrations that were made with this name and this sender; nil leaves open which.
    void removeObserver(Receiver observer, Text name, const id& object);

    void postNotification(const Ref<NSNotification>& notification);
    void postNotificationName(std::string_view name, const id& object);
    void postNotificationName(std::string_view name, const id& object, const Ref<NSDictionary>& userInfo);

protected:
    NSNotificationCenter();

private:
    const std::shared_ptr<internal::NotificationRegistry> registry_;
};

}  // namespace qz
