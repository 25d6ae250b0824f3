// NSTimer: a message or a block at a time, once or repeatedly, on a run loop.
//
//     timer = NSTimer::scheduledTimerWithTimeInterval(0.5, *this, "tick:"_sel, nullptr, true);
//     …
//     timer->invalidate();
//
// A scheduled timer is held by its run loop, and holds its target and user information strongly, until it is
// invalidated: by invalidate(), after a one-shot timer has fired, or when its loop's thread ends.
//
// A repeating timer keeps to the times at which it was due at first, however late it fires, so it does not
// drift; times that were missed meanwhile, because the loop or the timer's own action was busy, are left out.
// It does not fire while its action still runs.
//
// Seconds that are negative or NaN count as 0: due at the loop's next turn; a repeating timer repeats after
// a tenth of a millisecond at least. Infinite seconds, and more than a century, never come. Times are kept in
// microseconds; NSRunLoop.h says how exactly they are met. Setting and cancelling take the logarithm of the
// number of timers on the loop, and no system call.
//
// Every operation is safe from any thread. On the loop's thread, a timer does not fire any more once
// invalidate() has returned; called elsewhere, it does not wait for a firing that has begun.
#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "Platform/Dispatch/internal/TimedWork.h"
#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Selector.h"

namespace qz {

class NSDate;

namespace detail {
class RunLoopCore;
}

class QZ_EXPORT NSTimer : public NSObject, private detail::TimedWork {
    QZ_OBJECT(NSTimer, NSObject)
public:
    using Block = std::function<void(const Ref<NSTimer>& timer)>;

    /// A new timer on the calling thread's run loop that sends `selector` to `target`, with itself as the
    /// argument where the selector takes one. Raises NSInvalidArgumentException when the target does not
    /// answer the selector, or when it takes more arguments. A timer of a null target does nothing when due.
    static Ref<NSTimer> scheduledTimerWithTimeInterval(double seconds, Receiver target, Selector selector,
                                                       id userInfo, bool repeats);
    /// The same with a block; an empty one raises NSInvalidArgumentException.
    static Ref<NSTimer> scheduledTimerWithTimeIntervalBlock(double seconds, bool repeats, Block block);

    /// Timers for NSRunLoop::addTimer(). Their time starts now.
    [[nodiscard]] static Ref<NSTimer> timerWithTimeInterval(double seconds, Receiver target,
                                                            Selector selector, id userInfo, bool repeats);
    [[nodiscard]] static Ref<NSTimer> timerWithTimeIntervalBlock(double seconds, bool repeats, Block block);

    /// Fires on the calling thread, before this returns. A one-shot timer is invalidated by it; a repeating
    /// one keeps its times. Nothing happens when the timer is invalid or a one-shot that is firing.
    void fire();
    /// Ends the timer and releases what it holds. Nothing happens the second time.
    void invalidate();
    /// A one-shot timer is valid until its action has run.
    [[nodiscard]] bool isValid() const;

    /// Nil once the timer is invalid.
    [[nodiscard]] id userInfo() const;
    /// The seconds between firings; 0 for a one-shot timer.
    [[nodiscard]] double timeInterval() const noexcept;
    /// When it is due next, or was due last if it is invalid.
    [[nodiscard]] Ref<NSDate> fireDate() const;
    /// Moves the next firing, and with it all that follow. Null, and a date that has passed, mean the loop's
    /// next turn. Nothing happens when the timer is invalid.
    void setFireDate(const Ref<NSDate>& date);

protected:
    struct Action;
    NSTimer(double seconds, bool repeats, std::shared_ptr<const Action> action);

private:
    friend class NSRunLoop;

    void scheduleOn(const std::shared_ptr<detail::RunLoopCore>& loop);
    void scheduleLocked();
    void becomeDue(const detail::TimedWork::Place& place) override;
    void loopEnded() noexcept override { invalidate(); }
    [[nodiscard]] std::shared_ptr<const Action> beginFiringLocked();
    void perform(const Action& action);
    void goOn();

    const std::chrono::nanoseconds interval_;  // zero for a one-shot timer

    mutable std::mutex mutex_;              // guards what follows; taken before the loop's
    std::shared_ptr<const Action> action_;  // null once invalid
    std::weak_ptr<detail::RunLoopCore> loop_;
    detail::TimedWork::Place place_;
    detail::SteadyTime due_;
    bool spent_ = false;  // a one-shot timer that has begun to fire
};

}  // namespace qz
