#include "Platform/Foundation/NSNull.h"

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Id.h"

namespace qz {

QZ_DEFINE_CLASS(NSNull, cls) {
    cls.method("description", [](const NSNull&) { return std::string("<null>"); });
    cls.method("copy", [](NSNull& self) { return id(self.ref()); });
}

const Ref<NSNull>& NSNull::null() {
    static const auto& instance =
        *new Ref<NSNull>(make<NSNull>());  // outlives whatever still holds it at exit
    return instance;
}

}  // namespace qz
