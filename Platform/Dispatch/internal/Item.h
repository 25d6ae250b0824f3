// What waits in a queue: a block to run, a thread that waits for its turn, or the queue's own end.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "Platform/Export.h"

namespace qz::detail {

/// A piece of work for the thread pool, linked where it lies.
struct Task {
    Task* next = nullptr;
    void (*perform)(Task&) = nullptr;
};

/// One cache line. Small blocks lie inside; items are recycled through caches of their threads, so that a
/// steady stream of blocks allocates nothing.
struct alignas(64) Item : Task {
    enum class Role : std::uint8_t {
        block,     // `perform` runs the callable, destroys it and recycles the item
        waiter,    // a thread waits on `turn`
        farewell,  // the last handle is gone: the queue ends here
    };

    static constexpr std::size_t capacity = 40;

    std::atomic<std::uint32_t> turn{0};  // see Turn.h
    Role role = Role::block;
    bool barrier = false;
    alignas(8) std::byte storage[capacity];

    Item(Role itsRole, bool isBarrier) noexcept : role(itsRole), barrier(isBarrier) {}

    [[nodiscard]] Item* following() const noexcept { return static_cast<Item*>(next); }

    /// An item of `role` without a block.
    [[nodiscard]] static Item* make(Role role, bool barrier) {
        return ::new (allocate()) Item(role, barrier);
    }

    /// An item that holds a copy of `block` or what was moved from it.
    template <class F>
    [[nodiscard]] static Item* make(F&& block, bool barrier) {
        using Block = std::decay_t<F>;
        if constexpr (fits<Block>) {
            Reserved reserved;
            Item* item = ::new (reserved.memory) Item(Role::block, barrier);
            ::new (static_cast<void*>(item->storage)) Block(std::forward<F>(block));
            item->perform = [](Task& task) { performStored<Block>(static_cast<Item&>(task)); };
            reserved.memory = nullptr;
            return item;
        } else {
            return make(Boxed<Block>{std::make_unique<Block>(std::forward<F>(block))}, barrier);
        }
    }

    QZ_EXPORT static void recycle(Item* item) noexcept;

private:
    template <class Block>
    static constexpr bool fits = sizeof(Block) <= capacity && alignof(Block) <= 8;

    template <class Block>
    struct Boxed {
        std::unique_ptr<Block> block;
        void operator()() { std::move (*block)(); }
    };

    struct Reserved {  // gives the memory back when copying the block throws
        void* memory = allocate();
        Reserved() = default;
        Reserved(const Reserved&) = delete;
        Reserved& operator=(const Reserved&) = delete;
        ~Reserved() {
            if (memory != nullptr)
                recycle(static_cast<Item*>(memory));
        }
    };

    template <class Block>
    static void performStored(Item& item) {
        Block* block = std::launder(reinterpret_cast<Block*>(item.storage));
        std::move (*block)();
        block->~Block();
        recycle(&item);
    }

    [[nodiscard]] QZ_EXPORT static void* allocate();
};

static_assert(sizeof(Item) == 64);

/// First in, first out; whoever uses it guards it.
class ItemList {
public:
    [[nodiscard]] bool empty() const noexcept { return head_ == nullptr; }
    [[nodiscard]] Item* front() const noexcept { return head_; }
    void append(Item* item) noexcept {
        item->next = nullptr;
        if (head_ == nullptr)
            head_ = item;
        else
            tail_->next = item;
        tail_ = item;
    }
    void prepend(Item* item) noexcept {
        item->next = head_;
        if (head_ == nullptr)
            tail_ = item;
        head_ = item;
    }
    [[nodiscard]] Item* pop() noexcept {
        Item* item = head_;
        if (item != nullptr)
            head_ = item->following();
        return item;
    }

private:
    Item* head_ = nullptr;
    Item* tail_ = nullptr;
};

}  // namespace qz::detail
