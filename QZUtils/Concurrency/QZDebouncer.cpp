#include "QZUtils/Concurrency/QZDebouncer.h"

#include <utility>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz {

QZ_DEFINE_CLASS(QZDebouncer, cls) {
    cls.classMethod("debouncerWithDelay:callback:", [](Class&, double delay, const Callback& callback) {
        return debouncerWithDelay(delay, callback);
    });
    cls.method("call", &QZDebouncer::call);
    cls.method("callWithCallback:",
               [](QZDebouncer& self, const Callback& callback) { self.callWithCallback(callback); });
    cls.method("callWithCallback:delay:", [](QZDebouncer& self, const Callback& callback, double delay) {
        self.callWithCallback(callback, delay);
    });
    cls.method("callNow", &QZDebouncer::callNow);
    cls.method("callNowWithCallback:", &QZDebouncer::callNowWithCallback);
    cls.method("cancel", &QZDebouncer::cancel);
    cls.property("timer", &QZDebouncer::timer, &QZDebouncer::setTimer);
    cls.property("callback", &QZDebouncer::callback, &QZDebouncer::setCallback);
    cls.property("delay", &QZDebouncer::delay, &QZDebouncer::setDelay);
}

void QZDebouncer::call() {
    callWithCallback(nullptr);
}

void QZDebouncer::callWithCallback(Callback callback) {
    callWithCallback(std::move(callback), delay());
}

void QZDebouncer::callWithCallback(Callback callback, double delay) {
    replaceCallback(std::move(callback));
    setDelay(delay);
    setTimer(NSTimer::scheduledTimerWithTimeInterval(delay, *this, "callNow"_sel, nullptr, false));
}

void QZDebouncer::callNow() {
    callNowWithCallback(nullptr);
}

void QZDebouncer::callNowWithCallback(Callback callback) {
    setTimer(nullptr);
    replaceCallback(std::move(callback));
    if (const auto present = this->callback()) {
        present();
    }
}

void QZDebouncer::cancel() {
    setTimer(nullptr);
}

void QZDebouncer::replaceCallback(Callback callback) {
    if (callback) {
        setCallback(std::move(callback));
    }
}

Ref<NSTimer> QZDebouncer::timer() const {
    const std::lock_guard lock(mutex_);
    return timer_;
}

void QZDebouncer::setTimer(const Ref<NSTimer>& timer) {
    if (this->timer() == timer) {
        return;
    }
    // The pending timer may be all that holds this object.
    const auto self = ref();
    const auto replaced = changing(*this, "timer", [&] {
        const std::lock_guard lock(mutex_);
        return std::exchange(timer_, timer);
    });
    if (replaced && replaced != timer) {
        replaced->invalidate();
    }
}

QZDebouncer::Callback QZDebouncer::callback() const {
    const std::lock_guard lock(mutex_);
    return callback_;
}

void QZDebouncer::setCallback(Callback callback) {
    changing(*this, "callback", [&] {
        const std::lock_guard lock(mutex_);
        std::swap(callback_, callback);  // the old one is released after the lock
    });
}

double QZDebouncer::delay() const {
    const std::lock_guard lock(mutex_);
    return delay_;
}

void QZDebouncer::setDelay(double delay) {
    changing(*this, "delay", [&] {
        const std::lock_guard lock(mutex_);
        delay_ = delay;
    });
}

}  // namespace qz
