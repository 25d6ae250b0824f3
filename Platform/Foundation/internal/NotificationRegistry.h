// The registrations of a notification centre.
//
// They stand in lists by name and sender, and are found by observer for removal. A list hands out snapshots,
// which deliveries walk through without the lock; a snapshot is made when the list has changed since the
// last. A registration knows its place in its list, so that removing one is a swap with nothing: its place is
// left empty until half of the list is, when it is closed up.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Foundation/NSNotificationCenter.h"

namespace qz::internal {

class RegistrationList;

/// What was asked for. All but the flag and the place is constant.
struct Registration {
    std::optional<std::string> name;
    const Object* sender = nullptr;  // its address; whether it still is that object, the next says
    std::weak_ptr<Object> senderLife;
    const Object* observer = nullptr;
    std::weak_ptr<Object> observerLife;
    id token;  // of a block: held until it is removed
    Selector selector;
    NSNotificationCenter::Block block;
    Ref<NSOperationQueue> queue;
    std::uint64_t number = 0;  // in order of registration

    std::atomic<bool> isActive = true;
    RegistrationList* list = nullptr;  // guarded by the registry's lock, like the next
    std::size_t place = 0;
};

using Registrations = std::vector<std::shared_ptr<Registration>>;

class RegistrationList {
public:
    void add(const std::shared_ptr<Registration>& registration);
    void remove(Registration& registration);
    [[nodiscard]] bool isEmpty() const noexcept { return count_ == 0; }
    /// Never null.
    [[nodiscard]] std::shared_ptr<const Registrations> snapshot();

private:
    void closeUp();

    Registrations places_;  // with nulls where one was removed
    std::size_t count_ = 0;
    std::shared_ptr<const Registrations> snapshot_;
};

class NotificationRegistry {
public:
    void add(const std::shared_ptr<Registration>& registration);
    /// Those of an observer that were made with the name and the sender, as far as they are given.
    void remove(const Object* observer, Text name, const Object* sender);
    /// What a notification goes to, in order of registration.
    void collect(const NSNotification& notification,
                 std::vector<std::shared_ptr<const Registrations>>& lists);

private:
    struct BySender {
        RegistrationList anySender;
        std::unordered_map<const Object*, RegistrationList> senders;
    };
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept {
            return std::hash<std::string_view>()(text);
        }
    };
    using ByName = std::unordered_map<std::string, BySender, TextHash, std::equal_to<>>;
    /// The registrations of an observer by name; the empty key stands for any name too.
    using OfObserver =
        std::unordered_multimap<std::string, std::shared_ptr<Registration>, TextHash, std::equal_to<>>;

    static void collect(BySender& table, const Object* sender,
                        std::vector<std::shared_ptr<const Registrations>>& lists);
    void end(const std::shared_ptr<Registration>& registration, Registrations& ended);

    std::mutex mutex_;  // guards all that follows
    BySender anyName_;
    ByName names_;
    std::unordered_map<const Object*, OfObserver> observers_;
    std::uint64_t lastNumber_ = 0;
};

}  // namespace qz::internal
