// What a URL leads to, as a buffer, for callers who can wait.
#pragma once

#include <optional>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"

namespace qz {

class NSError;
class NSURL;

/// Loads a URL (http, https, file) and waits for it, as long as a session's time-outs allow: never on a
/// thread that serves people. Nullopt with an error of NSURLErrorDomain when nothing came, a null URL
/// included; an answer with an HTTP status from 400 on is NSURLErrorBadServerResponse. `error` may be null.
/// Safe from any thread.
[[nodiscard]] QZ_EXPORT std::optional<NSData> dataWithContentsOfURL(const Ref<NSURL>& url,
                                                                    Ref<NSError>* error);

}  // namespace qz
