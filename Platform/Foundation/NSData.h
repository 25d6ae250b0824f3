// NSData: an immutable buffer of bytes. Copies share the bytes, so it is passed by value; it converts from
// and to std::span<const std::byte>, and travels in an `id` without copying. "May be nil" is
// std::optional<NSData>.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

namespace internal {
class DataStorage;
}

class QZ_EXPORT NSData {
public:
    /// Empty.
    NSData() noexcept = default;
    /// Copies the bytes.
    NSData(std::span<const std::byte> bytes);
    [[nodiscard]] static NSData dataWithText(std::string_view text);
    /// A buffer of `size` bytes, uninitialised when `fill` is called with it. `fill` returns how many of them
    /// count, which is at most `size`; the rest is given up without copying. Throws std::bad_alloc.
    template <class F>
    [[nodiscard]] static NSData dataWithCapacity(std::size_t size, F&& fill) {
        auto data = NSData(uninitialised(size));
        data.shrink(std::forward<F>(fill)(data.writable()));
        return data;
    }
    /// A buffer whose size shows as it is filled. `fill` is called with room for more, `capacity` bytes at
    /// first, and returns how many of them it has filled; the first time that it leaves some ends it. Large
    /// buffers grow without being copied, and what is left over is returned. Throws std::bad_alloc.
    template <class F>
    [[nodiscard]] static NSData dataByFilling(std::size_t capacity, F&& fill) {
        auto data = NSData(uninitialised(capacity));
        std::size_t size = 0;
        for (;;) {
            size += fill(data.writable().subspan(size));
            if (size < capacity) {
                data.resize(size);
                return data;
            }
            capacity *= 2;
            data.resize(capacity);
        }
    }

    [[nodiscard]] std::span<const std::byte> bytes() const noexcept;
    operator std::span<const std::byte>() const noexcept { return bytes(); }
    [[nodiscard]] std::size_t size() const noexcept { return bytes().size(); }
    [[nodiscard]] bool isEmpty() const noexcept { return size() == 0; }
    /// The bytes as characters, for text; valid as long as the buffer.
    [[nodiscard]] std::string_view text() const noexcept;

    [[nodiscard]] friend bool operator==(const NSData& left, const NSData& right) noexcept {
        return left.text() == right.text();
    }

    /// The class of boxed buffers.
    [[nodiscard]] static Class& cls();

private:
    friend struct Boxing<NSData>;
    explicit NSData(Ref<internal::DataStorage> storage) noexcept : storage_(std::move(storage)) {}
    [[nodiscard]] static Ref<internal::DataStorage> uninitialised(std::size_t size);
    [[nodiscard]] std::span<std::byte> writable() noexcept;
    void shrink(std::size_t size);
    void resize(std::size_t size);

    Ref<internal::DataStorage> storage_;  // null when empty
};

template <>
struct QZ_EXPORT Boxing<NSData> {
    [[nodiscard]] static Ref<Object> box(const NSData& data);
    [[nodiscard]] static std::optional<NSData> unbox(const Object& object);
};

}  // namespace qz
