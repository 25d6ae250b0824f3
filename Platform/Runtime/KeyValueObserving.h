// Key-value observing: an object is told when a value that it watches, by key path, has changed in another.
//
// The observer is sent "observeValueForKeyPath:ofObject:change:context:" with the key path (a text), the
// object, an NSDictionary of what changed and the context (a void*), on the thread that made the change,
// before the change returns. Setters of declared properties announce their changes with `changing`;
// properties that are computed from others say so when they are declared (ClassBuilder::dependsOn) and are
// announced with them.
//
// Observing does not change an object's class, and costs an object that nobody observes one load for each
// change. Observers and contexts are not owned: a registration ends when it is removed, when its observer
// dies or when the object dies. Registering and announcing are safe from any thread; a removal does not wait
// for a notice that another thread is delivering. A block may add and remove observers, its own registration
// included.
#pragma once

#include <string_view>
#include <utility>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

/// Which entries the change dictionary has and when notices are sent; combine with |.
enum class NSKeyValueObservingOptions : unsigned {
    None = 0,
    New = 1,      // the value after the change, under "new"
    Old = 2,      // the value before the change, under "old"
    Initial = 4,  // one notice at once, from addObserver
    Prior = 8,    // one more notice before each change, marked by "notificationIsPrior"
};
[[nodiscard]] constexpr NSKeyValueObservingOptions operator|(NSKeyValueObservingOptions left,
                                                             NSKeyValueObservingOptions right) noexcept {
    return static_cast<NSKeyValueObservingOptions>(static_cast<unsigned>(left) |
                                                   static_cast<unsigned>(right));
}
[[nodiscard]] constexpr bool contains(NSKeyValueObservingOptions options,
                                      NSKeyValueObservingOptions one) noexcept {
    return (static_cast<unsigned>(options) & static_cast<unsigned>(one)) != 0;
}

/// Keys of the change dictionary. A nil value is an NSNull there. "kind" is always 1, a value that was set.
inline constexpr std::string_view NSKeyValueChangeKindKey = "kind";
inline constexpr std::string_view NSKeyValueChangeNewKey = "new";
inline constexpr std::string_view NSKeyValueChangeOldKey = "old";
inline constexpr std::string_view NSKeyValueChangeNotificationIsPriorKey = "notificationIsPrior";

/// Registers an observer. The same observer may be registered several times, and is then told as often.
/// Raises NSInvalidArgumentException when it does not respond to the message above. Nothing happens for a nil
/// receiver.
QZ_EXPORT void addObserver(Receiver self, Receiver observer, std::string_view forKeyPath,
                           NSKeyValueObservingOptions options = NSKeyValueObservingOptions::None,
                           void* context = nullptr);
/// Ends the latest registration of the observer for the key path; nothing happens when there is none.
QZ_EXPORT void removeObserver(Receiver self, Receiver observer, std::string_view forKeyPath);
/// The same for one context.
QZ_EXPORT void removeObserver(Receiver self, Receiver observer, std::string_view forKeyPath, void* context);

/// Announce a change by hand: each willChange is followed by a didChange of the same key on the same thread.
/// Calls for several keys may nest in any order.
QZ_EXPORT void willChangeValueForKey(Receiver self, std::string_view key);
QZ_EXPORT void didChangeValueForKey(Receiver self, std::string_view key);

namespace internal {
/// Whether anybody observes the object; the one load that an unobserved change costs.
[[nodiscard]] QZ_EXPORT bool isObserved(const Object& self) noexcept;
}  // namespace internal

/// Makes a change and announces it: what a setter does.
///     void setTitle(std::string_view title) { changing(*this, "title", [&] { title_ = title; }); }
template <class F>
decltype(auto) changing(Object& self, std::string_view key, F&& change) {
    struct Announcement {
        Object* object;
        std::string_view key;
        Announcement(Object& self, std::string_view name)
            : object(internal::isObserved(self) ? &self : nullptr), key(name) {
            if (object) {
                willChangeValueForKey(*object, key);
            }
        }
        // Observers may throw; a change that threw itself is announced all the same, for it may have happened
        // in part.
        ~Announcement() noexcept(false) {
            if (object) {
                didChangeValueForKey(*object, key);
            }
        }
    };
    const Announcement announcement(self, key);
    return std::forward<F>(change)();
}

}  // namespace qz
