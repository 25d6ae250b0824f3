// The object that the copies of an NSData share, and that an `id` holds when a buffer is boxed. Categories
// add operations to it by QZ_DEFINE_CATEGORY(DataStorage, …) in this namespace.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "Platform/Foundation/NSData.h"

namespace qz::internal {

class DataStorage : public NSObject {
    QZ_OBJECT(DataStorage, NSObject)
public:
    /// The buffer of which this is the storage.
    [[nodiscard]] NSData data() const { return *Boxing<NSData>::unbox(*this); }

    /// Gives the buffer another size; what is new in it is uninitialised. For whoever fills it.
    void resize(std::size_t newSize);

    std::size_t size;
    std::unique_ptr<std::byte[], decltype(&std::free)> bytes;

protected:
    explicit DataStorage(std::size_t capacity);
};

}  // namespace qz::internal
