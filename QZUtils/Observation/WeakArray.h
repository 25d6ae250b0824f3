// WeakArray: objects in order, held weakly. One that died leaves an empty slot until the next forEach() has
// passed.
//
// For use from one thread at a time. A callback of forEach() may append, release elements, and call forEach()
// itself.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace qz {

template <class T>
class WeakArray {
public:
    /// An array with any number of first elements.
    template <class... U>
    explicit WeakArray(const std::shared_ptr<U>&... elements) : slots_{std::weak_ptr<T>(elements)...} {}

    void append(const std::shared_ptr<T>& element) { slots_.emplace_back(element); }

    /// The number of slots, empty ones included.
    [[nodiscard]] std::size_t count() const noexcept { return slots_.size(); }

    /// Null beyond the end and for an empty slot.
    [[nodiscard]] std::shared_ptr<T> operator[](std::size_t index) const {
        return index < slots_.size() ? slots_[index].lock() : nullptr;
    }

    /// Calls `callback(const std::shared_ptr<T>&)` for each living element, from the last to the first when
    /// `reverse`. Elements that the callback appends are not visited. Afterwards, if it met empty slots,
    /// removes every one.
    template <class F>
    void forEach(bool reverse, F&& callback) {
        Walk walk(*this);
        const auto count = slots_.size();
        for (std::size_t step = 0; step < count; ++step) {
            if (const auto element = slots_[reverse ? count - 1 - step : step].lock()) {
                callback(element);
            } else {
                walk.metEmptySlot = true;
            }
        }
    }
    template <class F>
    void forEach(F&& callback) {
        forEach(false, std::forward<F>(callback));
    }

private:
    /// Removes empty slots when the outermost pass ends, so that the indices of those around it stay true.
    struct Walk {
        explicit Walk(WeakArray& walked) : array(walked) { ++array.depth_; }
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;
        ~Walk() {
            array.compactLater_ = array.compactLater_ || metEmptySlot;
            if (--array.depth_ == 0 && std::exchange(array.compactLater_, false)) {
                std::erase_if(array.slots_, [](const auto& slot) { return slot.expired(); });
            }
        }
        WeakArray& array;
        bool metEmptySlot = false;
    };

    std::vector<std::weak_ptr<T>> slots_;
    int depth_ = 0;
    bool compactLater_ = false;
};

}  // namespace qz
