// What an operation queue is: which operation starts when, and on which thread.
//
// Threads are asked for without saying what for: a block on a global queue starts whatever operation is first
// when the block's turn comes. So priorities count until the last moment, and an operation holds no thread
// before it starts.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Runtime/Object.h"

namespace qz {
class NSOperation;
class NSOperationQueue;
}  // namespace qz

namespace qz::detail {

class OperationScheduler : public std::enable_shared_from_this<OperationScheduler> {
public:
    OperationScheduler(DispatchQueue threads, std::int64_t maxConcurrentOperationCount);

    /// The scheduler whose operation runs on the calling thread; null when none does.
    [[nodiscard]] static OperationScheduler* current() noexcept;

    /// Raises NSInvalidArgumentException when the operation cannot be added.
    void add(const Ref<NSOperation>& operation, const Ref<NSOperationQueue>& queue);
    [[nodiscard]] std::vector<Ref<NSOperation>> operations() const;
    [[nodiscard]] std::size_t count() const;
    [[nodiscard]] Ref<NSOperationQueue> queue() const;

    [[nodiscard]] std::int64_t maxConcurrentOperationCount() const;
    void setMaxConcurrentOperationCount(std::int64_t count);
    [[nodiscard]] bool isSuspended() const;
    void setSuspended(bool suspended);
    [[nodiscard]] std::string name() const;
    void setName(std::string_view name);
    [[nodiscard]] bool waitUntilEmpty(const std::stop_token& stop);

    /// The operation of that number has another priority.
    void priorityChanged(std::uint64_t number);
    /// The operation may have become ready, have begun or have finished.
    void reconsider(std::uint64_t number);
    /// Nobody holds the queue any more. What can still be started will be, whoever holds it.
    void goOnAlone();

private:
    class Watch;
    class Orphans;
    enum class Stage : std::uint8_t { blocked, ready, started };

    struct Entry {
        Ref<NSOperation> operation;
        Ref<Watch> watch;  // null while nothing needs to be watched
        bool readinessIsWatched = false;
        bool progressIsWatched = false;
        Stage stage = Stage::blocked;
        std::int64_t priority = 0;  // by which it stands in ready_
    };
    using Entries = std::map<std::uint64_t, Entry>;  // in the order of addition

    struct Rank {
        std::int64_t priority;
        std::uint64_t number;
        [[nodiscard]] bool operator<(const Rank& other) const noexcept {
            return priority != other.priority ? priority > other.priority : number < other.number;
        }
    };

    void watchReadiness(std::uint64_t number);
    void watchProgress(std::uint64_t number);
    void watch(std::uint64_t number, bool Entry::*isWatched, std::initializer_list<std::string_view> keys);
    void becomeReadyLocked(Entries::iterator entry);
    void becomeStartedLocked(Entries::iterator entry);
    void remove(std::uint64_t number);
    [[nodiscard]] std::size_t freePlacesLocked() const;
    [[nodiscard]] std::size_t takeTicketsLocked();
    void useTickets(std::size_t tickets);
    void startNext();
    void startOrPutBack(std::uint64_t number, const Ref<NSOperation>& operation);
    void putBack(std::uint64_t number);
    void run(NSOperation& operation);

    const DispatchQueue threads_;

    mutable std::mutex mutex_;  // guards what follows; no operation is asked anything meanwhile
    std::condition_variable_any empty_;
    Entries entries_;
    std::set<Rank> ready_;
    std::uint64_t lastNumber_ = 0;
    std::size_t started_ = 0;  // operations that hold a slot
    std::size_t tickets_ = 0;  // blocks on their way to start one
    std::int64_t limit_;
    bool suspended_ = false;
    std::string name_;
    std::weak_ptr<NSOperationQueue> queue_;
    bool isAlone_ = false;
};

}  // namespace qz::detail
