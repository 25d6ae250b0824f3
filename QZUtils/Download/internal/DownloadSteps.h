// What the source files of QZDownload share.
#pragma once

#include <cstdint>
#include <string>

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Network/NSHTTPURLResponse.h"
#include "Platform/Network/NSURLSessionTask.h"
#include "QZUtils/Diagnostics/Log.h"

namespace qz::internal {

inline constexpr Log downloadLog{"Download"};

inline constexpr std::string_view downloadErrorDomain = "QZDownloadErrorDomain";
inline constexpr std::string_view downloadCriticalDomain = "QZDownloadCritical";
inline constexpr std::string_view downloadDomain = "QZDownloadDomain";

/// The entity tag of a file that is known by its length alone.
[[nodiscard]] std::string syntheticValidator(std::int64_t length);
/// Puts the validator into the task's response as its entity tag, so that resume data hold it.
void installValidator(NSURLSessionTask& task, const NSHTTPURLResponse& response,
                      const std::string& validator);
/// The text of the URL that the task asks for; empty when there is none.
[[nodiscard]] std::string requestURLString(const NSURLSessionTask& task);
/// Resume data as a property list for the log, or as they are.
[[nodiscard]] id readableResumeData(const NSData& data);

}  // namespace qz::internal
