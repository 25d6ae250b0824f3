#include "Platform/Network/NSURLError.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSError/NSError+Initialization.h"
#include "QZUtils/Extensions/NSError/NSError+NSHTTPURLResponse.h"

namespace qz {

QZ_DEFINE_CATEGORY(NSError, NSHTTPURLResponse, cls) {
    cls.classMethod("errorWithHttpResponse:", [](Class&, const Ref<qz::NSHTTPURLResponse>& response) {
        return NSErrorClass::errorWithHttpResponse(response);
    });
}

namespace NSErrorClass {

Ref<NSError> errorWithHttpResponse(const Ref<NSHTTPURLResponse>& response) {
    constexpr std::int64_t firstError = 400;
    if (!response || response->statusCode() < firstError) {
        return nullptr;
    }
    const auto status = response->statusCode();
    return errorWithDomain(std::string(NSURLErrorDomain), status,
                           NSHTTPURLResponse::localizedStringForStatusCode(status));
}

}  // namespace NSErrorClass

}  // namespace qz
