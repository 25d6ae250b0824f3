#include "Platform/Foundation/internal/NotificationRegistry.h"

#include <algorithm>
#include <utility>

namespace qz::internal {

void RegistrationList::add(const std::shared_ptr<Registration>& registration) {
    registration->list = this;
    registration->place = places_.size();
    places_.push_back(registration);
    ++count_;
    snapshot_.reset();
}

void RegistrationList::remove(Registration& registration) {
    places_[registration.place].reset();
    --count_;
    snapshot_.reset();
    if (count_ < places_.size() / 2) {
        closeUp();
    }
}

void RegistrationList::closeUp() {
    std::erase(places_, nullptr);
    for (std::size_t place = 0; place < places_.size(); ++place) {
        places_[place]->place = place;
    }
}

std::shared_ptr<const Registrations> RegistrationList::snapshot() {
    if (!snapshot_) {
        closeUp();
        snapshot_ = std::make_shared<const Registrations>(places_);
    }
    return snapshot_;
}

void NotificationRegistry::add(const std::shared_ptr<Registration>& registration) {
    const std::lock_guard lock(mutex_);
    registration->number = ++lastNumber_;
    auto& table = registration->name ? names_[*registration->name] : anyName_;
    auto& list = registration->sender ? table.senders[registration->sender] : table.anySender;
    list.add(registration);
    observers_[registration->observer].emplace(registration->name.value_or(""), registration);
}

void NotificationRegistry::end(const std::shared_ptr<Registration>& registration, Registrations& ended) {
    registration->isActive.store(false, std::memory_order_release);
    registration->list->remove(*registration);
    if (registration->list->isEmpty()) {
        const auto named = registration->name ? names_.find(*registration->name) : names_.end();
        auto& table = registration->name ? named->second : anyName_;
        if (registration->sender) {
            table.senders.erase(registration->sender);
        }
        if (registration->name && table.anySender.isEmpty() && table.senders.empty()) {
            names_.erase(named);
        }
    }
    ended.push_back(registration);
}

void NotificationRegistry::remove(const Object* observer, Text name, const Object* sender) {
    Registrations ended;  // what they hold is released after the lock
    const std::lock_guard lock(mutex_);
    const auto found = observers_.find(observer);
    if (found == observers_.end()) {
        return;
    }
    auto& registrations = found->second;
    auto [place, last] =
        name ? registrations.equal_range(name.view()) : std::pair(registrations.begin(), registrations.end());
    while (place != last) {
        const auto& registration = place->second;
        const bool matches = (!name || registration->name) && (!sender || registration->sender == sender);
        if (matches) {
            end(registration, ended);
        }
        place = matches ? registrations.erase(place) : std::next(place);
    }
    if (registrations.empty()) {
        observers_.erase(found);
    }
}

void NotificationRegistry::collect(BySender& table, const Object* sender,
                                   std::vector<std::shared_ptr<const Registrations>>& lists) {
    if (!table.anySender.isEmpty()) {
        lists.push_back(table.anySender.snapshot());
    }
    if (sender && !table.senders.empty()) {
        if (const auto found = table.senders.find(sender); found != table.senders.end()) {
            lists.push_back(found->second.snapshot());
        }
    }
}

void NotificationRegistry::collect(const NSNotification& notification,
                                   std::vector<std::shared_ptr<const Registrations>>& lists) {
    const auto* sender = notification.object().get();
    const std::lock_guard lock(mutex_);
    collect(anyName_, sender, lists);
    if (const auto found = names_.find(notification.name()); found != names_.end()) {
        collect(found->second, sender, lists);
    }
}

}  // namespace qz::internal
