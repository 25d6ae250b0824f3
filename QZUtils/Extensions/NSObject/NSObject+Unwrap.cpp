#include <algorithm>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Extensions/NSObject/NSObject+Unwrap.h"

namespace qz {

namespace {

id objectIf(bool condition, Receiver self) {
    return condition ? self.ref() : nullptr;
}

id unwrapByKind(Object& self, const Class& cls) {
    return objectIf(self.isKindOfClass(cls), self);
}

}  // namespace

QZ_DEFINE_CATEGORY(NSObject, Unwrap, cls) {
    cls.method("unwrapAs:", &unwrapByKind);
}
QZ_DEFINE_CATEGORY(NSProxy, Unwrap, cls) {
    cls.method("unwrapAs:", &unwrapByKind);
}

id unwrapAs(Receiver self, const Class& cls) {
    return send<id>(self, "unwrapAs:"_sel, cls);
}

id unwrapAsAny(Receiver self, const std::vector<std::reference_wrapper<const Class>>& classes) {
    const auto isKind = [&](const Class& cls) { return isKindOfClass(self, cls); };
    return objectIf(std::ranges::any_of(classes, isKind), self);
}

id unwrapAsProtocol(Receiver self, const Protocol& protocol) {
    return objectIf(self && self->conformsToProtocol(protocol), self);
}

id unwrapAsProtocols(Receiver self, const std::vector<std::reference_wrapper<const Protocol>>& protocols) {
    const auto conforms = [&](const Protocol& protocol) {
        return self && self->conformsToProtocol(protocol);
    };
    return objectIf(std::ranges::all_of(protocols, conforms), self);
}

}  // namespace qz
