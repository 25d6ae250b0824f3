// QZTuple: a fixed number of values, nil among them, as one object.
#pragma once

#include <cstddef>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class QZ_EXPORT QZTuple : public NSObject {
    QZ_OBJECT(QZTuple, NSObject)
public:
    /// The first `count` of the values, filled up with nil.
    [[nodiscard]] static Ref<QZTuple> tupleWithCount(std::size_t count, std::vector<id> values);

    [[nodiscard]] std::size_t count() const noexcept { return values_.size(); }
    /// Nil beyond the end, too.
    [[nodiscard]] id objectAtIndex(std::size_t index) const {
        return index < values_.size() ? values_[index] : id();
    }
    [[nodiscard]] id operator[](std::size_t index) const { return objectAtIndex(index); }

protected:
    explicit QZTuple(std::vector<id> values) : values_(std::move(values)) {}

private:
    const std::vector<id> values_;
};

}  // namespace qz
