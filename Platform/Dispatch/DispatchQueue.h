// Queues of blocks. A queue runs the blocks that are submitted to it, on the caller's thread or on a thread
// of a pool that all queues share, and keeps the promises about order that locks and threads leave to their
// users.
//
//     auto store = DispatchQueue::concurrent("store");
//     auto title = store.sync([&] { return titles.at(key); });             // readers overlap
//     store.barrierAsync([=] { titles[key] = newTitle; });                 // a writer runs alone
//     DispatchQueue::global().async([=] { render(page); });                // anywhere, when there is time
//     DispatchQueue::main().async([=] { show(page); });                    // on the main thread
//
// ORDER. Blocks start in the order in which they were submitted. On a serial queue a block starts when its
// predecessor has finished. On a concurrent queue blocks overlap each other; a synchronous one does not wait
// for asynchronous ones that no thread has taken yet. A block starts only after every barrier submitted
// earlier has finished; a barrier starts after every earlier block has finished, and no later one starts
// until it has finished. What a block wrote is visible to every block that must not overlap it and starts
// later.
//
// KINDS. serial() and concurrent() make private queues. global() are four concurrent queues, one a priority;
// barriers mean nothing there. main() is a serial queue whose blocks, synchronous ones too, run on the main
// thread whenever that iterates GLib's default main context.
//
// DEADLOCK. Nothing detects re-entrance: from a block of a serial queue a sync() to the same queue waits for
// ever, and so does a barrierSync() from a block of the same concurrent queue, and a sync() there once a
// barrier waits. Queues that wait for each other in a circle wait for ever too, and so does sync() to main()
// while the main thread iterates no context. The forms that end in `Until` get out when stop is requested.
// Chains of queues are fine: the pool grows while its threads are blocked, up to 512 threads.
//
// LIFETIME. Handles are cheap to copy and share one queue. Blocks submitted asynchronously still run when
// every handle is gone: the queue lives as long as a handle or a block. An asynchronous block is destroyed on
// the thread that ran it, right after it. A synchronous block may drop the last handle, its own queue's
// included. At the end of the process blocks that have not started are dropped.
//
// EXCEPTIONS. What a synchronous block throws reaches its caller and leaves the queue usable. What leaves an
// asynchronous block ends the program, after a line on standard error with the queue's label and the reason.
//
// THREADS. Any thread may call anything. An uncontended sync() costs two atomic operations and allocates
// nothing; a waiting one runs its block on its own thread when its turn comes. Pool threads block all signals
// that are not their own fault, and end after two idle seconds. The child of a fork() has none: it should do
// no more than become another program.
#pragma once

#include <chrono>
#include <concepts>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Platform/Dispatch/internal/MainCall.h"
#include "Platform/Dispatch/internal/QueueCore.h"
#include "Platform/Dispatch/internal/Turn.h"
#include "Platform/Export.h"

namespace qz {

/// Which blocks of the global queues pool threads take first. Private queues are served like the standard
/// one. A waiting priority is passed over some thirty times at most.
enum class DispatchPriority : unsigned char { high, standard, low, background };

/// A handle of a queue. One that was moved from may only be assigned to or destroyed.
class DispatchQueue {
public:
    /// What a block gives back.
    template <class F>
    using Result = std::invoke_result_t<F&&>;

    /// What an `Until` form gives back: whether the block ran, or its result if it did.
    template <class F>
    using ResultUntil =
        std::conditional_t<std::is_void_v<Result<F>>, bool, std::optional<std::remove_cvref_t<Result<F>>>>;

    /// New queues. The label is kept to the letter, may be empty and need not be unique; it names the queue
    /// in messages.
    [[nodiscard]] QZ_EXPORT static DispatchQueue serial(std::string_view label);
    [[nodiscard]] QZ_EXPORT static DispatchQueue concurrent(std::string_view label);

    /// The main thread's queue. On the main thread itself, outside its blocks, sync() runs what was submitted
    /// before and then the block. A block that iterates the default context does not make other blocks of the
    /// queue run.
    [[nodiscard]] QZ_EXPORT static DispatchQueue main();

    /// The queue of a priority. A sync() to it runs at once.
    [[nodiscard]] QZ_EXPORT static DispatchQueue global(
        DispatchPriority priority = DispatchPriority::standard);

    DispatchQueue(const DispatchQueue& other) noexcept : core_(other.core_) {
        if (core_ != nullptr)
            core_->retain();
    }
    DispatchQueue(DispatchQueue&& other) noexcept : core_(std::exchange(other.core_, nullptr)) {}
    DispatchQueue& operator=(DispatchQueue other) noexcept {
        std::swap(core_, other.core_);
        return *this;
    }
    ~DispatchQueue() {
        if (core_ != nullptr)
            core_->release();
    }

    /// Whether both are handles of one queue.
    [[nodiscard]] bool operator==(const DispatchQueue&) const noexcept = default;

    [[nodiscard]] const std::string& label() const noexcept { return core_->label(); }

    /// Runs `block` when its turn comes and returns, or throws, what it does. The block is not copied.
    template <std::invocable F>
    Result<F> sync(F&& block) const {
        return run(std::forward<F>(block), false);
    }

    /// sync() as a barrier. On a queue that is not a private concurrent one it is sync().
    template <std::invocable F>
    Result<F> barrierSync(F&& block) const {
        return run(std::forward<F>(block), true);
    }

    /// sync() that gives up when stop is requested before the block has started: false, or no value. Stop
    /// that was requested before the call counts; once the block has started it runs to its end.
    template <std::invocable F>
    [[nodiscard]] ResultUntil<F> syncUntil(const std::stop_token& stop, F&& block) const {
        return runUntil(stop, std::forward<F>(block), false);
    }

    /// barrierSync() that gives up as syncUntil() does. A barrier that was given up holds nobody up.
    template <std::invocable F>
    [[nodiscard]] ResultUntil<F> barrierSyncUntil(const std::stop_token& stop, F&& block) const {
        return runUntil(stop, std::forward<F>(block), true);
    }

    /// Submits `block`, which is copied or moved and may be move-only, and returns at once. Throws what the
    /// copy throws, or std::bad_alloc, before anything is submitted.
    template <std::invocable F>
    void async(F&& block) const {
        core_->submit(detail::Item::make(std::forward<F>(block), false));
    }

    /// async() as a barrier. On a queue that is not a private concurrent one it is async().
    template <std::invocable F>
    void barrierAsync(F&& block) const {
        core_->submit(detail::Item::make(std::forward<F>(block), true));
    }

    /// async() in `delay` from now, not earlier; at once when it is not positive. Equal times keep their
    /// order. The queue lives until then.
    template <class Rep, class Period, std::invocable F>
    void after(std::chrono::duration<Rep, Period> delay, F&& block) const {
        submitAfter(delay, detail::Item::make(std::forward<F>(block), false));
    }

private:
    using Core = detail::QueueCore;

    explicit DispatchQueue(Core* core) noexcept : core_(core) {}

    template <class F>
    Result<F> run(F&& block, bool barrier) const {
        if (core_->kind() == Core::Kind::main) [[unlikely]]
            return detail::MainCall<F>(block).perform(*core_);
        const detail::Turn turn(*core_, barrier, nullptr);
        return std::invoke(std::forward<F>(block));
    }

    template <class F>
    ResultUntil<F> runUntil(const std::stop_token& stop, F&& block, bool barrier) const {
        if (stop.stop_requested())
            return {};
        if (core_->kind() == Core::Kind::main)
            return detail::MainCall<F>(block).template performUntil<ResultUntil<F>>(*core_, stop);
        const detail::Turn turn(*core_, barrier, &stop);
        if (!turn.taken())
            return {};
        if constexpr (std::is_void_v<Result<F>>)
            return std::invoke(std::forward<F>(block)), true;
        else
            return std::invoke(std::forward<F>(block));
    }

    QZ_EXPORT void submitAfter(std::chrono::duration<double> delay, detail::Item* item) const;

    Core* core_;
};

}  // namespace qz
