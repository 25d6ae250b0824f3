// What few objects have and no other object pays for: attached values, instance variables added at run time,
// and who observes them. It hangs off the object from the first time that anything needs it until the object
// dies.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/KeyPathObservation.h"
#include "Platform/Runtime/Object.h"

namespace qz::internal {

struct ObjectExtras {
    struct Association {
        const void* key;
        id strong;
        std::weak_ptr<Object> weak;
        bool isWeak;
    };
    struct Variables {
        const Class* cls;
        std::unique_ptr<std::byte[]> block;
    };

    ~ObjectExtras();

    std::mutex mutex;  // guards the lists, not what they hold
    std::vector<Association> associations;
    std::vector<Variables>
        variables;                   // one zeroed block for each class that adds some; never moved once made
    std::vector<Observed> observed;  // registrations that watch a key of this object
    std::atomic<bool> isObserved{false};
    std::shared_ptr<std::recursive_mutex> monitor;  // made on demand

    /// The extras of an object, made on demand.
    [[nodiscard]] static ObjectExtras& of(Object& object);
    /// Null when the object has none.
    [[nodiscard]] static ObjectExtras* ifAny(const Object& object) noexcept {
        return object.extras_.load(std::memory_order_acquire);
    }
};

}  // namespace qz::internal
