// Observable: a list of subscribers for any C++ class or value that publishes callbacks.
//
//     class Shelf : public Observable<std::function<void(const Issue&)>> {
//         void add(const Issue& issue) {
//             observers().forEach([&](const auto& observer) { observer->callback(issue); });
//         }
//     };
//     auto token = shelf.observe([](const Issue& issue) { … });
//
// A subscriber stays subscribed exactly as long as it keeps the token. For use from one thread at a time.
#pragma once

#include <memory>
#include <utility>

#include "QZUtils/Observation/WeakArray.h"

namespace qz {

/// One subscription; its callback is set once.
template <class Callback>
class Observer {
public:
    explicit Observer(Callback block) : callback(std::move(block)) {}
    const Callback callback;
};

/// Keeps a subscription alive; opaque.
using ObserverToken = std::shared_ptr<void>;

template <class Callback>
class Observable {
public:
    /// Subscribes until the token is released.
    [[nodiscard]] ObserverToken observe(Callback callback) {
        auto observer = std::make_shared<Observer<Callback>>(std::move(callback));
        observers().append(observer);
        return observer;
    }

    /// How the publisher reaches its subscribers, in the order in which they came.
    [[nodiscard]] WeakArray<Observer<Callback>>& observers() {
        if (!observers_) {
            observers_ = std::make_unique<WeakArray<Observer<Callback>>>();
        }
        return *observers_;
    }

protected:
    Observable() = default;
    /// Subscriptions are to one publisher: a copy starts without any, an assignment changes none.
    Observable(const Observable&) noexcept {}
    Observable& operator=(const Observable&) noexcept { return *this; }
    ~Observable() = default;

private:
    std::unique_ptr<WeakArray<Observer<Callback>>> observers_;
};

}  // namespace qz
