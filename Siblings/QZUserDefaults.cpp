#include "Siblings/QZUserDefaults.h"

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(QZUserDefaults, cls) {
    cls.classMethod("standardUserDefaults", [](Class&) { return QZUserDefaults::standardUserDefaults(); });
}

Ref<QZUserDefaults> QZUserDefaults::standardUserDefaults() {
    static const auto& defaults = *new Ref<QZUserDefaults>(initWithSuiteName<QZUserDefaults>(nullptr));
    return defaults;
}

}  // namespace qz
