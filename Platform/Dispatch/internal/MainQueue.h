// The queue of the main thread.
#pragma once

#include <stop_token>

#include "Platform/Dispatch/internal/Futex.h"
#include "Platform/Dispatch/internal/QueueCore.h"

struct _GSource;  // NOLINT(bugprone-reserved-identifier): the name that GLib gives it

namespace qz::detail {

/// A source of GLib's default main context that is ready while items wait. It runs the items that are there
/// when it is dispatched and leaves later ones to its next turn, so that timers and other sources get theirs.
class MainQueue final : public QueueCore {
public:
    /// Made when it is first asked for; it never ends.
    static MainQueue& shared();

    void submit(Item* item) noexcept;
    bool performAndWait(void (*work)(void*), void* context, const std::stop_token* stop);

private:
    MainQueue();

    struct Source;
    static int dispatch(_GSource* source, int (*)(void*), void*);

    [[nodiscard]] ItemList takeAll() noexcept;
    void runWaiting();
    void run(Item& item);

    _GSource* const source_;
    Mutex mutex_;
    ItemList items_;
    bool running_ = false;  // the main thread's
};

}  // namespace qz::detail
