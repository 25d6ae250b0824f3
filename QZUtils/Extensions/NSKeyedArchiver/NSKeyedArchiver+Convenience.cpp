#include "QZUtils/Extensions/NSKeyedArchiver/NSKeyedArchiver+Convenience.h"

namespace qz::NSKeyedArchiverClass {

std::optional<NSData> archivedDataWithObject(const id& object) {
    return NSKeyedArchiver::archivedDataWithRootObject(object, false, nullptr);
}

}  // namespace qz::NSKeyedArchiverClass
