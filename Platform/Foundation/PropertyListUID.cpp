#include "Platform/Foundation/PropertyListUID.h"

#include <functional>

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Id.h"

namespace qz {

QZ_DEFINE_CLASS(PropertyListUID, cls) {
    cls.property("value", &PropertyListUID::value);
    cls.method("isEqual:", [](const PropertyListUID& self, const id& other) {
        const auto uid = other.as<PropertyListUID>();
        return uid && uid->value() == self.value();
    });
    cls.method("hash", [](const PropertyListUID& self) { return std::hash<std::uint64_t>()(self.value()); });
}

}  // namespace qz
