#include "Platform/Runtime/ObjectExtras.h"

#include <algorithm>

#include "Platform/Runtime/Raise.h"
#include "Platform/Runtime/Send.h"

namespace qz {

namespace internal {

ObjectExtras::~ObjectExtras() {
    for (const auto& [observation, level] : observed) {
        if (level == 0) {
            observation->end();  // objects along the path need not remember it
        }
    }
}

ObjectExtras& ObjectExtras::of(Object& object) {
    if (auto* extras = ifAny(object)) {
        return *extras;
    }
    auto made = std::make_unique<ObjectExtras>();
    ObjectExtras* expected = nullptr;
    if (object.extras_.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel)) {
        return *made.release();
    }
    return *expected;
}

}  // namespace internal

using internal::ObjectExtras;

void setAssociatedValue(Receiver self, const void* key, id value, AssociationPolicy policy) {
    if (!self || (!value && !ObjectExtras::ifAny(*self))) {
        return;
    }
    if (policy == AssociationPolicy::Copy && value) {
        value = send<id>(value, "copy"_sel);
    }
    id replaced;  // released after the lock: its destructor may come back here
    auto& extras = ObjectExtras::of(*self);
    const std::lock_guard lock(extras.mutex);
    auto& list = extras.associations;
    const auto found = std::ranges::find(list, key, &ObjectExtras::Association::key);
    if (found != list.end()) {
        replaced = std::move(found->strong);
        list.erase(found);
    }
    if (value) {
        const bool isWeak = policy == AssociationPolicy::Weak;
        list.push_back({key, isWeak ? id() : value, isWeak ? value.ref() : nullptr, isWeak});
    }
}

id associatedValue(Receiver self, const void* key) {
    auto* extras = self ? ObjectExtras::ifAny(*self) : nullptr;
    if (!extras) {
        return nullptr;
    }
    const std::lock_guard lock(extras->mutex);
    const auto found = std::ranges::find(extras->associations, key, &ObjectExtras::Association::key);
    if (found == extras->associations.end()) {
        return nullptr;
    }
    return found->isWeak ? id(found->weak.lock()) : found->strong;
}

}  // namespace qz
