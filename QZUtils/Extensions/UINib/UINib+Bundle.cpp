#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Device/QZNSBundle.h"
#include "QZUtils/Extensions/UINib/UINib+Bundle.h"

namespace qz {

QZ_DEFINE_CATEGORY(UINib, Bundle, cls) {
    cls.classMethod("bundledNibWithName:",
                    [](Class&, Text name) { return UINibClass::bundledNibWithName(name); });
}

Ref<UINib> UINibClass::bundledNibWithName(Text name) {
    return QZNSBundle::nibWithName(name);
}

}  // namespace qz
