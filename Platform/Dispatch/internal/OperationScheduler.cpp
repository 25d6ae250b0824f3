#include "Platform/Dispatch/internal/OperationScheduler.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "Platform/Dispatch/NSOperation.h"
#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Dispatch/internal/OperationWatch.h"
#include "Platform/Dispatch/internal/ServiceThread.h"
#include "Platform/Dispatch/internal/ThreadPool.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz::detail {

namespace {

constinit thread_local OperationScheduler* running = nullptr;

/// Enough for asynchronous operations to overlap, and few enough that a thousand of them do not all begin.
constexpr std::size_t usualLimit = 64;

}  // namespace

/// Has the scheduler look at one operation again whenever that announces a change.
class OperationScheduler::Watch : public OperationWatch {
protected:
    Watch(std::weak_ptr<OperationScheduler> scheduler, std::uint64_t number)
        : scheduler_(std::move(scheduler)), number_(number) {}

    void noticeChange(NSOperation&) override {
        if (const auto scheduler = scheduler_.lock()) {
            scheduler->reconsider(number_);
        }
    }

private:
    const std::weak_ptr<OperationScheduler> scheduler_;
    const std::uint64_t number_;
};

/// Holds the schedulers whose queues are gone until their last operation has finished.
class OperationScheduler::Orphans {
public:
    static Orphans& shared() {
        static auto& orphans = *new Orphans;
        return orphans;
    }
    void insert(std::shared_ptr<OperationScheduler> scheduler) {
        const std::lock_guard lock(mutex_);
        list_.insert(std::move(scheduler));
    }
    void erase(const std::shared_ptr<OperationScheduler>& scheduler) {
        const std::lock_guard lock(mutex_);
        list_.erase(scheduler);
    }

private:
    std::mutex mutex_;
    std::unordered_set<std::shared_ptr<OperationScheduler>> list_;
};

OperationScheduler::OperationScheduler(DispatchQueue threads, std::int64_t maxConcurrentOperationCount)
    : threads_(std::move(threads)), limit_(maxConcurrentOperationCount) {}

OperationScheduler* OperationScheduler::current() noexcept {
    return running;
}

void OperationScheduler::add(const Ref<NSOperation>& operation, const Ref<NSOperationQueue>& queue) {
    std::uint64_t number = 0;
    {
        const std::lock_guard lock(mutex_);
        number = ++lastNumber_;
        queue_ = queue;
    }
    operation->enterQueue(weak_from_this(), number);
    changing(*queue, "operations", [&] {
        const std::lock_guard lock(mutex_);
        entries_.emplace_hint(entries_.end(), number, Entry{.operation = operation, .watch = nullptr});
    });
    if (operation->isConcurrent()) {
        watchProgress(number);
    }
    if (!operation->isReady()) {
        watchReadiness(number);
    }
    reconsider(number);
}

void OperationScheduler::watchReadiness(std::uint64_t number) {
    watch(number, &Entry::readinessIsWatched, {"isReady"});
}

void OperationScheduler::watchProgress(std::uint64_t number) {
    watch(number, &Entry::progressIsWatched, {"isExecuting", "isFinished"});
}

void OperationScheduler::watch(std::uint64_t number, bool Entry::*isWatched,
                               std::initializer_list<std::string_view> keys) {
    Ref<NSOperation> operation;
    Ref<Watch> watch;
    {
        const std::lock_guard lock(mutex_);
        const auto entry = entries_.find(number);
        if (entry == entries_.end() || std::exchange(entry->second.*isWatched, true)) {
            return;
        }
        if (!entry->second.watch) {
            entry->second.watch = make<Watch>(weak_from_this(), number);
        }
        watch = entry->second.watch;
        operation = entry->second.operation;
    }
    for (const auto key : keys) {
        addObserver(operation, watch, key);
    }
}

void OperationScheduler::reconsider(std::uint64_t number) {
    Ref<NSOperation> operation;
    {
        const std::lock_guard lock(mutex_);
        if (const auto entry = entries_.find(number); entry != entries_.end()) {
            operation = entry->second.operation;
        }
    }
    if (!operation) {
        return;
    }
    if (operation->isFinished()) {
        return remove(number);
    }
    const bool isExecuting = operation->isExecuting();  // by its own start() or, behind our back, by others
    const bool isReady = operation->isReady();
    std::size_t tickets = 0;
    {
        const std::lock_guard lock(mutex_);
        const auto entry = entries_.find(number);
        if (entry == entries_.end()) {
            return;
        }
        if (isExecuting && entry->second.stage != Stage::started) {
            becomeStartedLocked(entry);
        } else if (isReady && entry->second.stage == Stage::blocked) {
            becomeReadyLocked(entry);
        }
        tickets = takeTicketsLocked();
    }
    useTickets(tickets);
}

void OperationScheduler::becomeReadyLocked(Entries::iterator entry) {
    auto& [number, state] = *entry;
    state.stage = Stage::ready;
    state.priority = state.operation->queuePriority();
    ready_.insert({state.priority, number});
}

void OperationScheduler::becomeStartedLocked(Entries::iterator entry) {
    auto& [number, state] = *entry;
    if (state.stage == Stage::ready) {
        ready_.erase({state.priority, number});
    }
    state.stage = Stage::started;
    ++started_;
}

void OperationScheduler::priorityChanged(std::uint64_t number) {
    const std::lock_guard lock(mutex_);
    const auto entry = entries_.find(number);
    if (entry != entries_.end() && entry->second.stage == Stage::ready) {
        auto rank = ready_.extract({entry->second.priority, number});
        rank.value().priority = entry->second.priority = entry->second.operation->queuePriority();
        ready_.insert(std::move(rank));
    }
}

/// Takes an operation that has finished out of the queue; nothing happens the second time.
void OperationScheduler::remove(std::uint64_t number) {
    const auto self = shared_from_this();
    Entry removed;
    std::size_t tickets = 0;
    const auto change = [&] {
        const std::lock_guard lock(mutex_);
        const auto entry = entries_.find(number);
        if (entry == entries_.end()) {
            return;
        }
        removed = std::move(entry->second);
        entries_.erase(entry);
        if (removed.stage == Stage::started) {
            --started_;
        } else if (removed.stage == Stage::ready) {
            ready_.erase({removed.priority, number});
        }
        tickets = takeTicketsLocked();
        if (entries_.empty()) {
            empty_.notify_all();
            if (std::exchange(isAlone_, false)) {
                Orphans::shared().erase(self);
            }
        }
    };
    if (const auto owner = queue()) {
        changing(*owner, "operations", change);
    } else {
        change();
    }
    useTickets(tickets);
}

std::size_t OperationScheduler::freePlacesLocked() const {
    const auto limit = limit_ < 0 ? usualLimit : static_cast<std::size_t>(limit_);
    return limit - std::min(limit, started_);
}

/// How many more operations could start now than blocks are on their way to start one.
std::size_t OperationScheduler::takeTicketsLocked() {
    const auto wanted = suspended_ ? 0 : std::min(freePlacesLocked(), ready_.size());
    const auto taken = wanted - std::min(wanted, tickets_);
    tickets_ += taken;
    return taken;
}

void OperationScheduler::useTickets(std::size_t tickets) {
    for (; tickets > 0; --tickets) {
        threads_.async([self = shared_from_this()] { self->startNext(); });
    }
}

void OperationScheduler::startNext() {
    std::uint64_t number = 0;
    Ref<NSOperation> operation;
    {
        const std::lock_guard lock(mutex_);
        --tickets_;
        if (suspended_ || ready_.empty() || freePlacesLocked() == 0) {
            return;  // what changes that takes tickets anew
        }
        const auto entry = entries_.find(ready_.begin()->number);
        becomeStartedLocked(entry);
        number = entry->first;
        operation = entry->second.operation;
    }
    startOrPutBack(number, operation);
}

void OperationScheduler::startOrPutBack(std::uint64_t number, const Ref<NSOperation>& operation) {
    if (!operation->isExecuting() && !operation->isFinished()) {
        if (operation->isReady()) {
            run(*operation);
        } else {  // it was given another dependency since
            putBack(number);
            watchReadiness(number);
        }
    }
    if (operation->isFinished()) {
        return remove(number);
    }
    watchProgress(number);
    reconsider(number);
}

void OperationScheduler::putBack(std::uint64_t number) {
    const std::lock_guard lock(mutex_);
    if (const auto entry = entries_.find(number); entry != entries_.end()) {
        entry->second.stage = Stage::blocked;
        --started_;
    }
}

void OperationScheduler::run(NSOperation& operation) {
    const auto outer = std::exchange(running, this);
    try {
        operation.start();
    } catch (...) {
        endForException(name().c_str());
    }
    running = outer;
}

std::vector<Ref<NSOperation>> OperationScheduler::operations() const {
    const std::lock_guard lock(mutex_);
    std::vector<Ref<NSOperation>> list;
    list.reserve(entries_.size());
    std::ranges::transform(entries_, std::back_inserter(list),
                           [](const auto& entry) { return entry.second.operation; });
    return list;
}

std::size_t OperationScheduler::count() const {
    const std::lock_guard lock(mutex_);
    return entries_.size();
}

Ref<NSOperationQueue> OperationScheduler::queue() const {
    const std::lock_guard lock(mutex_);
    return queue_.lock();
}

std::int64_t OperationScheduler::maxConcurrentOperationCount() const {
    const std::lock_guard lock(mutex_);
    return limit_;
}

void OperationScheduler::setMaxConcurrentOperationCount(std::int64_t count) {
    std::size_t tickets = 0;
    {
        const std::lock_guard lock(mutex_);
        limit_ = count;
        tickets = takeTicketsLocked();
    }
    useTickets(tickets);
}

bool OperationScheduler::isSuspended() const {
    const std::lock_guard lock(mutex_);
    return suspended_;
}

void OperationScheduler::setSuspended(bool suspended) {
    std::size_t tickets = 0;
    {
        const std::lock_guard lock(mutex_);
        suspended_ = suspended;
        tickets = takeTicketsLocked();
    }
    useTickets(tickets);
}

std::string OperationScheduler::name() const {
    const std::lock_guard lock(mutex_);
    return name_;
}

void OperationScheduler::setName(std::string_view name) {
    const std::lock_guard lock(mutex_);
    name_ = name;
}

bool OperationScheduler::waitUntilEmpty(const std::stop_token& stop) {
    const ThreadPool::Blocked blocked;
    std::unique_lock lock(mutex_);
    return empty_.wait(lock, stop, [&] { return entries_.empty(); });
}

void OperationScheduler::goOnAlone() {
    std::vector<Entry> dropped;  // released after the lock
    const std::lock_guard lock(mutex_);
    if (suspended_) {  // for ever, since nobody can resume it
        ready_.clear();
        for (auto entry = entries_.begin(); entry != entries_.end();) {
            if (entry->second.stage == Stage::started) {
                ++entry;
            } else {
                dropped.push_back(std::move(entry->second));
                entry = entries_.erase(entry);
            }
        }
    }
    if (!entries_.empty()) {
        isAlone_ = true;
        Orphans::shared().insert(shared_from_this());
    }
}

}  // namespace qz::detail
