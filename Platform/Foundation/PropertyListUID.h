// PropertyListUID: a reference by number, as keyed archives hold them in binary property lists.
#pragma once

#include <cstdint>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class QZ_EXPORT PropertyListUID : public NSObject {
    QZ_OBJECT(PropertyListUID, NSObject)
public:
    [[nodiscard]] static Ref<PropertyListUID> uidWithValue(std::uint64_t value) {
        return make<PropertyListUID>(value);
    }

    [[nodiscard]] std::uint64_t value() const noexcept { return value_; }

protected:
    explicit PropertyListUID(std::uint64_t value) noexcept : value_(value) {}

private:
    const std::uint64_t value_;
};

}  // namespace qz
