#include "Platform/Dispatch/DelayedPerforming.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <utility>

#include "Platform/Dispatch/MainThread.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Dispatch/internal/RunLoopCore.h"
#include "Platform/Dispatch/internal/ThreadPool.h"
#include "Platform/Runtime/NSInvocation.h"
#include "Platform/Runtime/Raise.h"
#include "Platform/Runtime/Send.h"

namespace qz {

void detail::requirePerformable(Receiver self, Selector selector) {
    if (!self) {
        return;
    }
    if (selector.argumentCount() > 1) {
        raise(NSInvalidArgumentException,
              std::string(selector.name()) + " cannot be performed: it takes more than one argument");
    }
    if (!self->respondsToSelector(selector) && !self->methodSignatureForSelector(selector)) {
        raise(NSInvalidArgumentException, "-[" + self->isa().name() + " " + std::string(selector.name()) +
                                              "]: a selector that " + descriptionOf(self) +
                                              " does not answer cannot be performed");
    }
}

void performSelector(Receiver self, Selector selector) {
    send(self, selector);
}

void performSelector(Receiver self, Selector selector, const id& withObject) {
    if (selector.argumentCount() == 0) {
        send(self, selector);
    } else {
        send(self, selector, withObject);
    }
}

void performSelectorAfterDelay(Receiver self, Selector selector, const id& withObject, double seconds) {
    detail::requirePerformable(self, selector);
    if (self) {
        const auto time = detail::steadyTimeIn(seconds);
        NSRunLoop::currentRunLoop()->core()->delayedPerforms().add(self.ref(), selector, withObject, time);
    }
}

void cancelPreviousPerformRequests(Receiver target) {
    if (auto* loop = target ? NSRunLoop::currentCore() : nullptr) {
        loop->delayedPerforms().cancel(*target);
    }
}

void cancelPreviousPerformRequests(Receiver target, Selector selector, const id& object) {
    if (auto* loop = target ? NSRunLoop::currentCore() : nullptr) {
        loop->delayedPerforms().cancel(*target, selector, object);
    }
}

namespace {

/// A message on its way to the main thread, and its sender who waits.
class MainThreadPerform {
public:
    MainThreadPerform(Receiver self, Selector selector, id object)
        : target_(self.ref()), selector_(selector), object_(std::move(object)) {}

    void run() {
        {
            const std::lock_guard lock(mutex_);
            if (state_ != State::waiting) {
                return;
            }
            state_ = State::begun;
        }
        try {
            performSelector(target_, selector_, object_);
        } catch (...) {
            exception_ = std::current_exception();
        }
        const std::lock_guard lock(mutex_);
        state_ = State::done;
        changed_.notify_all();
    }

    /// False when stop was requested first.
    bool wait(const std::stop_token& stop) {
        const detail::ThreadPool::Blocked blocked;
        std::unique_lock lock(mutex_);
        const auto isDone = [&] { return state_ == State::done; };
        if (!changed_.wait(lock, stop, isDone)) {
            if (state_ == State::waiting) {
                state_ = State::givenUp;
                return false;
            }
            changed_.wait(lock, isDone);
        }
        if (auto exception = std::exchange(exception_, nullptr)) {  // the main thread keeps no part in it
            std::rethrow_exception(std::move(exception));
        }
        return true;
    }

private:
    enum class State : unsigned char { waiting, begun, done, givenUp };

    const Ref<Object> target_;
    const Selector selector_;
    const id object_;
    std::mutex mutex_;
    std::condition_variable_any changed_;
    State state_ = State::waiting;
    std::exception_ptr exception_;
};

}  // namespace

bool performSelectorOnMainThreadUntil(const std::stop_token& stop, Receiver self, Selector selector,
                                      const id& withObject) {
    detail::requirePerformable(self, selector);
    if (stop.stop_requested()) {
        return false;
    }
    if (!self || isMainThread()) {
        performSelector(self, selector, withObject);
        return true;
    }
    const auto perform = std::make_shared<MainThreadPerform>(self, selector, withObject);
    NSRunLoop::mainRunLoop()->perform([perform] { perform->run(); });
    return perform->wait(stop);
}

void performSelectorOnMainThread(Receiver self, Selector selector, const id& withObject, bool waitUntilDone) {
    if (waitUntilDone) {
        static_cast<void>(performSelectorOnMainThreadUntil({}, self, selector, withObject));
        return;
    }
    detail::requirePerformable(self, selector);
    if (self) {
        NSRunLoop::mainRunLoop()->perform(
            [target = self.ref(), selector, withObject] { performSelector(target, selector, withObject); });
    }
}

}  // namespace qz
