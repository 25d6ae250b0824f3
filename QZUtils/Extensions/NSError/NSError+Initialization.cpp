#include <utility>

#include "Platform/Foundation/NSDictionary.h"
#include "QZUtils/Extensions/NSError/NSError+Initialization.h"

namespace qz::NSErrorClass {

Ref<NSError> errorWithDomain(std::string domain, std::int64_t code, Text description) {
    return NSError::errorWithDomain(
        std::move(domain), code,
        description ? NSDictionary::dictionary({{NSLocalizedDescriptionKey, description}}) : nullptr);
}

}  // namespace qz::NSErrorClass
