// The part of a run loop that knows GLib: two sources of its main context, one for what is due and one for
// what can wait until nothing else is.
//
// The sources look at the schedule whenever the context prepares a turn, whoever iterates it. What other
// threads add wakes the context; what its own thread adds inside a turn costs no system call.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "Platform/Dispatch/internal/DelayedPerforms.h"
#include "Platform/Dispatch/internal/TimedWork.h"

struct _GMainContext;  // NOLINT(bugprone-reserved-identifier): the names that GLib gives them
struct _GSource;       // NOLINT(bugprone-reserved-identifier)

namespace qz::detail {

class RunLoopCore {
public:
    using Block = std::function<void()>;

    /// The main thread's loop rests on the default context, every other one on a context of its own.
    enum class Kind { main, secondary, ended };
    explicit RunLoopCore(Kind kind);
    RunLoopCore(const RunLoopCore&) = delete;
    RunLoopCore& operator=(const RunLoopCore&) = delete;
    ~RunLoopCore();

    // From any thread. An ended loop drops what it is given.

    void perform(Block block);
    void performWhenIdle(Block block);
    /// The place is nowhere when the loop has ended.
    [[nodiscard]] TimedWork::Place schedule(SteadyTime time, const std::shared_ptr<TimedWork>& work);
    /// Nothing happens when the work is not there any more.
    void unschedule(const TimedWork::Place& place);
    void requestStop();
    void wake();

    // On the loop's thread.

    [[nodiscard]] bool isOwnedByCaller() const noexcept;
    /// Waits for work until `deadline`, not at all when it has passed, and does what is due. False when there
    /// was nothing to do.
    bool turn(std::optional<SteadyTime> deadline);
    /// Whether a stop was requested, which is forgotten.
    [[nodiscard]] bool takeStopRequest() noexcept { return stopRequested_.exchange(false); }
    /// How many runs are under way, one inside the other.
    [[nodiscard]] int& depth() noexcept { return depth_; }
    [[nodiscard]] DelayedPerforms& delayedPerforms() noexcept { return delayedPerforms_; }
    /// Ends the loop with its thread: everything that waits is dropped.
    void end();

private:
    using Schedule = std::map<TimedWork::Place, std::shared_ptr<TimedWork>>;

    struct Source;
    struct Functions;

    _GSource* attach(const Functions& functions, int priority, const char* name);
    void wakeLocked();
    [[nodiscard]] bool prepareWork(int& timeout);
    [[nodiscard]] bool hasIdleBlocks();
    void doWork();
    void doIdleWork();

    const Kind kind_;
    const std::thread::id maker_;
    _GMainContext* context_ = nullptr;
    _GSource* work_ = nullptr;
    _GSource* idle_ = nullptr;

    std::mutex mutex_;  // guards what follows
    bool ended_ = false;
    bool wakePending_ = false;  // the context was woken and has not looked yet
    std::deque<Block> blocks_;
    std::uint64_t firstBlock_ = 0;  // the number of the first of them
    std::deque<Block> idleBlocks_;
    Schedule schedule_;
    std::uint64_t lastNumber_ = 0;

    std::atomic<bool> stopRequested_{false};

    // The loop's thread only.
    int depth_ = 0;
    std::optional<SteadyTime> deadline_;  // of the innermost turn
    DelayedPerforms delayedPerforms_;
};

}  // namespace qz::detail
