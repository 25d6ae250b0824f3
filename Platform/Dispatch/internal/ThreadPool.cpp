#include "Platform/Dispatch/internal/ThreadPool.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <mutex>
#include <thread>
#include <utility>

#include "Platform/Dispatch/internal/ServiceThread.h"

namespace qz::detail {

struct ThreadPool::Worker {
    ThreadPool* pool = nullptr;
    pid_t thread = 0;
    Worker* nextWorker = nullptr;
    Worker* nextIdle = nullptr;
    bool busy = false;
    bool waitsInQueue = false;
    bool suspect = false;                 // counts as blocked until its next task
    std::atomic<std::uint32_t> woken{0};  // taken off the idle list

    bool countsAsWorking() const noexcept { return busy && !waitsInQueue && !suspect; }
};

constinit thread_local ThreadPool::Worker* ThreadPool::current = nullptr;

namespace {

constexpr unsigned initialPatience = 10;  // looks of the monitor at threads that all run

constexpr std::array<const char*, 4> levelLabels = {"qz.global.high", "qz.global.standard", "qz.global.low",
                                                    "qz.global.background"};

/// Whether the system says that a thread of this process neither runs nor could.
bool isSleeping(pid_t thread) noexcept {
    char text[256];
    std::snprintf(text, sizeof text, "/proc/self/task/%d/stat", thread);
    const int file = open(text, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return true;
    const ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    if (length <= 0)
        return true;
    text[length] = '\0';
    const char* afterName = std::strrchr(text, ')');  // the name may hold anything
    return afterName == nullptr || afterName[1] != ' ' || afterName[2] != 'R';
}

}  // namespace

const char* globalQueueLabel(DispatchPriority priority) noexcept {
    return levelLabels[static_cast<unsigned>(priority)];
}

ThreadPool& ThreadPool::shared() {
    static auto* const pool = new ThreadPool;  // its threads outlive every destructor
    return *pool;
}

ThreadPool::ThreadPool() : width_(std::max(2U, std::thread::hardware_concurrency())) {}

// Submitting

void ThreadPool::submit(Task& task, DispatchPriority priority) noexcept {
    Summons summons;
    {
        const std::lock_guard lock(mutex_);
        Level& level = levels_[static_cast<unsigned>(priority)];
        task.next = nullptr;
        if (level.first == nullptr)
            level.first = &task;
        else
            level.last->next = &task;
        level.last = &task;
        waiting_.store(waiting_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        summons = summon();
    }
    answer(summons);
}

/// Threads that work or will, as far as is known.
unsigned ThreadPool::active() const noexcept {
    return threads_ - idleCount_ - blocked_ - suspected_;
}

/// Finds a thread for a waiting task: one that searches, an idle one, a new one, or whichever is ready first.
ThreadPool::Summons ThreadPool::summon() noexcept {
    Summons summons;
    if (searching_ != 0)
        return summons;
    if (active() < width_ && idle_ != nullptr) {
        summons.wake = idle_;
        idle_ = idle_->nextIdle;
        --idleCount_;
        ++searching_;
        summons.wake->woken.store(1, std::memory_order_release);
    } else if (active() < width_ && threads_ < limit) {
        ++threads_;
        ++searching_;
        summons.start = true;
    } else {
        watch(summons);
    }
    return summons;
}

void ThreadPool::watch(Summons& summons) noexcept {
    if (alarmed_)
        return;
    alarmed_ = true;
    takenBefore_ = taken_;
    alarm_.store(1, std::memory_order_release);
    summons.wakeMonitor = monitorLives_;
    summons.startMonitor = !std::exchange(monitorLives_, true);
}

void ThreadPool::answer(const Summons& summons) noexcept {
    if (summons.wake != nullptr)
        futexWake(summons.wake->woken);
    if (summons.start && !startServiceThread(&work, this))
        noteStartFailure();
    if (summons.wakeMonitor)
        futexWake(alarm_);
    if (summons.startMonitor && !startServiceThread(&monitor, this)) {
        const std::lock_guard lock(mutex_);
        monitorLives_ = false;
        alarmed_ = false;
    }
}

void ThreadPool::noteStartFailure() noexcept {
    Summons summons;
    {
        const std::lock_guard lock(mutex_);
        --searching_;
        if (--threads_ == 0)
            endForLackOfThreads();
        watch(summons);
    }
    answer(summons);
}

// Working

void* ThreadPool::work(void* pool) {
    pthread_setname_np(pthread_self(), "qz-dispatch");
    Worker worker{.pool = static_cast<ThreadPool*>(pool), .thread = static_cast<pid_t>(syscall(SYS_gettid))};
    current = &worker;
    worker.pool->run(worker);
    return nullptr;
}

void ThreadPool::run(Worker& worker) {
    std::unique_lock lock(mutex_);
    worker.nextWorker = workers_;
    workers_ = &worker;
    do {
        --searching_;  // whoever started or woke the thread counted it
        do {
            if (waiting_.load(std::memory_order_relaxed) == 0)
                spin(lock);
            Level* const level = nextLevel();
            if (level == nullptr)
                break;
            performNext(worker, *level, lock);
        } while (active() <= width_);  // a thread too many, now that others are back from their waits
    } while (sleep(worker, lock));
    dismiss(worker);
}

/// The level whose turn it is among those with tasks.
ThreadPool::Level* ThreadPool::nextLevel() noexcept {
    Level* next = nullptr;
    for (Level& level : levels_)
        if (level.first != nullptr && (next == nullptr || ++level.passedOver > turnsOfOthers))
            next = &level;
    return next;
}

void ThreadPool::performNext(Worker& worker, Level& level, std::unique_lock<Mutex>& lock) {
    Task& task = *level.first;
    level.first = task.next;
    level.passedOver = 0;
    waiting_.store(waiting_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
    ++taken_;
    worker.busy = true;
    const Summons summons = waiting_.load(std::memory_order_relaxed) != 0 ? summon() : Summons{};
    lock.unlock();
    answer(summons);
    try {
        task.perform(task);
    } catch (...) {
        endForException(levelLabels[static_cast<std::size_t>(&level - levels_.data())]);
    }
    lock.lock();
    worker.busy = false;
    if (std::exchange(worker.suspect, false))
        --suspected_;
}

/// Looks for a task for a few microseconds before the thread sleeps: waking it costs whoever submits more
/// than that. One thread at a time is enough for this.
void ThreadPool::spin(std::unique_lock<Mutex>& lock) noexcept {
    constexpr int spins = 400;
    if (searching_ != 0)
        return;
    ++searching_;
    lock.unlock();
    for (int i = 0; i < spins && waiting_.load(std::memory_order_relaxed) == 0; ++i)
        relax();
    lock.lock();
    --searching_;
}

/// Waits on the idle list; false when nobody called for so long that the thread may end.
bool ThreadPool::sleep(Worker& worker, std::unique_lock<Mutex>& lock) noexcept {
    worker.woken.store(0, std::memory_order_relaxed);
    worker.nextIdle = idle_;
    idle_ = &worker;
    ++idleCount_;
    Summons summons;
    if (waiting_.load(std::memory_order_relaxed) != 0)
        watch(summons);
    lock.unlock();
    answer(summons);
    const auto end = std::chrono::steady_clock::now() + idleLife;
    while (worker.woken.load(std::memory_order_acquire) == 0 &&
           futexWaitFor(worker.woken, 0, end - std::chrono::steady_clock::now())) {
    }
    lock.lock();
    if (worker.woken.load(std::memory_order_relaxed) != 0)
        return true;
    Worker** link = &idle_;
    while (*link != &worker)
        link = &(*link)->nextIdle;
    *link = worker.nextIdle;
    --idleCount_;
    return false;
}

void ThreadPool::dismiss(Worker& worker) noexcept {
    Worker** link = &workers_;
    while (*link != &worker)
        link = &(*link)->nextWorker;
    *link = worker.nextWorker;
    --threads_;
}

// Blocking

ThreadPool::Blocked::Blocked() noexcept {
    if (current == nullptr)
        return;
    ThreadPool& pool = *current->pool;
    Summons summons;
    {
        const std::lock_guard lock(pool.mutex_);
        current->waitsInQueue = true;
        if (std::exchange(current->suspect, false))
            --pool.suspected_;
        ++pool.blocked_;
        if (pool.waiting_.load(std::memory_order_relaxed) != 0)
            summons = pool.summon();
    }
    pool.answer(summons);
}

ThreadPool::Blocked::~Blocked() {
    if (current == nullptr)
        return;
    const std::lock_guard lock(current->pool->mutex_);
    current->waitsInQueue = false;
    --current->pool->blocked_;
}

// Watching

void* ThreadPool::monitor(void* context) {
    pthread_setname_np(pthread_self(), "qz-monitor");
    auto& pool = *static_cast<ThreadPool*>(context);
    while (pool.awaitAlarm()) {
        std::this_thread::sleep_for(monitorPeriod);
        pool.look();
    }
    return nullptr;
}

/// False when the monitor has been of no use for so long that it may end.
bool ThreadPool::awaitAlarm() noexcept {
    while (alarm_.load(std::memory_order_acquire) == 0) {
        if (futexWaitFor(alarm_, 0, idleLife))
            continue;
        const std::lock_guard lock(mutex_);
        if (!alarmed_) {
            monitorLives_ = false;
            return false;
        }
    }
    return true;
}

void ThreadPool::look() {
    const std::vector<pid_t> working = threadsThatTakeNothing();
    std::vector<pid_t> sleeping;
    std::copy_if(working.begin(), working.end(), std::back_inserter(sleeping), isSleeping);
    Summons summons;
    {
        const std::lock_guard lock(mutex_);
        if (!alarmed_ || taken_ != takenBefore_)
            return;
        suspect(sleeping);
        summons = summon();
    }
    answer(summons);
}

/// The threads at work while nothing was taken since the last look; none when all is well.
std::vector<pid_t> ThreadPool::threadsThatTakeNothing() {
    std::vector<pid_t> threads;
    const std::lock_guard lock(mutex_);
    if (waiting_.load(std::memory_order_relaxed) == 0) {
        alarmed_ = false;
        alarm_.store(0, std::memory_order_relaxed);
    } else if (taken_ == takenBefore_) {
        for (const Worker* worker = workers_; worker != nullptr; worker = worker->nextWorker)
            if (worker->countsAsWorking())
                threads.push_back(worker->thread);
        return threads;
    }
    takenBefore_ = taken_;
    looksInVain_ = 0;
    patience_ = initialPatience;
    return threads;
}

/// Counts `sleeping` threads as blocked, or if there are none and patience is at its end, one that runs.
void ThreadPool::suspect(const std::vector<pid_t>& sleeping) noexcept {
    std::size_t unexplained = sleeping.size();
    if (sleeping.empty() && ++looksInVain_ < patience_)
        return;
    if (sleeping.empty()) {
        looksInVain_ = 0;
        patience_ *= 2;
        unexplained = 1;
    }
    for (Worker* worker = workers_; worker != nullptr && unexplained != 0; worker = worker->nextWorker) {
        if (!worker->countsAsWorking() ||
            !(sleeping.empty() || std::ranges::count(sleeping, worker->thread) != 0))
            continue;
        worker->suspect = true;
        ++suspected_;
        --unexplained;
    }
}

}  // namespace qz::detail
