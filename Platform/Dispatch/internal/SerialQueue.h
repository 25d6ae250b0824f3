// A queue that runs one block at a time.
#pragma once

#include "Platform/Dispatch/internal/QueueCore.h"

namespace qz::detail {

/// Whoever changes the word from idle to `held` owns the queue: a synchronous caller, or a task of the pool
/// that runs what was submitted. Everybody else pushes items onto the word in one atomic step, so that the
/// word's changes are the order of submission. The owner takes all items at once, turns their order round and
/// passes the queue on to the first of them, or back to idle. What owns the queue keeps it alive.
class alignas(64) SerialQueue final : public QueueCore, private Task {
public:
    explicit SerialQueue(std::string label)
        : QueueCore(Kind::serial, std::move(label)), Task{nullptr, &drain} {}

    void submit(Item* item) noexcept;
    bool waitForTurn(const std::stop_token* stop);
    void passOn() noexcept;
    void retire() noexcept;

private:
    static void drain(Task& task);

    void schedule() noexcept;
    [[nodiscard]] bool push(Item* item) noexcept;
    [[nodiscard]] Item* takeNext() noexcept;
    void putBack(Item* item) noexcept;
    void markBacklog() noexcept;
    [[nodiscard]] bool becomeIdle() noexcept;
    [[nodiscard]] bool giveAway(Item* item) noexcept;

    Item* backlog_ = nullptr;  // the owner's, in order
};

}  // namespace qz::detail
