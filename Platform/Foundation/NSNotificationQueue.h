// NSNotificationQueue: holds notifications back until the thread's run loop has time for them, and makes one
// of several that say the same.
//
//     NSNotificationQueue::defaultQueue()->enqueueNotification(changed, NSPostingStyle::WhenIdle);
//
// Every thread has a queue, which posts to the default centre from that thread's run loop; it has to be run.
// What waits is dropped when the thread ends. A queue is for its own thread.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSNotification.h"

namespace qz {

class NSArray;

enum class NSPostingStyle : std::uint64_t {
    WhenIdle = 1,  // when the run loop would wait
    ASAP = 2,      // in the next turn of the run loop
    Now = 3,       // before enqueueNotification() returns
};

/// Which notifications say the same; combine with |.
enum class NSNotificationCoalescing : std::uint64_t { None = 0, OnName = 1, OnSender = 2 };
[[nodiscard]] constexpr NSNotificationCoalescing operator|(NSNotificationCoalescing left,
                                                           NSNotificationCoalescing right) noexcept {
    return static_cast<NSNotificationCoalescing>(static_cast<std::uint64_t>(left) |
                                                 static_cast<std::uint64_t>(right));
}

class QZ_EXPORT NSNotificationQueue : public NSObject {
    QZ_OBJECT(NSNotificationQueue, NSObject)
public:
    /// The calling thread's.
    [[nodiscard]] static Ref<NSNotificationQueue> defaultQueue();

    /// Coalesces on name and sender.
    void enqueueNotification(const Ref<NSNotification>& notification, NSPostingStyle postingStyle);
    /// Takes notifications out of the queue that say the same as this one, and puts this one in, or posts it.
    /// Run loops have one mode here, so the modes are not looked at; null is fine.
    void enqueueNotification(const Ref<NSNotification>& notification, NSPostingStyle postingStyle,
                             NSNotificationCoalescing coalesceMask, const Ref<NSArray>& forModes);
    /// Takes out those that say the same. None takes out nothing.
    void dequeueNotificationsMatching(const Ref<NSNotification>& notification,
                                      NSNotificationCoalescing coalesceMask);

protected:
    NSNotificationQueue() = default;

private:
    void post(std::uint64_t number);
    void takeOut(std::uint64_t number);

    std::uint64_t lastNumber_ = 0;
    std::map<std::uint64_t, Ref<NSNotification>> waiting_;  // in order
    std::map<std::string, std::set<std::uint64_t>> byName_;
};

}  // namespace qz
