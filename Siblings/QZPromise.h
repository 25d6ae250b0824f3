// QZPromise: a value, or an error, that will be there later.
//
//     const auto issue = QZPromise::promiseWithIdRun("issue", [=](const QZPromise::Resolver& resolver) {
//         fetch(url, [=](const id& value, const Ref<NSError>& error) { resolver(!error, value, error); });
//     });
//     issue->then([](const id& value) { show(value); })->recover([](const Ref<NSError>& error) { … });
//     const id value = co_await issue;     // in a coroutine
//
// A promise is settled once, fulfilled or rejected; what its resolver says afterwards is ignored. Blocks that
// were given before are then called in their order; those that are given later are called at once. They are
// called on the queue that was named, or else on the thread that settles the promise, or that gives the
// block.
//
// CHAINS. then() and recover() answer a new promise of what their block answers. A promise that is answered
// is waited for. What is thrown in a block rejects the new promise: an NSError (Ref) as it is, anything else
// as an error of QZPromiseErrorDomain.
//
// A promise is held by whoever holds its resolver or a promise further down its chain is made of; nobody has
// to hold one for its blocks to be called. Every operation is safe from any thread.
#pragma once

#include <concepts>
#include <coroutine>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSError;

/// Errors made of what blocks throw: code 1, with the reason as the text for people.
inline constexpr std::string_view QZPromiseErrorDomain = "QZPromiseErrorDomain";

/// What waiting in a coroutine throws when the promise is rejected; one that leaves a block rejects with its
/// error.
class QZ_EXPORT QZPromiseRejection : public std::exception {
public:
    explicit QZPromiseRejection(const Ref<NSError>& error);
    /// May be null.
    [[nodiscard]] const Ref<NSError>& error() const noexcept { return error_; }
    [[nodiscard]] const char* what() const noexcept override { return reason_.c_str(); }

private:
    Ref<NSError> error_;
    std::string reason_;
};

class QZ_EXPORT QZPromise : public NSObject {
    QZ_OBJECT(QZPromise, NSObject)
public:
    /// Settles a promise: with a value when fulfilled, with an error, which may be null, otherwise. From any
    /// thread.
    using Resolver = std::function<void(bool fulfilled, const id& value, const Ref<NSError>& error)>;
    using Observer = std::function<void(const Ref<QZPromise>& promise)>;

    /// Runs the body before this returns; what it throws rejects the promise.
    [[nodiscard]] static Ref<QZPromise> promiseWithIdRun(std::string_view identifier,
                                                         const std::function<void(const Resolver&)>& body);
    /// Settled already.
    [[nodiscard]] static Ref<QZPromise> resolved(const id& value);
    [[nodiscard]] static Ref<QZPromise> rejected(const Ref<NSError>& error);

    /// For people and messages.
    [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }
    [[nodiscard]] bool isSettled() const;
    [[nodiscard]] bool isFulfilled() const;
    /// Nil until fulfilled.
    [[nodiscard]] id value() const;
    /// Null until rejected.
    [[nodiscard]] Ref<NSError> error() const;

    /// Calls the block with the value. It answers an id, what an id can be made of, a promise, or nothing. A
    /// rejection passes it by.
    template <class F>
    Ref<QZPromise> then(F block) {
        return chain(std::nullopt, asBlock<const id&>(std::move(block)), nullptr);
    }
    template <class F>
    Ref<QZPromise> then(const DispatchQueue& queue, F block) {
        return chain(queue, asBlock<const id&>(std::move(block)), nullptr);
    }
    /// Calls the block with the error of a rejection, and fulfils the new promise with what it answers. A
    /// value passes it by.
    template <class F>
    Ref<QZPromise> recover(F block) {
        return chain(std::nullopt, nullptr, asBlock<const Ref<NSError>&>(std::move(block)));
    }
    template <class F>
    Ref<QZPromise> recover(const DispatchQueue& queue, F block) {
        return chain(queue, nullptr, asBlock<const Ref<NSError>&>(std::move(block)));
    }
    /// Calls the block with this promise when it is settled, either way. What it throws is its own affair: it
    /// ends the program on a queue, and leaves the resolver otherwise.
    void whenSettled(Observer block);
    void whenSettled(const DispatchQueue& queue, Observer block);

    /// Runs the calling thread's run loop until the promise is settled: true; false when the loop was
    /// stopped.
    [[nodiscard]] bool wait();
    /// The same, until stop is requested: false then.
    [[nodiscard]] bool wait(const std::stop_token& stop);

    // Coroutines. `co_await promise` gives the value or throws QZPromiseRejection, and goes on on the thread
    // that settles the promise; `co_await promise->on(queue)` goes on on a queue. A coroutine that answers
    // Ref<QZPromise> runs at once, fulfils it by `co_return value`, and rejects it by what it throws.

    class QZ_EXPORT Awaiter {
    public:
        Awaiter(Ref<QZPromise> promise, std::optional<DispatchQueue> queue)
            : promise_(std::move(promise)), queue_(std::move(queue)) {}
        [[nodiscard]] bool await_ready() const { return !queue_ && promise_->isSettled(); }
        void await_suspend(std::coroutine_handle<> handle);
        id await_resume() const;

    private:
        Ref<QZPromise> promise_;
        std::optional<DispatchQueue> queue_;
    };
    [[nodiscard]] Awaiter on(const DispatchQueue& queue) { return {refTo(*this), queue}; }

protected:
    explicit QZPromise(std::string_view identifier) : identifier_(identifier) {}

private:
    template <class Argument>
    using Block = std::function<id(Argument)>;
    enum class State { Pending, Fulfilled, Rejected };

    template <class Argument, class F>
    static Block<Argument> asBlock(F block) {
        if constexpr (std::is_void_v<std::invoke_result_t<F&, Argument>>) {
            return [block = std::move(block)](Argument argument) mutable {
                block(argument);
                return id();
            };
        } else {
            return Block<Argument>(std::move(block));
        }
    }

    class Completion;

    void addCompletion();
    void endCompletion();
    Ref<QZPromise> chain(const std::optional<DispatchQueue>& queue, Block<const id&> then,
                         Block<const Ref<NSError>&> recover);
    void settle(State state, const id& value, const Ref<NSError>& error);
    void settleWith(const id& value);
    void rejectWithCurrentException();
    void observe(const std::optional<DispatchQueue>& queue, Observer block);

    friend struct QZPromiseCoroutine;

    const std::string identifier_;
    mutable std::mutex mutex_;  // guards all that follows
    State state_ = State::Pending;
    int completions_ = 0;       // those who may settle it
    bool isAbandoned_ = false;  // all of them went without doing so
    id value_;
    Ref<NSError> error_;
    std::vector<Observer> observers_;
};

[[nodiscard]] inline QZPromise::Awaiter operator co_await(const Ref<QZPromise>& promise) {
    return {promise, std::nullopt};
}

/// What the compiler asks for in a coroutine that answers a promise.
struct QZ_EXPORT QZPromiseCoroutine {
    QZPromiseCoroutine();
    QZPromiseCoroutine(const QZPromiseCoroutine&) = delete;
    QZPromiseCoroutine& operator=(const QZPromiseCoroutine&) = delete;
    ~QZPromiseCoroutine();
    [[nodiscard]] Ref<QZPromise> get_return_object() const noexcept { return promise_; }
    [[nodiscard]] std::suspend_never initial_suspend() const noexcept { return {}; }
    [[nodiscard]] std::suspend_never final_suspend() const noexcept { return {}; }
    void return_value(const id& value) const { promise_->settleWith(value); }
    void unhandled_exception() const { promise_->rejectWithCurrentException(); }

private:
    Ref<QZPromise> promise_;
};

}  // namespace qz

template <class... Arguments>
struct std::coroutine_traits<qz::Ref<qz::QZPromise>, Arguments...> {
    using promise_type = qz::QZPromiseCoroutine;
};
