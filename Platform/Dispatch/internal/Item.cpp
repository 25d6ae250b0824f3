#include "Platform/Dispatch/internal/Item.h"

#include <initializer_list>
#include <mutex>
#include <utility>

#include "Platform/Dispatch/internal/Futex.h"

// Items are allocated by the threads that submit and freed by those that run. Each thread keeps up to two
// magazines of free items and exchanges whole ones with a common depot, after J. Bonwick and J. Adams,
// "Magazines and Vmem" (USENIX ATC 2001).
namespace qz::detail {
namespace {

constexpr unsigned magazineSize = 64;
constexpr unsigned depotLimit = 256;  // magazines, 1 MiB of items; what exceeds it goes back to the heap

struct Magazine {
    Item* items = nullptr;
    unsigned count = 0;

    void push(Item* item) noexcept {
        item->next = items;
        items = item;
        ++count;
    }
    Item* pop() noexcept {
        Item* item = items;
        items = item->following();
        --count;
        return item;
    }
    void release() noexcept {
        while (count != 0)
            ::operator delete (pop(), std::align_val_t{alignof(Item)});
    }
};

class Depot {
public:
    bool take(Magazine& empty) noexcept {
        const std::lock_guard lock(mutex_);
        if (count_ == 0)
            return false;
        empty = magazines_[--count_];
        return true;
    }
    void give(Magazine& full) noexcept {
        {
            const std::lock_guard lock(mutex_);
            if (count_ < depotLimit) {
                magazines_[count_++] = full;
                full = {};
                return;
            }
        }
        full.release();
    }

private:
    Mutex mutex_;
    unsigned count_ = 0;
    Magazine magazines_[depotLimit];
};

constinit Depot depot;

struct Cache {
    Magazine loaded;
    Magazine previous;
    bool open = false;
};

[[gnu::tls_model("initial-exec")]] constinit thread_local Cache cache;

/// Gives a thread's items to the others when it ends.
struct CacheOwner {
    CacheOwner() noexcept { cache.open = true; }
    CacheOwner(const CacheOwner&) = delete;
    CacheOwner& operator=(const CacheOwner&) = delete;
    ~CacheOwner() {
        cache.open = false;
        for (Magazine* magazine : {&cache.loaded, &cache.previous})
            if (magazine->count == magazineSize)
                depot.give(*magazine);
            else
                magazine->release();
    }
};

/// False when the thread is about to end and its cache is closed for good.
bool openCache() noexcept {
    static thread_local bool opened = false;
    if (opened)
        return cache.open;
    opened = true;
    static thread_local CacheOwner owner;
    return cache.open;
}

}  // namespace

void* Item::allocate() {
    if (cache.loaded.count == 0) [[unlikely]] {
        if (cache.previous.count != 0)
            std::swap(cache.loaded, cache.previous);
        else if (!openCache() || !depot.take(cache.loaded))
            return ::operator new (sizeof(Item), std::align_val_t{alignof(Item)});
    }
    return cache.loaded.pop();
}

void Item::recycle(Item* item) noexcept {
    if (cache.loaded.count == magazineSize || !cache.open) [[unlikely]] {
        if (!openCache())
            return ::operator delete (item, std::align_val_t{alignof(Item)});
        if (cache.loaded.count == magazineSize) {
            if (cache.previous.count != 0)
                depot.give(cache.previous);
            std::swap(cache.loaded, cache.previous);
        }
    }
    cache.loaded.push(item);
}

}  // namespace qz::detail
