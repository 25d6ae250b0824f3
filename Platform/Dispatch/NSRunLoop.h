// NSRunLoop: the loop that a thread waits in for timers, delayed performs and posted blocks.
//
//     const auto loop = NSRunLoop::currentRunLoop();
//     NSTimer::scheduledTimerWithTimeIntervalBlock(0.5, false, [=](auto&) { loop->stop(); });
//     loop->run();
//
// Every thread has one loop, made when it first asks for it. The main thread's rests on GLib's default main
// context: in a program that iterates that context already (GTK, Qt, a GMainLoop) timers and blocks of the
// main run loop simply work, and a program without such a loop runs this one. Every other thread's loop is
// private to it and ends with it: what then still waits is released without being run, and the ended loop
// drops what it is given.
//
// A turn of the loop runs the blocks that were performed before it, in their order, then the timers and
// delayed performs that are due, in the order of their times; blocks for idle time run one a turn, when
// nothing else is ready. Running the loop inside a block is fine: it goes on with what follows that block.
// Waiting threads sleep. Timers are never early, and late by a millisecond at most unless the loop is busy.
//
// THREADS. perform(), performWhenIdle(), addTimer() and stop() may be called from any thread; what a block's
// poster wrote before is visible to the block. The forms of run are for the loop's own thread and raise
// NSInternalInconsistencyException elsewhere. An exception that leaves a block, a timer or a delayed perform
// ends the program, after a line on standard error with its reason.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSDate;
class NSTimer;

namespace detail {
class RunLoopCore;
}

class QZ_EXPORT NSRunLoop : public NSObject {
    QZ_OBJECT(NSRunLoop, NSObject)
public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// The calling thread's loop; an ended one when the thread is past the end of its own.
    [[nodiscard]] static Ref<NSRunLoop> currentRunLoop();
    [[nodiscard]] static Ref<NSRunLoop> mainRunLoop();

    /// Makes turns until stop().
    void run();
    /// Makes turns until stop(), or until stop is requested through the token.
    void run(const std::stop_token& stop);
    /// Makes turns until the date has passed, one at least, or until stop(). Later changes of the system's
    /// clock do not move the date. Null counts as passed.
    void runUntilDate(const Ref<NSDate>& date);
    void runUntil(Deadline deadline);
    /// Makes turns until `condition` holds, which is asked before every turn; false when the deadline passed
    /// or stop() was called first. Whoever makes the condition true on another thread performs a block, if
    /// only an empty one, to have it asked.
    [[nodiscard]] bool runUntil(Deadline deadline, const std::function<bool()>& condition);

    /// One turn: does what is due and, when that is nothing and `mayWait` holds, waits until something is or
    /// until stop(). Returns whether anything was done.
    bool runOnce(bool mayWait = true);
    /// The same, waiting until the deadline at the longest.
    bool runOnce(Deadline deadline);

    /// Ends the run that is under way, the innermost of several, when its current turn is over. When none is,
    /// the next one returns at once. It has no power over a main context that the program iterates by other
    /// means, and single turns do not use it up.
    void stop();

    /// Has the loop call `block`, after those that were performed earlier. Raises NSInvalidArgumentException
    /// when it is empty. The block is destroyed on the loop's thread.
    void perform(std::function<void()> block);
    /// Has the loop call `block` when it would otherwise wait; such blocks keep their order too.
    void performWhenIdle(std::function<void()> block);

    /// Puts a timer that was made without being scheduled on this loop, which holds it until it is
    /// invalidated. Null, an invalid timer and one that is on this loop already are left alone; one that is
    /// on another loop raises NSInvalidArgumentException.
    void addTimer(const Ref<NSTimer>& timer);

    /// For the platform's own use. The second is null when the calling thread has no loop yet.
    [[nodiscard]] const std::shared_ptr<detail::RunLoopCore>& core() const noexcept { return core_; }
    [[nodiscard]] static detail::RunLoopCore* currentCore();

protected:
    explicit NSRunLoop(std::shared_ptr<detail::RunLoopCore> core) noexcept : core_(std::move(core)) {}

private:
    template <class MayGoOn>
    bool makeTurns(Deadline deadline, MayGoOn mayGoOn);
    void requireOwnThread() const;

    const std::shared_ptr<detail::RunLoopCore> core_;
};

}  // namespace qz
