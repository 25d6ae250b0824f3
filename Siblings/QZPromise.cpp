#include "Siblings/QZPromise.h"

#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

Ref<NSError> errorWithReason(std::string_view reason) {
    return NSError::errorWithDomain(std::string(QZPromiseErrorDomain), 1,
                                    NSDictionary::dictionary({{NSLocalizedDescriptionKey, reason}}));
}

/// The error of what is being handled.
Ref<NSError> errorOfCurrentException() {
    try {
        throw;
    } catch (const Ref<NSError>& error) {
        return error;
    } catch (const QZPromiseRejection& rejection) {
        return rejection.error();
    } catch (const NSException& exception) {
        return errorWithReason(exception.reason());
    } catch (const std::exception& exception) {
        return errorWithReason(exception.what());
    } catch (...) {
        return errorWithReason("an exception of an unknown kind");
    }
}

/// Owns a coroutine until it goes on: one whose promise is never settled goes with the promise.
class SuspendedCoroutine {
public:
    explicit SuspendedCoroutine(std::coroutine_handle<> handle) noexcept : handle_(handle) {}
    SuspendedCoroutine(const SuspendedCoroutine&) = delete;
    SuspendedCoroutine& operator=(const SuspendedCoroutine&) = delete;
    ~SuspendedCoroutine() {
        if (handle_) {
            handle_.destroy();
        }
    }
    void resume() { std::exchange(handle_, nullptr).resume(); }

private:
    std::coroutine_handle<> handle_;
};

}  // namespace

QZPromiseRejection::QZPromiseRejection(const Ref<NSError>& error)
    : error_(error), reason_(error ? error->localizedDescription() : "rejected without an error") {}

QZ_DEFINE_CLASS(QZPromise, cls) {
    using Self = QZPromise;
    cls.classMethod("promiseWithId:run:", [](Class&, std::string_view identifier,
                                             const std::function<void(const Resolver&)>& body) {
        return promiseWithIdRun(identifier, body);
    });
    cls.classMethod("resolved:", [](Class&, const id& value) { return resolved(value); });
    cls.property("identifier", &Self::identifier);
    cls.propertyWithGetter("settled", "isSettled", &Self::isSettled);
    cls.propertyWithGetter("fulfilled", "isFulfilled", &Self::isFulfilled);
    cls.property("value", &Self::value);
    cls.property("error", &Self::error);
    cls.method("description", [](const Self& self) {
        return stringWithFormat("<QZPromise %@: %@>", self.identifier(),
                                !self.isSettled()    ? "pending"
                                : self.isFulfilled() ? "fulfilled"
                                                     : "rejected");
    });
}

/// The right to settle a promise, shared by those who may.
class QZPromise::Completion {
public:
    explicit Completion(Ref<QZPromise> promise) : promise_(std::move(promise)) { promise_->addCompletion(); }
    Completion(const Completion&) = delete;
    Completion& operator=(const Completion&) = delete;
    ~Completion() { promise_->endCompletion(); }

    [[nodiscard]] QZPromise* operator->() const noexcept { return promise_.get(); }

private:
    const Ref<QZPromise> promise_;
};

Ref<QZPromise> QZPromise::promiseWithIdRun(std::string_view identifier,
                                           const std::function<void(const Resolver&)>& body) {
    auto promise = make<QZPromise>(identifier);
    const auto completion = std::make_shared<Completion>(promise);
    try {
        body([completion](bool fulfilled, const id& value, const Ref<NSError>& error) {
            (*completion)->settle(fulfilled ? State::Fulfilled : State::Rejected, value, error);
        });
    } catch (...) {
        promise->rejectWithCurrentException();
    }
    return promise;
}

Ref<QZPromise> QZPromise::resolved(const id& value) {
    auto promise = make<QZPromise>("resolved");
    promise->settle(State::Fulfilled, value, nullptr);
    return promise;
}

Ref<QZPromise> QZPromise::rejected(const Ref<NSError>& error) {
    auto promise = make<QZPromise>("rejected");
    promise->settle(State::Rejected, nullptr, error);
    return promise;
}

bool QZPromise::isSettled() const {
    const std::lock_guard lock(mutex_);
    return state_ != State::Pending;
}

bool QZPromise::isFulfilled() const {
    const std::lock_guard lock(mutex_);
    return state_ == State::Fulfilled;
}

id QZPromise::value() const {
    const std::lock_guard lock(mutex_);
    return value_;
}

Ref<NSError> QZPromise::error() const {
    const std::lock_guard lock(mutex_);
    return error_;
}

void QZPromise::settle(State state, const id& value, const Ref<NSError>& error) {
    std::vector<Observer> observers;
    {
        const std::lock_guard lock(mutex_);
        if (state_ != State::Pending) {
            return;
        }
        state_ = state;
        value_ = state == State::Fulfilled ? value : id();
        error_ = state == State::Rejected ? error : nullptr;
        observers.swap(observers_);
    }
    const auto self = refTo(*this);
    for (const auto& observer : observers) {
        observer(self);
    }
}

void QZPromise::addCompletion() {
    const std::lock_guard lock(mutex_);
    ++completions_;
}

void QZPromise::endCompletion() {
    std::vector<Observer> released;
    const std::lock_guard lock(mutex_);
    if (--completions_ == 0) {
        isAbandoned_ = true;
        released.swap(observers_);
    }
}

/// A promise is waited for, any other value fulfils.
void QZPromise::settleWith(const id& value) {
    const auto other = value.as<QZPromise>();
    if (!other) {
        settle(State::Fulfilled, value, nullptr);
    } else if (other.get() == this) {
        settle(State::Rejected, nullptr, errorWithReason("a promise waits for itself"));
    } else {
        const auto completion = std::make_shared<Completion>(refTo(*this));
        other->whenSettled([completion](const Ref<QZPromise>& settled) {
            (*completion)
                ->settle(settled->isFulfilled() ? State::Fulfilled : State::Rejected, settled->value(),
                         settled->error());
        });
    }
}

void QZPromise::rejectWithCurrentException() {
    settle(State::Rejected, nullptr, errorOfCurrentException());
}

Ref<QZPromise> QZPromise::chain(const std::optional<DispatchQueue>& queue, Block<const id&> then,
                                Block<const Ref<NSError>&> recover) {
    auto next = make<QZPromise>(identifier_);
    const auto completion = std::make_shared<Completion>(next);
    observe(queue,
            [completion, then = std::move(then), recover = std::move(recover)](const Ref<QZPromise>& self) {
                try {
                    if (self->isFulfilled()) {
                        (*completion)->settleWith(then ? then(self->value()) : self->value());
                    } else if (recover) {
                        (*completion)->settleWith(recover(self->error()));
                    } else {
                        (*completion)->settle(State::Rejected, nullptr, self->error());
                    }
                } catch (...) {
                    (*completion)->rejectWithCurrentException();
                }
            });
    return next;
}

void QZPromise::whenSettled(Observer block) {
    observe(std::nullopt, std::move(block));
}

void QZPromise::whenSettled(const DispatchQueue& queue, Observer block) {
    observe(queue, std::move(block));
}

void QZPromise::observe(const std::optional<DispatchQueue>& queue, Observer block) {
    if (queue) {
        block = [queue = *queue, block = std::move(block)](const Ref<QZPromise>& self) {
            queue.async([block, self] { block(self); });
        };
    }
    {
        const std::lock_guard lock(mutex_);
        if (state_ == State::Pending) {
            if (!isAbandoned_) {
                observers_.push_back(std::move(block));
            }
            return;
        }
    }
    block(refTo(*this));
}

bool QZPromise::wait() {
    return wait(std::stop_token());
}

bool QZPromise::wait(const std::stop_token& stop) {
    const auto loop = NSRunLoop::currentRunLoop();
    const auto wake = [loop] { loop->perform([] {}); };
    whenSettled([wake](const Ref<QZPromise>&) { wake(); });
    const std::stop_callback onStop(stop, wake);
    const auto isOver = [&] { return isSettled() || stop.stop_requested(); };
    (void)loop->runUntil(NSRunLoop::Deadline::max(), isOver);
    return isSettled();
}

void QZPromise::Awaiter::await_suspend(std::coroutine_handle<> handle) {
    const auto waiting = std::make_shared<SuspendedCoroutine>(handle);
    promise_->observe(queue_, [waiting](const Ref<QZPromise>&) { waiting->resume(); });
}

id QZPromise::Awaiter::await_resume() const {
    if (!promise_->isFulfilled()) {
        throw QZPromiseRejection(promise_->error());
    }
    return promise_->value();
}

QZPromiseCoroutine::QZPromiseCoroutine() : promise_(make<QZPromise>("coroutine")) {
    promise_->addCompletion();
}

QZPromiseCoroutine::~QZPromiseCoroutine() {
    promise_->endCompletion();
}

}  // namespace qz
