// What sessions send to their delegates.
#pragma once

#include "Platform/Runtime/Send.h"

namespace qz::internal {

inline constexpr auto didReceiveResponse = "URLSession:dataTask:didReceiveResponse:completionHandler:";
inline constexpr auto didBecomeDownloadTask = "URLSession:dataTask:didBecomeDownloadTask:";
inline constexpr auto didReceiveData = "URLSession:dataTask:didReceiveData:";
inline constexpr auto didWriteData =
    "URLSession:downloadTask:didWriteData:totalBytesWritten:totalBytesExpectedToWrite:";
inline constexpr auto didResumeAtOffset = "URLSession:downloadTask:didResumeAtOffset:expectedTotalBytes:";
inline constexpr auto didFinishDownloading = "URLSession:downloadTask:didFinishDownloadingToURL:";
inline constexpr auto didComplete = "URLSession:task:didCompleteWithError:";
inline constexpr auto didBecomeInvalid = "URLSession:didBecomeInvalidWithError:";

/// Unless the delegate does not care.
template <class... A>
void tell(const Ref<Object>& delegate, const char* message, const A&... arguments) {
    const Selector selector(message);
    if (respondsToSelector(delegate, selector)) {
        send(delegate, selector, arguments...);
    }
}

}  // namespace qz::internal
