#include "Platform/Dispatch/NSTimer.h"

#include <algorithm>
#include <utility>

#include "Platform/Dispatch/DelayedPerforming.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Dispatch/internal/RunLoopCore.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

using detail::RunLoopCore;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

struct NSTimer::Action {
    Ref<Object> target;
    Selector selector;
    id userInfo;
    Block block;  // empty for a message
};

QZ_DEFINE_CLASS(NSTimer, cls) {
    cls.classMethod(
        "scheduledTimerWithTimeInterval:target:selector:userInfo:repeats:",
        [](Class&, double seconds, const id& target, Selector selector, const id& userInfo, bool repeats) {
            return scheduledTimerWithTimeInterval(seconds, target, selector, userInfo, repeats);
        });
    cls.method("fire", &NSTimer::fire);
    cls.method("invalidate", &NSTimer::invalidate);
    cls.propertyWithGetter("valid", "isValid", &NSTimer::isValid);
    cls.property("userInfo", &NSTimer::userInfo);
    cls.property("timeInterval", &NSTimer::timeInterval);
    cls.property("fireDate", &NSTimer::fireDate, &NSTimer::setFireDate);
}

namespace {

constexpr std::chrono::microseconds shortestInterval{100};

}  // namespace

NSTimer::NSTimer(double seconds, bool repeats, std::shared_ptr<const Action> action)
    : interval_(repeats ? std::max<nanoseconds>(detail::delayOf(seconds), shortestInterval)
                        : nanoseconds::zero()),
      action_(std::move(action)),
      due_(repeats ? steady_clock::now() + interval_ : detail::steadyTimeIn(seconds)) {}

Ref<NSTimer> NSTimer::timerWithTimeInterval(double seconds, Receiver target, Selector selector, id userInfo,
                                            bool repeats) {
    detail::requirePerformable(target, selector);
    return make<NSTimer>(
        seconds, repeats,
        std::make_shared<const Action>(Action{target.ref(), selector, std::move(userInfo), {}}));
}

Ref<NSTimer> NSTimer::timerWithTimeIntervalBlock(double seconds, bool repeats, Block block) {
    if (!block) {
        raise(NSInvalidArgumentException, "a timer needs a block");
    }
    return make<NSTimer>(
        seconds, repeats,
        std::make_shared<const Action>(Action{nullptr, Selector(), nullptr, std::move(block)}));
}

Ref<NSTimer> NSTimer::scheduledTimerWithTimeInterval(double seconds, Receiver target, Selector selector,
                                                     id userInfo, bool repeats) {
    auto timer = timerWithTimeInterval(seconds, target, selector, std::move(userInfo), repeats);
    NSRunLoop::currentRunLoop()->addTimer(timer);
    return timer;
}

Ref<NSTimer> NSTimer::scheduledTimerWithTimeIntervalBlock(double seconds, bool repeats, Block block) {
    auto timer = timerWithTimeIntervalBlock(seconds, repeats, std::move(block));
    NSRunLoop::currentRunLoop()->addTimer(timer);
    return timer;
}

void NSTimer::scheduleOn(const std::shared_ptr<RunLoopCore>& loop) {
    const std::lock_guard lock(mutex_);
    const auto current = loop_.lock();
    if (!action_ || current == loop) {
        return;
    }
    if (current) {
        raise(NSInvalidArgumentException, "the timer is on another run loop already");
    }
    loop_ = loop;
    scheduleLocked();
}

/// Enters `due_` into the loop's schedule. On a loop that has ended the timer has no place and never fires.
void NSTimer::scheduleLocked() {
    if (const auto loop = loop_.lock()) {
        place_ = loop->schedule(due_, std::shared_ptr<TimedWork>(ref(), this));
    }
}

void NSTimer::invalidate() {
    std::shared_ptr<const Action> released;
    std::shared_ptr<RunLoopCore> loop;
    TimedWork::Place place;
    {
        const std::lock_guard lock(mutex_);
        released = std::move(action_);
        loop = loop_.lock();
        place = std::exchange(place_, {});
    }
    if (loop && place) {
        loop->unschedule(place);
    }
}

bool NSTimer::isValid() const {
    const std::lock_guard lock(mutex_);
    return action_ != nullptr;
}

/// What a firing has to do; null when there is nothing.
std::shared_ptr<const NSTimer::Action> NSTimer::beginFiringLocked() {
    if (interval_ != nanoseconds::zero()) {
        return action_;
    }
    return std::exchange(spent_, true) ? nullptr : action_;
}

void NSTimer::becomeDue(const TimedWork::Place& place) {
    std::shared_ptr<const Action> action;
    {
        const std::lock_guard lock(mutex_);
        // It may have been moved to another time since the loop took it.
        if (place_ != place) {
            return;
        }
        place_ = {};
        action = beginFiringLocked();
    }
    if (action) {
        perform(*action);
        goOn();
    }
}

void NSTimer::fire() {
    std::shared_ptr<const Action> action;
    {
        const std::lock_guard lock(mutex_);
        action = beginFiringLocked();
    }
    if (action) {
        perform(*action);
        if (interval_ == nanoseconds::zero()) {
            invalidate();
        }
    }
}

void NSTimer::perform(const Action& action) {
    const auto self = std::static_pointer_cast<NSTimer>(ref());
    if (action.block) {
        action.block(self);
    } else {
        performSelector(action.target, action.selector, self);
    }
}

/// What follows a firing by the loop: the end, or the next time that has not passed.
void NSTimer::goOn() {
    if (interval_ == nanoseconds::zero()) {
        return invalidate();
    }
    const std::lock_guard lock(mutex_);
    if (!action_ || place_) {  // ended or moved by its own action
        return;
    }
    const auto missed = std::max(steady_clock::now() - due_, nanoseconds::zero()) / interval_;
    due_ += (missed + 1) * interval_;
    scheduleLocked();
}

id NSTimer::userInfo() const {
    const std::lock_guard lock(mutex_);
    return action_ ? action_->userInfo : id();
}

double NSTimer::timeInterval() const noexcept {
    return std::chrono::duration<double>(interval_).count();
}

Ref<NSDate> NSTimer::fireDate() const {
    const std::lock_guard lock(mutex_);
    const auto left = std::chrono::duration<double>(due_ - steady_clock::now()).count();
    return NSDate::dateWithTimeIntervalSinceReferenceDate(NSDate::date()->timeIntervalSinceReferenceDate() +
                                                          left);
}

void NSTimer::setFireDate(const Ref<NSDate>& date) {
    const auto due = detail::steadyTimeIn(date ? date->timeIntervalSinceDate(*NSDate::date()) : 0);
    const std::lock_guard lock(mutex_);
    if (!action_) {
        return;
    }
    due_ = due;
    const auto loop = loop_.lock();
    if (loop && !spent_) {
        loop->unschedule(place_);
        scheduleLocked();
    }
}

}  // namespace qz
