#include "Platform/Network/NSMutableURLRequest.h"

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Network/internal/HeaderFields.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSMutableURLRequest, cls) {
    using Self = NSMutableURLRequest;
    cls.method("setURL:", &Self::setURL);
    cls.method("setTimeoutInterval:", &Self::setTimeoutInterval);
    cls.method("setHTTPMethod:", &Self::setHTTPMethod);
    cls.method("setValue:forHTTPHeaderField:", &Self::setValueForHTTPHeaderField);
}

void NSMutableURLRequest::setValueForHTTPHeaderField(Text value, std::string_view field) {
    const auto changed =
        contents_.fields ? contents_.fields->mutableCopy() : NSMutableDictionary::dictionary();
    if (const auto name = internal::nameOfField(*changed, field)) {
        changed->removeObjectForKey(*name);
    }
    if (value) {
        changed->setObjectForKey(value, field);
    }
    contents_.fields = changed->copy();
}

}  // namespace qz
