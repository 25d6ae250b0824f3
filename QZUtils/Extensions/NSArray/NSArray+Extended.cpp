#include <cstdlib>

#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSArray/NSArray+Extended.h"

namespace qz {

QZ_DEFINE_CATEGORY(NSArray, Extended, cls) {
    cls.method("randomObject", [](const NSArray& self) { return randomObject(refTo(self)); });
}

id randomObject(const Ref<NSArray>& self) {
    return self && self->count() > 0
               ? self->objectAtIndex(static_cast<std::size_t>(std::rand()) % self->count())
               : id();
}

}  // namespace qz
