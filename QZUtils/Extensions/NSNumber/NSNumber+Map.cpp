#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Extensions/NSNumber/NSNumber+Map.h"

namespace qz {

QZ_DEFINE_CATEGORY(NSNumber, Map, cls) {
    cls.method("unwrapAs:", [](NSNumber& self, const Class& wanted) {
        return &wanted == &NSString::cls() ? send<id>(self, "stringValue"_sel)
                                           : sendSuper<id>(self, NSObject::cls(), "unwrapAs:"_sel, wanted);
    });
}

}  // namespace qz
