// A queue whose blocks overlap, barriers excepted.
#pragma once

#include "Platform/Dispatch/internal/Futex.h"
#include "Platform/Dispatch/internal/QueueCore.h"

namespace qz::detail {

/// The word counts the blocks that may run: synchronous ones that do, asynchronous ones that do or lie in
/// `ready_`. A barrier sets `held` while it runs. What has to wait, which is a barrier and all that comes
/// after it, lies in `backlog_`, and `waiting` is set exactly while that is so: it closes the word to
/// newcomers, and makes whoever leaves the queue empty responsible for going on with the backlog. Nobody else
/// touches the queue between that and the start of what comes next.
///
/// Threads that read at the same time spend most of it passing the word's cache line to and fro. When that
/// happens often the queue becomes biased towards them, after D. Dice and A. Kogan, "BRAVO - Biased Locking
/// for Reader-Writer Locks" (USENIX ATC 2019): a synchronous block then notes its turn in a slot of a table
/// that all queues share, picked by thread and queue, and leaves the word alone. A barrier that comes along
/// revokes the bias. Unlike there it does not wait for the slots to empty, it moves the turns noted there
/// into the word's count; whoever finds its slot emptied when it leaves is counted in the word.
class alignas(64) ConcurrentQueue final : public QueueCore, private Task {
public:
    explicit ConcurrentQueue(std::string label)
        : QueueCore(Kind::concurrent, std::move(label)), Task{nullptr, &attend} {}

    void submit(Item* item) noexcept;
    bool waitForTurn(const std::stop_token* stop);
    bool waitForShare(Slot& slot, const std::stop_token* stop);
    void goOn() noexcept;
    void retire() noexcept;

private:
    static void attend(Task& task);

    bool noteInSlot(Slot& slot) noexcept;
    void becomeBiased() noexcept;
    void revokeBias() noexcept;

    [[nodiscard]] bool admit(Item* item) noexcept;
    [[nodiscard]] bool waitInBacklog(Item* item, const std::stop_token* stop);
    [[nodiscard]] bool startBacklog(ItemList& chosen) noexcept;
    void runReadyBlocks();
    [[nodiscard]] bool callAttendant() noexcept;
    void schedule() noexcept;

    std::atomic<std::uint32_t> contention_{0};  // shared turns that met others since the last barrier
    Mutex mutex_;              // guards what follows, and every change of `waiting` and `revoking`
    bool attended_ = false;    // a task of the pool is on its way
    Item* barrier_ = nullptr;  // an asynchronous one that owns the queue and has not started
    ItemList ready_;
    ItemList backlog_;
};

}  // namespace qz::detail
