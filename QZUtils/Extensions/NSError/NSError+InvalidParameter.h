// NSError(InvalidParameter): what is answered and logged when a caller gives an invalid argument. Safe from
// any thread.
#pragma once

#include "Platform/Export.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Runtime/Selector.h"
#include "Platform/Runtime/Text.h"

namespace qz::NSErrorClass {

/// The error below without a description of its own.
[[nodiscard]] QZ_EXPORT Ref<NSError> invalidParametersError();

/// An error of NSPOSIXErrorDomain with code 22, EINVAL. Without a description (nil) it has the system's text
/// for that number.
[[nodiscard]] QZ_EXPORT Ref<NSError> invalidParametersErrorWithDescription(Text description);

/// Logs, as an error line, that a method needs a parameter. In spite of its name it makes no error object.
QZ_EXPORT void logParameterRequiredErrorForMethod(Selector method, Text parameter);

}  // namespace qz::NSErrorClass
