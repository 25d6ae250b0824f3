#include "Platform/Foundation/NSData.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/internal/DataStorage.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace internal {

namespace {

/// The bytes, with their block in the size that is asked for. The C library moves the pages of a large block
/// to where they have room, where operator new could only copy them.
std::byte* reallocated(std::byte* bytes, std::size_t size) {
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): see above
    auto* moved = static_cast<std::byte*>(std::realloc(bytes, std::max(size, std::size_t{1})));
    return moved ? moved : throw std::bad_alloc();
}

std::string_view textOf(const DataStorage& storage) {
    return {reinterpret_cast<const char*>(storage.bytes.get()), storage.size};
}

/// "<48656c6c 6f>", long buffers cut after their first bytes.
std::string describe(const DataStorage& storage) {
    constexpr std::size_t shown = 64;
    constexpr const char* digits = "0123456789abcdef";
    std::string text = "<";
    for (std::size_t index = 0; index < std::min(storage.size, shown); ++index) {
        if (index > 0 && index % 4 == 0) {
            text += ' ';
        }
        const auto byte = std::to_integer<unsigned>(storage.bytes[index]);
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text + (storage.size > shown ? " ... " + std::to_string(storage.size) + " bytes>" : ">");
}

}  // namespace

DataStorage::DataStorage(std::size_t capacity)
    : size(capacity), bytes(reallocated(nullptr, capacity), &std::free) {}

void DataStorage::resize(std::size_t newSize) {
    auto* moved = reallocated(bytes.get(), newSize);
    static_cast<void>(bytes.release());
    bytes.reset(moved);
    size = newSize;
}

QZ_DEFINE_CLASS_NAMED(DataStorage, "NSData", cls) {
    cls.method("description", &describe);
    cls.method("isEqual:", [](const DataStorage& self, const id& other) {
        const auto* data = dynamic_cast<const DataStorage*>(other.get());
        return data && textOf(*data) == textOf(self);
    });
    cls.method("hash", [](const DataStorage& self) { return std::hash<std::string_view>()(textOf(self)); });
    cls.method("length", [](const DataStorage& self) { return self.size; });
    cls.method("copy", [](DataStorage& self) { return id(self.ref()); });
    cls.method("writeToFile:atomically:",
               [](const DataStorage& self, std::string_view path, bool atomically) {
                   return writeToFile(self.data(), path, atomically, nullptr);
               });
}

}  // namespace internal

using internal::DataStorage;

NSData::NSData(std::span<const std::byte> bytes) {
    if (!bytes.empty()) {
        storage_ = uninitialised(bytes.size());
        std::ranges::copy(bytes, storage_->bytes.get());
    }
}

NSData NSData::dataWithText(std::string_view text) {
    return NSData(std::as_bytes(std::span(text)));
}

Ref<DataStorage> NSData::uninitialised(std::size_t size) {
    return make<DataStorage>(size);
}

std::span<std::byte> NSData::writable() noexcept {
    return {storage_->bytes.get(), storage_->size};
}

void NSData::shrink(std::size_t size) {
    storage_->size = std::min(size, storage_->size);
}

void NSData::resize(std::size_t size) {
    storage_->resize(size);
}

std::span<const std::byte> NSData::bytes() const noexcept {
    return storage_ ? std::span<const std::byte>(storage_->bytes.get(), storage_->size)
                    : std::span<const std::byte>();
}

std::string_view NSData::text() const noexcept {
    return storage_ ? internal::textOf(*storage_) : std::string_view();
}

Class& NSData::cls() {
    return DataStorage::cls();
}

Ref<Object> Boxing<NSData>::box(const NSData& data) {
    return data.storage_ ? data.storage_ : NSData::uninitialised(0);
}

std::optional<NSData> Boxing<NSData>::unbox(const Object& object) {
    const auto* storage = dynamic_cast<const DataStorage*>(&object);
    // The buffer is immutable once it was filled, so sharing it with the box is safe.
    return storage ? std::optional(NSData(refTo(*storage))) : std::nullopt;
}

}  // namespace qz
