#include "Platform/Dispatch/internal/RunLoopCore.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <thread>
#include <utility>

#include "Platform/Dispatch/MainThread.h"
#include "Platform/Dispatch/internal/ServiceThread.h"

namespace qz::detail {

std::chrono::nanoseconds delayOf(double seconds) noexcept {
    constexpr double century = 100 * 365.25 * 86400;
    const double bounded = seconds > 0 ? std::min(seconds, century) : 0;  // NaN is not above 0
    return std::chrono::microseconds(static_cast<std::int64_t>(std::ceil(bounded * 1e6)));
}

struct RunLoopCore::Source {
    GSource base;
    RunLoopCore* core;

    static RunLoopCore& coreOf(GSource* source) noexcept { return *reinterpret_cast<Source*>(source)->core; }
};

struct RunLoopCore::Functions {
    static gboolean prepareWork(GSource* source, gint* timeout) {
        return Source::coreOf(source).prepareWork(*timeout) ? TRUE : FALSE;
    }
    static gboolean checkWork(GSource* source) {
        int timeout = 0;
        return Source::coreOf(source).prepareWork(timeout) ? TRUE : FALSE;
    }
    static gboolean prepareIdle(GSource* source, gint*) {
        return Source::coreOf(source).hasIdleBlocks() ? TRUE : FALSE;
    }
    static gboolean checkIdle(GSource* source) { return prepareIdle(source, nullptr); }
    template <void (RunLoopCore::*work)()>
    static gboolean dispatch(GSource* source, GSourceFunc, gpointer) {
        // Nothing may be thrown through GLib.
        try {
            (Source::coreOf(source).*work)();
        } catch (...) {
            endForException("run loop");
        }
        return G_SOURCE_CONTINUE;
    }

    GSourceFuncs functions;
};

RunLoopCore::RunLoopCore(Kind kind)
    : kind_(kind), maker_(std::this_thread::get_id()), ended_(kind == Kind::ended), delayedPerforms_(*this) {
    if (ended_) {
        return;
    }
    static const Functions work{{&Functions::prepareWork, &Functions::checkWork,
                                 &Functions::dispatch<&RunLoopCore::doWork>, nullptr, nullptr, nullptr}};
    static const Functions idle{{&Functions::prepareIdle, &Functions::checkIdle,
                                 &Functions::dispatch<&RunLoopCore::doIdleWork>, nullptr, nullptr, nullptr}};
    context_ = kind == Kind::main ? g_main_context_ref(g_main_context_default()) : g_main_context_new();
    work_ = attach(work, G_PRIORITY_DEFAULT, "qz.runloop");
    idle_ = attach(idle, G_PRIORITY_DEFAULT_IDLE, "qz.runloop.idle");
}

RunLoopCore::~RunLoopCore() {
    end();
}

GSource* RunLoopCore::attach(const Functions& functions, int priority, const char* name) {
    auto* source = g_source_new(const_cast<GSourceFuncs*>(&functions.functions), sizeof(Source));
    reinterpret_cast<Source*>(source)->core = this;
    g_source_set_static_name(source, name);
    g_source_set_priority(source, priority);
    g_source_set_can_recurse(source, TRUE);  // a block may run the loop until something has happened
    g_source_attach(source, context_);
    return source;
}

void RunLoopCore::end() {
    std::deque<Block> blocks;
    std::deque<Block> idleBlocks;
    Schedule schedule;
    {
        const std::lock_guard lock(mutex_);
        blocks.swap(blocks_);
        idleBlocks.swap(idleBlocks_);
        schedule.swap(schedule_);
        if (!std::exchange(ended_, true)) {
            for (auto* source : {work_, idle_}) {
                g_source_destroy(source);
                g_source_unref(source);
            }
            g_main_context_unref(context_);
        }
    }
    // Released without the lock: destructors may come back to the loop.
    delayedPerforms_.cancelAll();
    for (const auto& [place, work] : schedule) {
        work->loopEnded();
    }
}

void RunLoopCore::wakeLocked() {
    // Inside a turn the loop looks again before it waits.
    if (!wakePending_ && g_main_context_is_owner(context_) == FALSE) {
        wakePending_ = true;
        g_main_context_wakeup(context_);
    }
}

void RunLoopCore::wake() {
    const std::lock_guard lock(mutex_);
    if (!ended_) {
        g_main_context_wakeup(context_);
    }
}

void RunLoopCore::requestStop() {
    stopRequested_ = true;
    wake();
}

void RunLoopCore::perform(Block block) {
    const std::lock_guard lock(mutex_);
    if (!ended_) {
        blocks_.push_back(std::move(block));
        wakeLocked();
    }
}

void RunLoopCore::performWhenIdle(Block block) {
    const std::lock_guard lock(mutex_);
    if (!ended_) {
        idleBlocks_.push_back(std::move(block));
        wakeLocked();
    }
}

TimedWork::Place RunLoopCore::schedule(SteadyTime time, const std::shared_ptr<TimedWork>& work) {
    const std::lock_guard lock(mutex_);
    if (ended_) {
        return {};
    }
    const auto place = schedule_.try_emplace({time, ++lastNumber_}, work).first;
    if (place == schedule_.begin()) {
        wakeLocked();
    }
    return place->first;
}

void RunLoopCore::unschedule(const TimedWork::Place& place) {
    Schedule::node_type removed;  // released after the lock
    const std::lock_guard lock(mutex_);
    removed = schedule_.extract(place);
}

bool RunLoopCore::isOwnedByCaller() const noexcept {
    return kind_ == Kind::main ? isMainThread() : maker_ == std::this_thread::get_id();
}

namespace {

/// In milliseconds, rounded up so that nobody is woken early and spins.
int timeoutUntil(SteadyTime time, SteadyTime now) {
    if (time <= now) {
        return 0;
    }
    constexpr std::int64_t longest = G_MAXINT;
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(time - now).count();
    return static_cast<int>(std::min<std::int64_t>(wait, longest));
}

}  // namespace

bool RunLoopCore::prepareWork(int& timeout) {
    const std::lock_guard lock(mutex_);
    wakePending_ = false;
    if (!blocks_.empty()) {
        return true;
    }
    auto next = deadline_.value_or(SteadyTime::max());
    if (!schedule_.empty()) {
        next = std::min(next, schedule_.begin()->first.time);
    }
    const auto now = std::chrono::steady_clock::now();
    timeout = next == SteadyTime::max() ? -1 : timeoutUntil(next, now);
    return !schedule_.empty() && schedule_.begin()->first.time <= now;
}

bool RunLoopCore::hasIdleBlocks() {
    const std::lock_guard lock(mutex_);
    return !idleBlocks_.empty();
}

void RunLoopCore::doWork() {
    std::unique_lock lock(mutex_);
    // Blocks that are added from here on wait for the next turn, so that other sources get theirs. The
    // earlier ones stay in place until it is their turn: a block that runs the loop itself reaches them.
    const auto lastBlock = firstBlock_ + blocks_.size();
    while (!blocks_.empty() && firstBlock_ < lastBlock) {
        ++firstBlock_;
        auto block = std::move(blocks_.front());
        blocks_.pop_front();
        lock.unlock();
        block();
        block = nullptr;
        lock.lock();
    }
    const auto now = std::chrono::steady_clock::now();
    while (!schedule_.empty() && schedule_.begin()->first.time <= now) {
        auto due = schedule_.extract(schedule_.begin());
        lock.unlock();
        due.mapped()->becomeDue(due.key());
        due.mapped() = nullptr;
        lock.lock();
    }
}

void RunLoopCore::doIdleWork() {
    std::unique_lock lock(mutex_);
    if (idleBlocks_.empty()) {
        return;
    }
    // One a turn: after it, something more urgent may be ready.
    const auto block = std::move(idleBlocks_.front());
    idleBlocks_.pop_front();
    lock.unlock();
    block();
}

bool RunLoopCore::turn(std::optional<SteadyTime> deadline) {
    const auto outer = std::exchange(deadline_, deadline);
    const bool mayWait = !deadline || *deadline > std::chrono::steady_clock::now();
    const bool dispatched = g_main_context_iteration(context_, mayWait ? TRUE : FALSE) != FALSE;
    deadline_ = outer;
    return dispatched;
}

}  // namespace qz::detail
