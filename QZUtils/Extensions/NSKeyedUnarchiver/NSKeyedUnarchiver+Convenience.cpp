#include "QZUtils/Extensions/NSKeyedUnarchiver/NSKeyedUnarchiver+Convenience.h"

namespace qz::NSKeyedUnarchiverClass {

id unarchivedRootObjectWithData(const std::optional<NSData>& data) {
    return data ? NSKeyedUnarchiver::unarchiveObjectWithData(*data) : nullptr;
}

}  // namespace qz::NSKeyedUnarchiverClass
