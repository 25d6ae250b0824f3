#include "Platform/Foundation/NSNotification.h"

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSNotification, cls) {
    using Self = NSNotification;
    cls.property("name", &Self::name);
    cls.property("object", &Self::object);
    cls.property("userInfo", &Self::userInfo);
    cls.method("description", [](const Self& self) {
        return stringWithFormat("%@ {object = %@, userInfo = %@}", self.name(), self.object(),
                                self.userInfo());
    });
}

Ref<NSNotification> NSNotification::notificationWithName(std::string_view name, const id& object) {
    return notificationWithName(name, object, nullptr);
}

Ref<NSNotification> NSNotification::notificationWithName(std::string_view name, const id& object,
                                                         const Ref<NSDictionary>& userInfo) {
    return make<NSNotification>(name, object, userInfo);
}

}  // namespace qz
