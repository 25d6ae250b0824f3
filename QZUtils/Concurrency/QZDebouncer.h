// QZDebouncer: calls a block once, a while after the last of many requests: a search when the reader has
// stopped typing, a save when nothing has changed for a second.
//
//     const auto search = QZDebouncer::debouncerWithDelay(0.5, [=] { … });
//     search->call();  // at every keystroke
//
// The block is called `delay` seconds after the last call(), on the run loop of the thread that made it,
// which must be running; every call within the delay restarts the wait. While a call is pending, its timer
// holds the debouncer. NSTimer.h says what negative and infinite delays mean.
//
// Every operation is safe from any thread. A timer that has begun to fire on one thread counts as earlier
// than a call that another thread makes meanwhile.
#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "Platform/Dispatch/NSTimer.h"
#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class QZ_EXPORT QZDebouncer : public NSObject {
    QZ_OBJECT(QZDebouncer, NSObject)
public:
    using Callback = std::function<void()>;

    /// In seconds. The callback may be empty.
    template <class Self = QZDebouncer>
    [[nodiscard]] static Ref<Self> debouncerWithDelay(double delay, Callback callback) {
        return initWithDelay<Self>(delay, std::move(callback));
    }
    template <class Self = QZDebouncer>
    [[nodiscard]] static Ref<Self> initWithDelay(double delay, Callback callback) {
        auto debouncer = make<Self>();
        debouncer->setDelay(delay);
        debouncer->setCallback(std::move(callback));
        return debouncer;
    }

    /// Requests a call of the callback after the delay; an earlier request is dropped.
    void call();
    /// The same with another callback, which is kept; an empty one leaves the present one.
    void callWithCallback(Callback callback);
    /// The same after `delay` seconds, which are kept too.
    void callWithCallback(Callback callback, double delay);
    /// Drops a request and calls the callback before this returns, whether or not one was pending. Nothing
    /// is called when there is no callback.
    void callNow();
    void callNowWithCallback(Callback callback);
    /// Drops a request.
    void cancel();

    /// The pending request; null when there is none.
    [[nodiscard]] Ref<NSTimer> timer() const;
    /// Invalidates the present timer, unless it is the same.
    void setTimer(const Ref<NSTimer>& timer);
    [[nodiscard]] Callback callback() const;
    void setCallback(Callback callback);
    [[nodiscard]] double delay() const;
    void setDelay(double delay);

protected:
    QZDebouncer() = default;

private:
    void replaceCallback(Callback callback);

    mutable std::mutex mutex_;  // guards what follows
    Ref<NSTimer> timer_;
    Callback callback_;
    double delay_ = 0;
};

}  // namespace qz
