#include "Platform/Foundation/NSMapTable.h"

#include <algorithm>

#include "Platform/Foundation/Containers.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"

namespace qz {

using enum NSPointerFunctionsOptions;

QZ_DEFINE_CLASS(NSMapTable, cls) {
    cls.method("count", &NSMapTable::count);
    cls.method("objectForKey:", &NSMapTable::objectForKey);
    cls.method("setObject:forKey:", &NSMapTable::setObjectForKey);
    cls.method("removeObjectForKey:", &NSMapTable::removeObjectForKey);
    cls.method("removeAllObjects", &NSMapTable::removeAllObjects);
}

NSMapTable::Slot::Slot(id object, NSPointerFunctionsOptions options) {
    if (options == WeakMemory) {
        held_ = std::weak_ptr(object.ref());
    } else {
        held_ = options == CopyIn ? send<id>(object, "copy"_sel) : std::move(object);
    }
}

id NSMapTable::Slot::get() const {
    const auto* strong = std::get_if<id>(&held_);
    return strong ? *strong : id(std::get<std::weak_ptr<Object>>(held_).lock());
}

bool NSMapTable::Slot::equals(const id& object) const {
    const auto* strong = std::get_if<id>(&held_);  // compared in place: a copy would count a reference
    return strong ? object == *strong : object == get();
}

bool NSMapTable::Slot::isAlive() const noexcept {
    const auto* weak = std::get_if<std::weak_ptr<Object>>(&held_);
    return !weak || !weak->expired();
}

bool NSMapTable::Equal::operator()(const Probe& probe, const Key& key) const {
    return probe.hash == key.hash && key.slot.equals(probe.key);
}

Ref<NSMapTable> NSMapTable::mapTableWithKeyOptions(NSPointerFunctionsOptions keys,
                                                   NSPointerFunctionsOptions valueOptions) {
    for (const auto options : {keys, valueOptions}) {
        if (options != StrongMemory && options != WeakMemory && options != CopyIn) {
            raise(NSInvalidArgumentException,
                  "a map table holds objects strongly (0), weakly (5) or copied (65536), not by " +
                      std::to_string(static_cast<std::uint64_t>(options)));
        }
    }
    return make<NSMapTable>(keys, valueOptions);
}

Ref<NSMapTable> NSMapTable::strongToStrongObjectsMapTable() {
    return make<NSMapTable>(StrongMemory, StrongMemory);
}

bool NSMapTable::hasWeakSide() const noexcept {
    return keys_ == WeakMemory || values_ == WeakMemory;
}

std::size_t NSMapTable::count() const {
    if (!hasWeakSide()) {
        return entries_.size();
    }
    return static_cast<std::size_t>(std::ranges::count_if(
        entries_, [](const auto& entry) { return entry.first.slot.isAlive() && entry.second.isAlive(); }));
}

id NSMapTable::objectForKey(const id& key) const {
    if (!key) {
        return nullptr;
    }
    const auto found = entries_.find(Probe{key->hash(), key});
    return found == entries_.end() ? id() : found->second.get();
}

void NSMapTable::setObjectForKey(id object, id forKey) {
    internal::checkPresent(object);
    internal::checkPresent(forKey);
    const auto hash = forKey->hash();
    Slot value(std::move(object), values_);
    const auto found = entries_.find(Probe{hash, forKey});
    if (found != entries_.end()) {
        const Slot replaced = std::move(found->second);  // goes when the table is whole again
        found->second = std::move(value);
        return;
    }
    if (hasWeakSide() && entries_.size() >= sweepAt_) {
        dropDeadEntries();
    }
    entries_.emplace(Key{hash, Slot(std::move(forKey), keys_)}, std::move(value));
}

void NSMapTable::removeObjectForKey(const id& key) {
    const auto found = key ? entries_.find(Probe{key->hash(), key}) : entries_.end();
    if (found != entries_.end()) {
        const auto removed = entries_.extract(found);
    }
}

Ref<NSArray> NSMapTable::allKeys() const {
    std::vector<id> keys;
    for (const auto& [key, value] : entries_) {
        if (id object = key.slot.get(); object && value.isAlive()) {
            keys.push_back(std::move(object));
        }
    }
    return NSArray::arrayWithObjects(std::move(keys));
}

void NSMapTable::dropDeadEntries() {
    std::erase_if(entries_,
                  [](const auto& entry) { return !entry.first.slot.isAlive() || !entry.second.isAlive(); });
    // Twice what is left: sweeping costs each insertion a constant share.
    sweepAt_ = std::max<std::size_t>(16, 2 * entries_.size());
}

}  // namespace qz
