// The threads of all queues.
#pragma once

#include <sys/types.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <vector>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/internal/Futex.h"
#include "Platform/Dispatch/internal/Item.h"

namespace qz::detail {

/// As many threads work at once as the machine has processors, two at least. A thread that is blocked is
/// replaced while tasks wait: one that waits for its turn in a queue at once, one that blocks elsewhere when
/// the monitor notices.
///
/// The monitor looks every few milliseconds while tasks wait. When nothing was taken since it last looked, it
/// asks the system which of the threads run. One that does not counts as blocked until it takes its next
/// task. If all run, they may be computing or spinning until a waiting task helps them: one more thread is
/// started, each time after twice the patience of the time before, so that long computations do not fill the
/// machine with threads.
class ThreadPool {
public:
    static constexpr unsigned limit = 512;                        // threads at most
    static constexpr std::chrono::milliseconds idleLife{2000};    // an idle thread ends after it
    static constexpr std::chrono::milliseconds monitorPeriod{5};  // between two looks of the monitor
    static constexpr unsigned turnsOfOthers = 31;  // a waiting priority is passed over so often at most

    /// Around a wait of a pool thread. Means nothing on other threads.
    class Blocked {
    public:
        Blocked() noexcept;
        Blocked(const Blocked&) = delete;
        Blocked& operator=(const Blocked&) = delete;
        ~Blocked();
    };

    static ThreadPool& shared();

    ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    /// Performs `task` on some thread. Whatever escapes it ends the program.
    void submit(Task& task, DispatchPriority priority) noexcept;

    /// Whether other tasks wait, so that who works for long should let them.
    [[nodiscard]] bool hasWaitingTasks() const noexcept {
        return waiting_.load(std::memory_order_relaxed) != 0;
    }

private:
    struct Worker;

    struct Level {
        Task* first = nullptr;
        Task* last = nullptr;
        unsigned passedOver = 0;
    };

    /// What is to be done once the lock is open.
    struct Summons {
        Worker* wake = nullptr;
        bool start = false;
        bool startMonitor = false;
        bool wakeMonitor = false;
    };

    static constinit thread_local Worker* current;

    static void* work(void* pool);
    static void* monitor(void* pool);

    void run(Worker& worker);
    Level* nextLevel() noexcept;
    void performNext(Worker& worker, Level& level, std::unique_lock<Mutex>& lock);
    void spin(std::unique_lock<Mutex>& lock) noexcept;
    bool sleep(Worker& worker, std::unique_lock<Mutex>& lock) noexcept;
    void dismiss(Worker& worker) noexcept;

    unsigned active() const noexcept;
    Summons summon() noexcept;
    void watch(Summons& summons) noexcept;
    void answer(const Summons& summons) noexcept;
    void noteStartFailure() noexcept;

    bool awaitAlarm() noexcept;
    void look();
    std::vector<pid_t> threadsThatTakeNothing();
    void suspect(const std::vector<pid_t>& sleeping) noexcept;

    const unsigned width_;
    std::atomic<unsigned> waiting_{0};  // tasks in all levels; changed under the lock

    Mutex mutex_;  // guards what follows
    std::array<Level, 4> levels_;
    Worker* workers_ = nullptr;  // all that run
    Worker* idle_ = nullptr;     // the one that fell asleep last is woken first, so that the others may end
    unsigned threads_ = 0;
    unsigned idleCount_ = 0;
    unsigned searching_ = 0;  // spinning or on their way: they will take a task without being woken
    unsigned blocked_ = 0;
    unsigned suspected_ = 0;
    std::uint64_t taken_ = 0;

    bool monitorLives_ = false;
    bool alarmed_ = false;  // the monitor has been told
    std::uint64_t takenBefore_ = 0;
    unsigned looksInVain_ = 0;
    unsigned patience_ = 0;
    std::atomic<std::uint32_t> alarm_{0};
};

/// What a global queue is called.
const char* globalQueueLabel(DispatchPriority priority) noexcept;

}  // namespace qz::detail
