// NSURLSessionDelegate: what a session tells its delegate. Every operation is optional; all of them are
// called on the session's delegate queue, one at a time, those of a task in the order of the events.
#pragma once

#include <cstdint>
#include <functional>

#include "Platform/Runtime/Protocol.h"

namespace qz {

/// What becomes of a data task whose response has arrived: it ends as cancelled, its body is given to the
/// delegate, or it becomes a download task.
enum class NSURLSessionResponseDisposition : std::int64_t { Cancel = 0, Allow = 1, BecomeDownload = 2 };
inline constexpr auto NSURLSessionResponseCancel = NSURLSessionResponseDisposition::Cancel;
inline constexpr auto NSURLSessionResponseAllow = NSURLSessionResponseDisposition::Allow;
inline constexpr auto NSURLSessionResponseBecomeDownload = NSURLSessionResponseDisposition::BecomeDownload;

/// The answer to a response: called once, from any thread; further calls do nothing. The body waits for it.
using NSURLSessionResponseCompletionHandler = std::function<void(NSURLSessionResponseDisposition)>;

struct NSURLSessionDelegate {
    QZ_PROTOCOL(NSURLSessionDelegate)

    template <class Target>
    static constexpr void declare(Target& cls) {
        using T = typename Target::Type;
        // (Ref<NSURLSession>, Ref<NSError>): the last message of a session; the error is null.
        if constexpr (requires { &T::URLSessionDidBecomeInvalidWithError; }) {
            cls.method("URLSession:didBecomeInvalidWithError:", &T::URLSessionDidBecomeInvalidWithError);
        }
        // (Ref<NSURLSession>, Ref<NSURLSessionDataTask>, Ref<NSURLResponse>,
        //  NSURLSessionResponseCompletionHandler): before the body. Without it the body is allowed.
        if constexpr (requires { &T::URLSessionDidReceiveResponse; }) {
            cls.method("URLSession:dataTask:didReceiveResponse:completionHandler:",
                       &T::URLSessionDidReceiveResponse);
        }
        // (Ref<NSURLSession>, Ref<NSURLSessionDataTask>, Ref<NSURLSessionDownloadTask>): the download task
        // takes the data task's place; only the download task completes.
        if constexpr (requires { &T::URLSessionDidBecomeDownloadTask; }) {
            cls.method("URLSession:dataTask:didBecomeDownloadTask:", &T::URLSessionDidBecomeDownloadTask);
        }
        // (Ref<NSURLSession>, Ref<NSURLSessionDataTask>, NSData): the next bytes of the body.
        if constexpr (requires { &T::URLSessionDidReceiveData; }) {
            cls.method("URLSession:dataTask:didReceiveData:", &T::URLSessionDidReceiveData);
        }
        // (Ref<NSURLSession>, Ref<NSURLSessionDownloadTask>, std::int64_t bytesWritten,
        //  std::int64_t totalBytesWritten, std::int64_t totalBytesExpectedToWrite): bytes since the last
        // message, bytes of the file so far, and of the whole file, -1 when that is not known. Some twenty
        // times a second at most; what a busy delegate has not taken yet is added up.
        if constexpr (requires { &T::URLSessionDidWriteData; }) {
            cls.method("URLSession:downloadTask:didWriteData:totalBytesWritten:totalBytesExpectedToWrite:",
                       &T::URLSessionDidWriteData);
        }
        // (Ref<NSURLSession>, Ref<NSURLSessionDownloadTask>, std::int64_t fileOffset,
        //  std::int64_t expectedTotalBytes): a task made from resume data goes on, or starts over (offset 0).
        // The total is -1 when it is not known.
        if constexpr (requires { &T::URLSessionDidResumeAtOffset; }) {
            cls.method("URLSession:downloadTask:didResumeAtOffset:expectedTotalBytes:",
                       &T::URLSessionDidResumeAtOffset);
        }
        // (Ref<NSURLSession>, Ref<NSURLSessionDownloadTask>, Ref<NSURL>): the whole body lies in a file,
        // which the delegate moves or reads before it returns; then it is removed.
        if constexpr (requires { &T::URLSessionDidFinishDownloadingToURL; }) {
            cls.method("URLSession:downloadTask:didFinishDownloadingToURL:",
                       &T::URLSessionDidFinishDownloadingToURL);
        }
        // (Ref<NSURLSession>, Ref<NSURLSessionTask>, Ref<NSError>): the last message of a task; the error is
        // null when it succeeded.
        if constexpr (requires { &T::URLSessionDidCompleteWithError; }) {
            cls.method("URLSession:task:didCompleteWithError:", &T::URLSessionDidCompleteWithError);
        }
    }
};

}  // namespace qz
