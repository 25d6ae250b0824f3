#include "Platform/Dispatch/NSOperation.h"

#include <algorithm>
#include <condition_variable>
#include <utility>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/internal/OperationScheduler.h"
#include "Platform/Dispatch/internal/OperationWatch.h"
#include "Platform/Dispatch/internal/ThreadPool.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

namespace detail {

QZ_DEFINE_CLASS_NAMED(OperationWatch, "NSOperationWatch", cls) {
    cls.method("observeValueForKeyPath:ofObject:change:context:", &OperationWatch::observeValueForKeyPath);
}

void OperationWatch::observeValueForKeyPath(std::string_view, const id& object, const Ref<NSDictionary>&,
                                            void*) {
    if (const auto operation = object.as<NSOperation>()) {
        noticeChange(*operation);
    }
}

/// Tells an operation that one of its dependencies has finished.
class DependencyWatch : public OperationWatch {
public:
    void noticeChange(NSOperation& dependency) override {
        if (dependency.isFinished()) {
            settle();
        }
    }
    /// Counts the dependency as finished, once.
    void settle() {
        if (!settled_.exchange(true)) {
            if (const auto dependent = dependent_.lock()) {
                dependent->dependencyFinished();
            }
        }
    }

protected:
    explicit DependencyWatch(std::weak_ptr<NSOperation> dependent) : dependent_(std::move(dependent)) {}

private:
    const std::weak_ptr<NSOperation> dependent_;
    std::atomic<bool> settled_{false};
};

/// Knows that its operation has finished: calls the completion block and wakes who waits.
class FinishWatch : public OperationWatch {
public:
    void noticeChange(NSOperation& operation) override {
        if (!operation.isFinished()) {
            return;
        }
        NSOperation::Block block;
        {
            const std::lock_guard lock(mutex_);
            finished_ = true;
            block = takeBlockLocked();
            changed_.notify_all();
        }
        callLater(std::move(block));
    }

    [[nodiscard]] NSOperation::Block block() const {
        const std::lock_guard lock(mutex_);
        return block_;
    }

    void setBlock(NSOperation::Block block) {
        {
            const std::lock_guard lock(mutex_);
            std::swap(block_, block);  // the old one goes after the lock
            if (!finished_) {
                return;
            }
            block = takeBlockLocked();
        }
        callLater(std::move(block));
    }

    bool wait(const std::stop_token& stop) {
        const ThreadPool::Blocked blocked;
        std::unique_lock lock(mutex_);
        return changed_.wait(lock, stop, [&] { return finished_; });
    }

protected:
    FinishWatch() = default;

private:
    [[nodiscard]] NSOperation::Block takeBlockLocked() {
        return called_ || !block_ ? nullptr : (called_ = true, block_);
    }
    static void callLater(NSOperation::Block block) {
        if (block) {
            DispatchQueue::global().async(std::move(block));
        }
    }

    mutable std::mutex mutex_;
    std::condition_variable_any changed_;
    bool finished_ = false;
    bool called_ = false;
    NSOperation::Block block_;
};

}  // namespace detail

using detail::DependencyWatch;
using detail::FinishWatch;

QZ_DEFINE_CLASS(NSOperation, cls) {
    cls.method("start", &NSOperation::start);
    cls.method("main", &NSOperation::main);
    cls.method("cancel", &NSOperation::cancel);
    cls.propertyWithGetter("cancelled", "isCancelled", &NSOperation::isCancelled);
    cls.propertyWithGetter("executing", "isExecuting", &NSOperation::isExecuting);
    cls.propertyWithGetter("finished", "isFinished", &NSOperation::isFinished);
    cls.propertyWithGetter("ready", "isReady", &NSOperation::isReady);
    cls.propertyWithGetter("concurrent", "isConcurrent", &NSOperation::isConcurrent);
    cls.dependsOn("cancelled", {"isCancelled"});
    cls.dependsOn("executing", {"isExecuting"});
    cls.dependsOn("finished", {"isFinished"});
    cls.dependsOn("ready", {"isReady"});
    cls.property("queuePriority", &NSOperation::queuePriority, &NSOperation::setQueuePriority);
    cls.property("name", &NSOperation::name, &NSOperation::setName);
    cls.property("dependencies", [](const NSOperation& self) {
        const auto list = self.dependencies();
        return id(NSArray::arrayWithObjects(std::vector<id>(list.begin(), list.end())));
    });
    cls.method("addDependency:", &NSOperation::addDependency);
    cls.method("removeDependency:", &NSOperation::removeDependency);
    cls.method("waitUntilFinished", [](const NSOperation& self) { self.waitUntilFinished(); });
}

namespace {

/// Releases operations one after the other where each may hold the last reference to the next, so that a
/// chain of dependencies, however long, takes no depth of stack.
void releaseInTurn(std::vector<Ref<NSOperation>> operations) {
    static constinit thread_local std::vector<Ref<NSOperation>>* underWay = nullptr;
    if (underWay) {
        std::ranges::move(operations, std::back_inserter(*underWay));
        return;
    }
    underWay = &operations;
    while (!operations.empty()) {
        const auto last = std::move(operations.back());
        operations.pop_back();
    }
    underWay = nullptr;
}

}  // namespace

NSOperation::~NSOperation() {
    if (!dependencies_.empty()) {
        std::vector<Ref<NSOperation>> released;
        std::ranges::transform(dependencies_, std::back_inserter(released),
                               [](auto& dependency) { return std::move(dependency.operation); });
        releaseInTurn(std::move(released));
    }
}

void NSOperation::start() {
    if (isFinished()) {
        return;
    }
    if (!isReady()) {
        raise(NSInvalidArgumentException, descriptionOf(*this) + " cannot start: it is not ready");
    }
    auto expected = State::waiting;
    if (!state_.compare_exchange_strong(expected, State::starting)) {
        if (expected == State::finished) {
            return;
        }
        raise(NSInvalidArgumentException, descriptionOf(*this) + " cannot start: it is executing");
    }
    if (!isCancelled()) {
        changing(*this, "isExecuting", [&] { state_ = State::executing; });
        try {
            main();
        } catch (...) {
            finish();
            throw;
        }
    }
    finish();
}

void NSOperation::finish() {
    const auto change = [&] { changing(*this, "isFinished", [&] { state_ = State::finished; }); };
    if (state_ == State::executing) {
        changing(*this, "isExecuting", change);
    } else {
        change();
    }
}

void NSOperation::cancel() {
    if (isFinished() || isCancelled()) {
        return;
    }
    const auto change = [&] { changing(*this, "isCancelled", [&] { cancelled_ = true; }); };
    if (isReady()) {
        change();
    } else {
        changing(*this, "isReady", change);
    }
}

bool NSOperation::isExecuting() const {
    return state_ == State::executing;
}

bool NSOperation::isFinished() const {
    return state_ == State::finished;
}

bool NSOperation::isReady() const {
    return cancelled_ || dependenciesFinished_;
}

void NSOperation::addDependency(const Ref<NSOperation>& operation) {
    if (!operation || operation.get() == this) {
        raise(NSInvalidArgumentException, "an operation can only depend on another one");
    }
    const auto self = std::static_pointer_cast<NSOperation>(ref());
    const auto watch = operation->isFinished() ? nullptr : make<DependencyWatch>(self);
    const bool added = changing(*this, "dependencies", [&] {
        const std::lock_guard lock(mutex_);
        if (std::ranges::find(dependencies_, operation, &Dependency::operation) != dependencies_.end()) {
            return false;
        }
        dependencies_.push_back({operation, watch});
        unfinishedDependencies_ += watch ? 1 : 0;
        return true;
    });
    if (added && watch) {
        updateReadiness();
        addObserver(operation, watch, "isFinished");
        watch->noticeChange(*operation);  // it may have finished meanwhile
    }
}

void NSOperation::removeDependency(const Ref<NSOperation>& operation) {
    Dependency removed;
    changing(*this, "dependencies", [&] {
        const std::lock_guard lock(mutex_);
        const auto found = std::ranges::find(dependencies_, operation, &Dependency::operation);
        if (found != dependencies_.end()) {
            removed = std::move(*found);
            dependencies_.erase(found);
        }
    });
    if (removed.watch) {
        removed.watch->settle();
    }
}

void NSOperation::dependencyFinished() {
    {
        const std::lock_guard lock(mutex_);
        --unfinishedDependencies_;
    }
    updateReadiness();
}

void NSOperation::updateReadiness() {
    {
        const std::lock_guard lock(mutex_);
        if (dependenciesFinished_ == (unfinishedDependencies_ == 0)) {
            return;
        }
    }
    changing(*this, "isReady", [&] {
        const std::lock_guard lock(mutex_);
        dependenciesFinished_ = unfinishedDependencies_ == 0;
    });
}

std::vector<Ref<NSOperation>> NSOperation::dependencies() const {
    const std::lock_guard lock(mutex_);
    std::vector<Ref<NSOperation>> list;
    list.reserve(dependencies_.size());
    std::ranges::transform(dependencies_, std::back_inserter(list), &Dependency::operation);
    return list;
}

void NSOperation::setQueuePriority(std::int64_t priority) {
    changing(*this, "queuePriority", [&] { queuePriority_ = priority; });
    std::shared_ptr<detail::OperationScheduler> queue;
    std::uint64_t number = 0;
    {
        const std::lock_guard lock(mutex_);
        queue = queue_.lock();
        number = number_;
    }
    if (queue) {
        queue->priorityChanged(number);
    }
}

/// The watch of this operation's end, made and registered by whoever asks first.
Ref<FinishWatch> NSOperation::finishWatch() const {
    Ref<FinishWatch> watch;
    {
        const std::lock_guard lock(mutex_);
        if (finishWatch_) {
            return finishWatch_;
        }
        watch = finishWatch_ = make<FinishWatch>();
    }
    addObserver(*this, watch, "isFinished");
    watch->noticeChange(const_cast<NSOperation&>(*this));  // it may have finished before
    return watch;
}

NSOperation::Block NSOperation::completionBlock() const {
    Ref<FinishWatch> watch;
    {
        const std::lock_guard lock(mutex_);
        watch = finishWatch_;
    }
    return watch ? watch->block() : nullptr;
}

void NSOperation::setCompletionBlock(Block block) {
    finishWatch()->setBlock(std::move(block));
}

std::string NSOperation::name() const {
    const std::lock_guard lock(mutex_);
    return name_;
}

void NSOperation::setName(std::string_view name) {
    changing(*this, "name", [&] {
        const std::lock_guard lock(mutex_);
        name_ = name;
    });
}

void NSOperation::waitUntilFinished() const {
    static_cast<void>(waitUntilFinished({}));
}

bool NSOperation::waitUntilFinished(const std::stop_token& stop) const {
    return isFinished() || finishWatch()->wait(stop);
}

void NSOperation::enterQueue(std::weak_ptr<detail::OperationScheduler> queue, std::uint64_t number) {
    const char* reason = isExecuting() ? "it is executing" : isFinished() ? "it has finished" : nullptr;
    if (!reason) {
        const std::lock_guard lock(mutex_);
        if (!std::exchange(inQueue_, true)) {
            queue_ = std::move(queue);
            number_ = number;
            return;
        }
        reason = "it is or was in a queue";
    }
    raise(NSInvalidArgumentException, descriptionOf(*this) + " cannot be added to a queue: " + reason);
}

}  // namespace qz
