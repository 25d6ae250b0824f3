// QZDownload: what is made of a server's response before any of its body is stored.
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/NSHTTPURLResponse.h"
#include "Platform/Network/NSURLRequest.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"
#include "Platform/Network/NSURLSessionTask.h"
#include "Platform/Text/NSDateFormatter.h"
#include "QZUtils/Download/QZDownload.h"
#include "QZUtils/Download/internal/DownloadSteps.h"
#include "QZUtils/Extensions/NSError/NSError+Initialization.h"
#include "QZUtils/Extensions/NSObject/NSObject+Unwrap.h"

namespace qz {

using internal::downloadLog;

namespace {

constexpr std::int64_t lengthNotKnown = -1;
constexpr double restartTimeout = 60.0;

/// "Mon, 23 Nov 2026 08:15:00 GMT", in the language of the device: in others than English the date is not
/// understood and the file keeps its own, and callers rely on that.
Ref<NSDate> dateOfField(const std::string& field) {
    static const auto formatter = [] {
        auto made = NSDateFormatter::init();
        made->setDateFormat("EEE, dd MMM yyyy HH:mm:ss zzz");
        return made;
    }();
    return formatter->dateFromString(field);
}

}  // namespace

void QZDownload::URLSessionDidReceiveResponse(
    const Ref<NSURLSession>& session, const Ref<NSURLSessionDataTask>& dataTask,
    const Ref<NSURLResponse>& response, const NSURLSessionResponseCompletionHandler& completionHandler) {
    if (session != this->session()) {
        completionHandler(NSURLSessionResponseCancel);
        return;
    }
    try {
        judge(dataTask, response, completionHandler);
    } catch (const NSException& exception) {
        downloadLog.error("%@", exception.reason());
    } catch (...) {  // NOLINT(bugprone-empty-catch): other exceptions are not spoken of; callers rely on it
    }
}

void QZDownload::judge(const Ref<NSURLSessionDataTask>& task, const Ref<NSURLResponse>& response,
                       const NSURLSessionResponseCompletionHandler& completionHandler) {
    const auto http = unwrapAs<NSHTTPURLResponse>(response);
    if (http && http->statusCode() >= 400) {
        refuse(*http, completionHandler);
        return;
    }
    if (http) {
        noteHead(task, http);
    }
    if (http && http->statusCode() == 206) {
        acceptPart(*response, completionHandler);
    } else {
        acceptWhole(*response, completionHandler);
    }
    performSafelySelectorForDelegate(Selector("onDownloadProgress:"));
}

/// The server will not send the file.
void QZDownload::refuse(const NSHTTPURLResponse& response,
                        const NSURLSessionResponseCompletionHandler& completionHandler) {
    const auto status = response.statusCode();
    const auto description = NSHTTPURLResponse::localizedStringForStatusCode(status);
    downloadLog.warning("Response: URL:%@, status=%ld, description=%@", response.URL(), status, description);
    completionHandler(NSURLSessionResponseCancel);
    purgeSession();
    if (status == 416 || status == 412) {
        removeFileAndResetCounters();
        const auto length = response.expectedContentLength();
        setFileLength(static_cast<std::uint64_t>(length));
        setTotalUnitCount(length != lengthNotKnown ? length : 0);
    }
    setStopTime(NSDate::date());
    setError(NSErrorClass::errorWithDomain(std::string(internal::downloadDomain), status, description));
    if (status == 401) {
        // The other mirrors want the same authorisation.
        const std::lock_guard lock(mutex_);
        curUrlIdx_ = static_cast<std::int64_t>(urls_.size()) - 1;
    }
    tryNext();
}

/// Logs the head, and keeps what will be needed of it.
void QZDownload::noteHead(const Ref<NSURLSessionDataTask>& task, const Ref<NSHTTPURLResponse>& response) {
    downloadLog.write(requestLogLevel(),
                      "%ld Response: URL:%@, headerFields = %@\n"
                      "current file length=%llu, expected file length=%llu",
                      response->statusCode(), response->URL(), response->allHeaderFields(), currentLength(),
                      fileLength());
    const auto modified = response->valueForHTTPHeaderField("Last-Modified");
    setLastModified(modified ? dateOfField(*modified) : nullptr);
    const auto length = response->expectedContentLength();
    if (!deleteFileOnError() && !response->valueForHTTPHeaderField("ETag") && length != lengthNotKnown) {
        internal::installValidator(*task, *response, internal::syntheticValidator(length));
    }
}

void QZDownload::acceptPart(const NSURLResponse& response,
                            const NSURLSessionResponseCompletionHandler& completionHandler) {
    const auto file = path();
    const auto size = fileExists(file) ? getFileLength(file) : 0;
    const auto length = response.expectedContentLength();
    if (fileLength() != unknownLength && length != lengthNotKnown &&
        fileLength() != static_cast<std::uint64_t>(length) + size) {
        // The parts do not add up: from the start, and from the server itself.
        removeFileAndResetCounters();
        completionHandler(NSURLSessionResponseCancel);
        purgeSession();
        setSession(configuredSessionWithRequest(NSURLRequest::requestWithURL(
            NSURL::URLWithString(Text(url())), NSURLRequestReloadIgnoringLocalCacheData, restartTimeout)));
        setStartTime(NSDate::date());
        return;
    }
    setCurrentLength(size);
    setCompletedUnitsCount(static_cast<std::int64_t>(size));
    completionHandler(NSURLSessionResponseBecomeDownload);
}

void QZDownload::acceptWhole(const NSURLResponse& response,
                             const NSURLSessionResponseCompletionHandler& completionHandler) {
    removeFileAndResetCounters();
    const auto length = response.expectedContentLength();
    setFileLength(static_cast<std::uint64_t>(length));
    if (length == 0) {
        completionHandler(NSURLSessionResponseCancel);  // an empty body is no file
        return;
    }
    if (const auto progress = this->progress()) {
        progress->setTotalUnitCount(length);
    }
    completionHandler(NSURLSessionResponseBecomeDownload);
}

void QZDownload::URLSessionDidBecomeDownloadTask(const Ref<NSURLSession>&, const Ref<NSURLSessionDataTask>&,
                                                 const Ref<NSURLSessionDownloadTask>& downloadTask) {
    downloadTask->resume();
}

}  // namespace qz
