// One registration of key-value observing. A key path of n keys hangs on up to n objects: the observed one,
// the value of its first key, and so on; when a value along the path is exchanged, the links behind it are
// made anew.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz::internal {

class KeyPathObservation : public std::enable_shared_from_this<KeyPathObservation> {
public:
    KeyPathObservation(Object& subject, Object& observer, std::string_view keyPath,
                       NSKeyValueObservingOptions options, void* context);

    [[nodiscard]] bool isBy(const Object& observer, std::string_view keyPath) const noexcept {
        return observerAddress_ == &observer && keyPath_ == keyPath;
    }
    [[nodiscard]] void* context() const noexcept { return context_; }
    [[nodiscard]] const std::string& keyAt(std::size_t level) const { return keys_[level]; }
    [[nodiscard]] bool isOver() const noexcept {
        return ended_.load(std::memory_order_acquire) || observer_.expired();
    }

    /// Links the objects along the path from a level on, the first of them given.
    void link(Object& object, std::size_t level);
    /// Unlinks every object behind the first, and sends no more notices.
    void end();

    void tellInitial();
    void willChange(std::string_view key);
    void didChange(Object& object, std::size_t level, std::string_view key);

private:
    struct Pending {
        std::thread::id thread;
        std::string key;
        id old;
    };

    void unlinkBehind(std::size_t level);
    [[nodiscard]] bool wants(NSKeyValueObservingOptions option) const noexcept {
        return contains(options_, option);
    }
    /// `old` is null where it is not known.
    void tell(const Ref<Object>& subject, const id* old, bool isPrior);

    std::weak_ptr<Object> subject_;
    std::weak_ptr<Object> observer_;
    const Object* observerAddress_;  // compares equal when the observer, about to die, removes itself
    std::string keyPath_;
    std::vector<std::string> keys_;
    NSKeyValueObservingOptions options_;
    void* context_;
    std::atomic<bool> ended_{false};

    std::recursive_mutex mutex_;  // recursive: a getter along the path may itself announce a change
    std::vector<std::weak_ptr<Object>> links_;  // the objects behind the first, by level - 1
    std::vector<Pending> pending_;
};

/// An object's share of a registration: it watches the key at `level`.
struct Observed {
    std::shared_ptr<KeyPathObservation> observation;
    std::size_t level;
};

}  // namespace qz::internal
