#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSString/NSString+CanonicalDate.h"
#include "QZUtils/Markup/QZCanonicalDateFormatter.h"

namespace qz {

QZ_DEFINE_CATEGORY(NSString, CanonicalDate, cls) {
    cls.property("canonicalDate", [](const NSString& self) { return canonicalDate(self.string()); });
}

Ref<NSDate> canonicalDate(Text self) {
    return self ? QZCanonicalDateFormatter::shared()->dateFromString(self.view()) : nullptr;
}

}  // namespace qz
