#include "Platform/Runtime/KeyValueObserving.h"

#include <algorithm>
#include <functional>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Runtime/KeyPathObservation.h"
#include "Platform/Runtime/KeyValueCoding.h"
#include "Platform/Runtime/ObjectExtras.h"
#include "Platform/Runtime/Raise.h"
#include "Platform/Runtime/Send.h"

namespace qz {

namespace internal {

namespace {

std::vector<std::string> splitKeyPath(std::string_view keyPath) {
    std::vector<std::string> keys;
    for (;;) {
        const auto dot = keyPath.find('.');
        keys.emplace_back(keyPath.substr(0, dot));
        if (dot == std::string_view::npos) {
            return keys;
        }
        keyPath.remove_prefix(dot + 1);
    }
}

id orNull(const id& value) {
    return value ? value : id(NSNull::null());
}

template <class Predicate>
void moveOut(std::vector<Observed>& from, std::vector<Observed>& to, Predicate predicate) {
    const auto rest = std::stable_partition(from.begin(), from.end(), std::not_fn(predicate));
    std::move(rest, from.end(), std::back_inserter(to));
    from.erase(rest, from.end());
}

void watch(Object& object, Observed entry) {
    auto& extras = ObjectExtras::of(object);
    std::vector<Observed> dead;  // released after the lock
    const std::lock_guard lock(extras.mutex);
    if (extras.observed.size() == extras.observed.capacity()) {
        // Registrations whose observer died are dropped before the list grows, so that it stays in
        // proportion.
        moveOut(extras.observed, dead, [](const Observed& other) { return other.observation->isOver(); });
    }
    extras.observed.push_back(std::move(entry));
    extras.isObserved.store(true, std::memory_order_release);
}

template <class Predicate>
void unwatch(Object& object, Predicate predicate) {
    auto* extras = ObjectExtras::ifAny(object);
    if (!extras) {
        return;
    }
    std::vector<Observed> removed;  // released after the lock
    const std::lock_guard lock(extras->mutex);
    moveOut(extras->observed, removed, predicate);
    extras->isObserved.store(!extras->observed.empty(), std::memory_order_release);
}

/// The registrations that a change of `key` concerns: those of the key and of the properties computed from
/// it.
std::vector<Observed> concernedBy(Object& object, std::string_view key) {
    auto* extras = ObjectExtras::ifAny(object);
    std::vector<Observed> all;
    if (extras) {
        const std::lock_guard lock(extras->mutex);
        all = extras->observed;
    }
    std::vector<std::string_view> changed{key};
    if (!all.empty()) {
        const auto properties = object.isa().properties();
        for (std::size_t index = 0; index < changed.size(); ++index) {  // grows while it is walked
            for (const auto* property : properties) {
                if (std::ranges::find(property->dependsOn, changed[index]) != property->dependsOn.end() &&
                    std::ranges::find(changed, property->name) == changed.end()) {
                    changed.emplace_back(property->name);
                }
            }
        }
    }
    std::erase_if(all, [&](const Observed& entry) {
        return entry.observation->isOver() ||
               std::ranges::find(changed, entry.observation->keyAt(entry.level)) == changed.end();
    });
    return all;
}

}  // namespace

KeyPathObservation::KeyPathObservation(Object& subject, Object& observer, std::string_view keyPath,
                                       NSKeyValueObservingOptions options, void* context)
    : subject_(subject.ref()),
      observer_(observer.ref()),
      observerAddress_(&observer),
      keyPath_(keyPath),
      keys_(splitKeyPath(keyPath)),
      options_(options),
      context_(context) {}

void KeyPathObservation::link(Object& object, std::size_t level) {
    const std::lock_guard lock(mutex_);
    watch(object, {shared_from_this(), level});
    id next;
    for (auto* current = &object; ++level < keys_.size(); current = next.get()) {
        next = valueForKey(*current, keys_[level - 1]);
        if (!next) {
            return;
        }
        links_.resize(std::max(links_.size(), level));
        links_[level - 1] = next.ref();
        watch(*next, {shared_from_this(), level});
    }
}

void KeyPathObservation::unlinkBehind(std::size_t level) {
    const std::lock_guard lock(mutex_);
    for (auto index = level; index < links_.size(); ++index) {
        if (const auto object = links_[index].lock()) {
            unwatch(*object, [&](const Observed& entry) {
                return entry.observation.get() == this && entry.level == index + 1;
            });
        }
    }
    links_.resize(std::min(links_.size(), level));
}

void KeyPathObservation::end() {
    ended_.store(true, std::memory_order_release);
    unlinkBehind(0);
}

void KeyPathObservation::tellInitial() {
    if (const auto subject = subject_.lock(); subject && wants(NSKeyValueObservingOptions::Initial)) {
        tell(subject, nullptr, false);
    }
}

void KeyPathObservation::willChange(std::string_view key) {
    const auto subject = subject_.lock();
    if (!subject || isOver()) {
        return;
    }
    id old = wants(NSKeyValueObservingOptions::Old) ? valueForKeyPath(*subject, keyPath_) : id();
    if (wants(NSKeyValueObservingOptions::Prior)) {
        tell(subject, &old, true);
    }
    const std::lock_guard lock(mutex_);
    pending_.push_back({std::this_thread::get_id(), std::string(key), std::move(old)});
}

void KeyPathObservation::didChange(Object& object, std::size_t level, std::string_view key) {
    id old;
    bool isKnown = false;  // not when the registration was made between the two announcements
    {
        const std::lock_guard lock(mutex_);
        const auto mine = [&](const Pending& change) {
            return change.thread == std::this_thread::get_id() && change.key == key;
        };
        const auto found = std::find_if(pending_.rbegin(), pending_.rend(), mine);
        if (found != pending_.rend()) {
            old = std::move(found->old);
            isKnown = true;
            pending_.erase(std::next(found).base());
        }
        if (level + 1 < keys_.size() && !isOver()) {
            unlinkBehind(level);
            if (const auto next = valueForKey(object, keys_[level])) {
                links_.resize(std::max(links_.size(), level + 1));
                links_[level] = next.ref();
                link(*next, level + 1);
            }
        }
    }
    if (const auto subject = subject_.lock()) {
        tell(subject, isKnown ? &old : nullptr, false);
    }
}

void KeyPathObservation::tell(const Ref<Object>& subject, const id* old, bool isPrior) {
    const auto observer = observer_.lock();
    if (!observer || isOver()) {
        return;
    }
    const auto change = NSMutableDictionary::dictionary({{NSKeyValueChangeKindKey, 1}});
    if (old && wants(NSKeyValueObservingOptions::Old)) {
        change->setObjectForKey(orNull(*old), NSKeyValueChangeOldKey);
    }
    if (isPrior) {
        change->setObjectForKey(true, NSKeyValueChangeNotificationIsPriorKey);
    } else if (wants(NSKeyValueObservingOptions::New)) {
        change->setObjectForKey(orNull(valueForKeyPath(*subject, keyPath_)), NSKeyValueChangeNewKey);
    }
    send(observer, "observeValueForKeyPath:ofObject:change:context:"_sel, std::string_view(keyPath_),
         id(subject), Ref<NSDictionary>(change), context_);
}

bool isObserved(const Object& self) noexcept {
    const auto* extras = ObjectExtras::ifAny(self);
    return extras && extras->isObserved.load(std::memory_order_acquire);
}

}  // namespace internal

using internal::KeyPathObservation;
using internal::Observed;

void addObserver(Receiver self, Receiver observer, std::string_view forKeyPath,
                 NSKeyValueObservingOptions options, void* context) {
    if (!self) {
        return;
    }
    if (!respondsToSelector(observer, "observeValueForKeyPath:ofObject:change:context:"_sel)) {
        raise(NSInvalidArgumentException, descriptionOf(observer) +
                                              " cannot observe: it does not respond to " +
                                              "observeValueForKeyPath:ofObject:change:context:");
    }
    const auto observation =
        std::make_shared<KeyPathObservation>(*self, *observer, forKeyPath, options, context);
    observation->link(*self, 0);
    observation->tellInitial();
}

namespace {

template <class Predicate>
void removeLatest(Receiver self, Predicate predicate) {
    std::shared_ptr<KeyPathObservation> ended;
    if (auto* extras = self ? internal::ObjectExtras::ifAny(*self) : nullptr) {
        const std::lock_guard lock(extras->mutex);
        const auto found = std::find_if(
            extras->observed.rbegin(), extras->observed.rend(),
            [&](const Observed& entry) { return entry.level == 0 && predicate(*entry.observation); });
        if (found == extras->observed.rend()) {
            return;
        }
        ended = std::move(found->observation);
        extras->observed.erase(std::next(found).base());
        extras->isObserved.store(!extras->observed.empty(), std::memory_order_release);
    }
    if (ended) {
        ended->end();
    }
}

}  // namespace

void removeObserver(Receiver self, Receiver observer, std::string_view forKeyPath) {
    if (observer) {
        removeLatest(self,
                     [&](const KeyPathObservation& entry) { return entry.isBy(*observer, forKeyPath); });
    }
}

void removeObserver(Receiver self, Receiver observer, std::string_view forKeyPath, void* context) {
    if (observer) {
        removeLatest(self, [&](const KeyPathObservation& entry) {
            return entry.context() == context && entry.isBy(*observer, forKeyPath);
        });
    }
}

void willChangeValueForKey(Receiver self, std::string_view key) {
    if (self && internal::isObserved(*self)) {
        for (const auto& [observation, level] : internal::concernedBy(*self, key)) {
            observation->willChange(key);
        }
    }
}

void didChangeValueForKey(Receiver self, std::string_view key) {
    if (self && internal::isObserved(*self)) {
        for (const auto& [observation, level] : internal::concernedBy(*self, key)) {
            observation->didChange(*self, level, key);
        }
    }
}

}  // namespace qz
