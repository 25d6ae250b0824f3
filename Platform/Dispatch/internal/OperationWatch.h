// What the platform itself observes operations with.
#pragma once

#include <string_view>

#include "Platform/Runtime/Id.h"

namespace qz {
class NSDictionary;
class NSOperation;
}  // namespace qz

namespace qz::detail {

/// Is told of the changes that an operation announces, whatever class it is of and whoever keeps its state.
class OperationWatch : public NSObject {
    QZ_OBJECT(OperationWatch, NSObject)
protected:
    OperationWatch() = default;

    /// On the thread that made the change. May come late, or twice.
    virtual void noticeChange(NSOperation& operation) = 0;

private:
    void observeValueForKeyPath(std::string_view keyPath, const id& object, const Ref<NSDictionary>& change,
                                void* context);
};

}  // namespace qz::detail
