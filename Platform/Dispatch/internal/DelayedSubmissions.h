// Blocks that are submitted later.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/internal/Futex.h"
#include "Platform/Dispatch/internal/Item.h"

namespace qz::detail {

/// A heap of items by time, and a thread that submits them and ends when there have been none for a while.
class DelayedSubmissions {
public:
    using Time = std::chrono::steady_clock::time_point;

    static DelayedSubmissions& shared();

    void add(Time time, QueueCore& queue, Item* item);

private:
    struct Entry {
        Time time{};
        std::uint64_t number = 0;    // equal times keep their order
        QueueCore* queue = nullptr;  // retained
        Item* item = nullptr;
    };

    static bool isLater(const Entry& left, const Entry& right) noexcept;
    static void* run(void* context);

    [[nodiscard]] std::vector<Entry> takeDue(Time now, Time& next);
    void startThread();

    Mutex mutex_;  // guards what follows
    std::vector<Entry> heap_;
    std::uint64_t number_ = 0;
    bool threadLives_ = false;
    std::atomic<std::uint32_t> changes_{0};
};

}  // namespace qz::detail
