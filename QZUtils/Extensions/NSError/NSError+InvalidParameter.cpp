#include <cerrno>
#include <cstring>
#include <string>

#include "QZUtils/Diagnostics/Log.h"
#include "QZUtils/Extensions/NSError/NSError+Initialization.h"
#include "QZUtils/Extensions/NSError/NSError+InvalidParameter.h"

namespace qz::NSErrorClass {

Ref<NSError> invalidParametersError() {
    return invalidParametersErrorWithDescription(nullptr);
}

Ref<NSError> invalidParametersErrorWithDescription(Text description) {
    return errorWithDomain(std::string(NSPOSIXErrorDomain), EINVAL,
                           description ? description : Text(std::strerror(EINVAL)));
}

void logParameterRequiredErrorForMethod(Selector method, Text parameter) {
    logError("`%@`: %@ is required", NSStringFromSelector(method), parameter);
}

}  // namespace qz::NSErrorClass
