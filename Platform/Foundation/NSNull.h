// NSNull: the object that stands for "nothing" where nil cannot, as in an array.
#pragma once

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class QZ_EXPORT NSNull : public NSObject {
    QZ_OBJECT(NSNull, NSObject)
public:
    /// The one such object.
    [[nodiscard]] static const Ref<NSNull>& null();

protected:
    NSNull() = default;
};

}  // namespace qz
