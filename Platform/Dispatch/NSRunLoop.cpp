#include "Platform/Dispatch/NSRunLoop.h"

#include <utility>

#include "Platform/Dispatch/MainThread.h"
#include "Platform/Dispatch/NSTimer.h"
#include "Platform/Dispatch/internal/RunLoopCore.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

using detail::RunLoopCore;

QZ_DEFINE_CLASS(NSRunLoop, cls) {
    cls.classMethod("currentRunLoop", [](Class&) { return currentRunLoop(); });
    cls.classMethod("mainRunLoop", [](Class&) { return mainRunLoop(); });
    cls.method("runUntilDate:", &NSRunLoop::runUntilDate);
    cls.method("stop", &NSRunLoop::stop);
}

namespace {

/// The loop of a thread other than the main one; ends with the thread.
class ThreadLoop {
public:
    // These outlive the object: what ends with the thread may still ask.
    static constinit thread_local RunLoopCore* living;
    static constinit thread_local bool hasEnded;

    ThreadLoop() : loop_(make<NSRunLoop>(std::make_shared<RunLoopCore>(RunLoopCore::Kind::secondary))) {
        living = loop_->core().get();
    }
    ThreadLoop(const ThreadLoop&) = delete;
    ThreadLoop& operator=(const ThreadLoop&) = delete;
    ~ThreadLoop() {
        living = nullptr;
        hasEnded = true;
        loop_->core()->end();
    }

    [[nodiscard]] const Ref<NSRunLoop>& loop() const noexcept { return loop_; }

private:
    const Ref<NSRunLoop> loop_;
};
constinit thread_local RunLoopCore* ThreadLoop::living = nullptr;
constinit thread_local bool ThreadLoop::hasEnded = false;

void requireBlock(const std::function<void()>& block) {
    if (!block) {
        raise(NSInvalidArgumentException, "a run loop cannot perform an empty block");
    }
}

}  // namespace

Ref<NSRunLoop> NSRunLoop::mainRunLoop() {
    // Lives until the process ends, with what waits on it.
    static const auto& loop =
        *new Ref<NSRunLoop>(make<NSRunLoop>(std::make_shared<RunLoopCore>(RunLoopCore::Kind::main)));
    return loop;
}

Ref<NSRunLoop> NSRunLoop::currentRunLoop() {
    if (isMainThread()) {
        return mainRunLoop();
    }
    if (ThreadLoop::hasEnded) {
        return make<NSRunLoop>(std::make_shared<RunLoopCore>(RunLoopCore::Kind::ended));
    }
    thread_local const ThreadLoop current;
    return current.loop();
}

detail::RunLoopCore* NSRunLoop::currentCore() {
    return isMainThread() ? mainRunLoop()->core().get() : ThreadLoop::living;
}

void NSRunLoop::requireOwnThread() const {
    if (!core_->isOwnedByCaller()) {
        raise(NSInternalInconsistencyException, "a run loop is run by its own thread only");
    }
}

template <class MayGoOn>
bool NSRunLoop::makeTurns(Deadline deadline, MayGoOn mayGoOn) {
    requireOwnThread();
    const auto self = ref();
    struct Depth {
        int& depth;
        explicit Depth(int& value) noexcept : depth(value) { ++depth; }
        ~Depth() { --depth; }
    } const depth(core_->depth());
    const bool isBounded = deadline != Deadline::max();
    while (!core_->takeStopRequest() && mayGoOn()) {
        core_->turn(isBounded ? std::optional(deadline) : std::nullopt);
        if (isBounded && std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
    }
    return true;
}

void NSRunLoop::run() {
    makeTurns(Deadline::max(), [] { return true; });
}

void NSRunLoop::run(const std::stop_token& stop) {
    const std::stop_callback wake(stop, [core = core_] { core->wake(); });
    makeTurns(Deadline::max(), [&] { return !stop.stop_requested(); });
}

void NSRunLoop::runUntilDate(const Ref<NSDate>& date) {
    runUntil(detail::steadyTimeIn(date ? date->timeIntervalSinceDate(*NSDate::date()) : 0));
}

void NSRunLoop::runUntil(Deadline deadline) {
    makeTurns(deadline, [] { return true; });
}

bool NSRunLoop::runUntil(Deadline deadline, const std::function<bool()>& condition) {
    bool holds = false;
    makeTurns(deadline, [&] { return !(holds = condition()); });
    return holds || condition();
}

bool NSRunLoop::runOnce(bool mayWait) {
    return runOnce(mayWait ? Deadline::max() : Deadline::min());
}

bool NSRunLoop::runOnce(Deadline deadline) {
    requireOwnThread();
    const auto self = ref();
    const bool done = core_->turn(deadline == Deadline::max() ? std::nullopt : std::optional(deadline));
    // A stop is for the run around this turn. When there is none it was for this turn.
    if (core_->depth() == 0) {
        static_cast<void>(core_->takeStopRequest());
    }
    return done;
}

void NSRunLoop::stop() {
    core_->requestStop();
}

void NSRunLoop::perform(std::function<void()> block) {
    requireBlock(block);
    core_->perform(std::move(block));
}

void NSRunLoop::performWhenIdle(std::function<void()> block) {
    requireBlock(block);
    core_->performWhenIdle(std::move(block));
}

void NSRunLoop::addTimer(const Ref<NSTimer>& timer) {
    if (timer) {
        timer->scheduleOn(core_);
    }
}

}  // namespace qz
