// NSError(NSHTTPURLResponse): an error out of the status of an HTTP response.
//
//     if (const auto error = NSErrorClass::errorWithHttpResponse(response)) { … }
//
// Safe from any thread.
#pragma once

#include "Platform/Export.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Network/NSHTTPURLResponse.h"

namespace qz::NSErrorClass {

/// For a status of 400 and above: in NSURLErrorDomain, whose own codes are negative, with the status as its
/// code and what the status means as its description. Null below, and for null.
[[nodiscard]] QZ_EXPORT Ref<NSError> errorWithHttpResponse(const Ref<NSHTTPURLResponse>& response);

}  // namespace qz::NSErrorClass
