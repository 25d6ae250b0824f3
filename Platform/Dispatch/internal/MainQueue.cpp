#include "Platform/Dispatch/internal/MainQueue.h"

#include <glib.h>

#include <mutex>
#include <utility>

#include "Platform/Dispatch/MainThread.h"
#include "Platform/Dispatch/internal/ServiceThread.h"
#include "Platform/Dispatch/internal/Waiter.h"

namespace qz::detail {
namespace {

/// What a synchronous block looks like in the queue.
struct Call {
    void (*work)(void*);
    void* context;
};

}  // namespace

MainQueue& MainQueue::shared() {
    static auto* const queue = new MainQueue;
    return *queue;
}

MainQueue::MainQueue()
    : QueueCore(Kind::main, "qz.main"), source_([] {
          static GSourceFuncs functions{nullptr, nullptr, &dispatch, nullptr, nullptr, nullptr};
          return g_source_new(&functions, sizeof(GSource));
      }()) {
    g_source_set_static_name(source_, "qz.main");
    g_source_set_ready_time(source_, -1);
    g_source_attach(source_, nullptr);
}

int MainQueue::dispatch(GSource* source, int (*)(void*), void*) {
    constexpr gint64 millisecond = 1000;
    g_source_set_ready_time(source, -1);
    if (isMainThread())
        shared().runWaiting();
    else  // another thread iterates the default context; the main thread may come back to it
        g_source_set_ready_time(source, g_get_monotonic_time() + millisecond);
    return G_SOURCE_CONTINUE;
}

ItemList MainQueue::takeAll() noexcept {
    const std::lock_guard lock(mutex_);
    return std::exchange(items_, {});
}

void MainQueue::runWaiting() {
    running_ = true;
    ItemList items = takeAll();
    while (Item* const item = items.pop())
        run(*item);
    running_ = false;
}

void MainQueue::run(Item& item) {
    if (item.role == Item::Role::waiter) {
        if (!chooseWaiter(item))
            return Item::recycle(&item);
        const Call& call = *reinterpret_cast<const Call*>(item.storage);
        call.work(call.context);
        return giveTurn(item);
    }
    try {
        item.perform(item);
    } catch (...) {
        endForException(label().c_str());
    }
}

void MainQueue::submit(Item* item) noexcept {
    bool first = false;
    {
        const std::lock_guard lock(mutex_);
        first = items_.empty();
        items_.append(item);
    }
    if (first)
        g_source_set_ready_time(source_, 0);
}

bool MainQueue::performAndWait(void (*work)(void*), void* context, const std::stop_token* stop) {
    if (isMainThread() && !running_) {
        runWaiting();
        running_ = true;
        work(context);
        running_ = false;
        return true;
    }
    Item* const item = Item::make(Item::Role::waiter, false);
    ::new (static_cast<void*>(item->storage)) Call{work, context};
    submit(item);
    if (!awaitTurn(*item, stop))
        return false;
    Item::recycle(item);
    return true;
}

}  // namespace qz::detail
