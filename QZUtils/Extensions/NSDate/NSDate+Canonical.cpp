#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSDate/NSDate+Canonical.h"
#include "QZUtils/Markup/QZCanonicalDateFormatter.h"

namespace qz {

QZ_DEFINE_CATEGORY(NSDate, Canonical, cls) {
    cls.property("canonicalString", [](NSDate& self) { return canonicalString(refTo(self)); });
}

std::string canonicalString(const Ref<NSDate>& self) {
    return QZCanonicalDateFormatter::shared()->stringFromDate(self);
}

std::string canonicalString(NSDate::TimePoint self) {
    return canonicalString(NSDate::dateWithTimePoint(self));
}

}  // namespace qz
