// How failures of loading a URL become errors.
#pragma once

#include <cstdint>
#include <string>

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/NSURLError.h"

namespace qz::internal {

/// What is said when a partial file cannot be made or written.
inline constexpr auto cannotStore = "the download cannot be stored";

/// An error of NSURLErrorDomain with a text for people and, unless it is null, the URL. A null underlying
/// error is left out, and so are empty resume data.
[[nodiscard]] Ref<NSError> loadError(NSURLErrorCode code, const std::string& description,
                                     const Ref<NSURL>& url, const Ref<NSError>& underlying = nullptr);
/// The same error with a record to continue from.
[[nodiscard]] Ref<NSError> errorWithResumeData(const Ref<NSError>& error, const id& resumeData);
/// What a result of libcurl (CURLcode, libcurl-errors(3)) is called here.
[[nodiscard]] NSURLErrorCode codeOfCurlResult(int result, long systemError);

}  // namespace qz::internal
