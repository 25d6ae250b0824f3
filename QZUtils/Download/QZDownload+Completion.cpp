// QZDownload: the body on its way, its place on disk, and the end of an attempt.
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Network/NSHTTPURLResponse.h"
#include "Platform/Network/NSURLError.h"
#include "Platform/Network/NSURLRequest.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"
#include "Platform/Network/NSURLSessionTask.h"
#include "QZUtils/Download/QZDownload.h"
#include "QZUtils/Download/internal/DownloadSteps.h"
#include "QZUtils/Extensions/NSObject/NSObject+Unwrap.h"
#include "Siblings/QZMainThread.h"

namespace qz {

using internal::downloadLog;

namespace {

constexpr std::int32_t maximumRetries = 3;
constexpr double secondsPerRetry = 10;

bool isURLError(const NSError& error, NSURLErrorCode code) {
    return error.domain() == NSURLErrorDomain && error.code() == code;
}

}  // namespace

// The body.

void QZDownload::URLSessionDidWriteData(const Ref<NSURLSession>& session,
                                        const Ref<NSURLSessionDownloadTask>&, std::int64_t bytesWritten,
                                        std::int64_t totalBytesWritten, std::int64_t) {
    if (session != this->session()) {
        return;
    }
    {
        // Added up until the main thread takes it.
        const std::lock_guard lock(mutex_);
        if (pending_.attempt != attempt_) {
            pending_.attempt = attempt_;
            pending_.written = 0;
        }
        pending_.written += static_cast<std::uint64_t>(bytesWritten);
        pending_.total = static_cast<std::uint64_t>(totalBytesWritten);
        if (std::exchange(pending_.isQueued, true)) {
            return;
        }
    }
    QZMainThread::run([self = refTo(*this)] { self->takePendingBytes(); });
}

void QZDownload::takePendingBytes() {
    std::uint64_t written = 0;
    std::uint64_t total = 0;
    {
        const std::lock_guard lock(mutex_);
        pending_.isQueued = false;
        if (pending_.attempt != attempt_) {
            return;
        }
        written = std::exchange(pending_.written, 0);
        total = pending_.total;
    }
    setCurrentDownloadLength(currentDownloadLength() + written);
    updateSpeedForTime(NSDate::date());
    setCurrentLength(total);
    if (const auto progress = this->progress()) {
        progress->setCompletedUnitCount(static_cast<std::int64_t>(total));
    }
    performSafelySelectorForDelegate(Selector("onDownloadProgress:"));
}

/// Also of what the main thread has not taken yet.
bool QZDownload::hasReceivedNothing() const {
    const std::lock_guard lock(mutex_);
    return currentLength_ == 0 && (pending_.attempt != attempt_ || pending_.written == 0);
}

void QZDownload::URLSessionDidResumeAtOffset(const Ref<NSURLSession>& session,
                                             const Ref<NSURLSessionDownloadTask>& downloadTask,
                                             std::int64_t offset, std::int64_t expectedTotalBytes) {
    if (session != this->session()) {
        return;
    }
    const auto request = downloadTask->currentRequest();
    const auto response = unwrapAs<NSHTTPURLResponse>(downloadTask->response());
    downloadLog.debug(
        "Did resume downloading task from %@: offset:%lli, total size:%lli,\n headers:%@\nResponse %ld: %@",
        request->URL(), offset, expectedTotalBytes, request->allHTTPHeaderFields(),
        response ? response->statusCode() : 0, response ? response->allHeaderFields() : nullptr);
    setFileLength(static_cast<std::uint64_t>(expectedTotalBytes));
    setCurrentLength(static_cast<std::uint64_t>(offset));
    setCurrentDownloadLength(0);
    setStartTime(NSDate::date());
    setStopTime(NSDate::distantFuture());
    setCompletedUnitsCount(offset);
    setTotalUnitCount(expectedTotalBytes);
    if (fileLength() == unknownLength || !response || response->valueForHTTPHeaderField("ETag")) {
        return;
    }
    const auto validator = internal::syntheticValidator(expectedTotalBytes);
    const auto condition = request->valueForHTTPHeaderField("If-Range");
    if (offset == 0 || condition == validator) {
        internal::installValidator(*downloadTask, *response, validator);
        return;
    }
    // The file has changed under the continuation. The parenthesis has no partner in the logs of this
    // system, and those who search them rely on it.
    downloadLog.warning("Resume: %@, Expected file size (%@) is not as requested (%@", request->URL(),
                        validator, condition);
    startOver(session, downloadTask);
}

/// Lets go of the task, but not of its session, and fetches the file from its start.
void QZDownload::startOver(const Ref<NSURLSession>& session, const Ref<NSURLSessionDownloadTask>& task) {
    {
        const std::lock_guard lock(mutex_);
        abandonedTask_ = task;
    }
    task->cancel();
    setCurrentLength(0);
    setCompletedUnitsCount(0);
    session->dataTaskWithURL(task->currentRequest()->URL())->resume();
}

// The file.

void QZDownload::URLSessionDidFinishDownloadingToURL(const Ref<NSURLSession>& session,
                                                     const Ref<NSURLSessionDownloadTask>& downloadTask,
                                                     const Ref<NSURL>& location) {
    if (session != this->session()) {
        return;
    }
    const auto file = path();
    downloadLog.write(requestLogLevel(), "%@",
                      stringWithFormat("Did finish downloading task from %@, store to file: %@",
                                       internal::requestURLString(*downloadTask), file));
    if (fileExists(file)) {
        removeFile(file);
    }
    if (createDestinationDirectory()) {
        downloadLog.warning("destination dir recreated for %@", file);
    }
    Ref<NSError> error;
    const auto manager = fileManager();
    if (manager && !manager->moveItemAtPath(location->path(), file, &error)) {
        downloadLog.error("Error while moving content to destination: %@.", error);
    }
    removeFile(*resumeDataPath());
    setResumeData(std::nullopt);
}

bool QZDownload::createDestinationDirectory() {
    const auto file = path();
    const auto directory = stringByDeletingLastPathComponent(file);
    const auto manager = fileManager();
    if (!manager || directory.empty() || manager->fileExistsAtPath(directory)) {
        return false;
    }
    Ref<NSError> error;
    if (!manager->createDirectoryAtPath(directory, true, nullptr, &error)) {
        downloadLog.error("Cannot create dir for filePath: %@. \n%@", file, error);
    }
    return true;
}

// The end of an attempt.

void QZDownload::URLSessionDidCompleteWithError(const Ref<NSURLSession>& session,
                                                const Ref<NSURLSessionTask>& task,
                                                const Ref<NSError>& error) {
    if (session != this->session()) {
        downloadLog.warning("self.session != session; %@", error);
        return;
    }
    const auto file = path();
    const auto url = internal::requestURLString(*task);
    const bool isCancelled = error && error->code() == NSURLErrorCancelled;
    bool isAbandoned = false;
    if (isCancelled) {
        const std::lock_guard lock(mutex_);
        isAbandoned = abandonedTask_.lock() == task;
    }
    if (!isAbandoned) {
        setSession(nullptr);
    }
    if (isCancelled) {
        downloadLog.warning("error.code == NSURLErrorCancelled; %@", error);
        downloadLog.debug("Download from URL:%@ cancelled", url);
        if (!isAbandoned) {
            setActive(false);  // whoever cancelled has settled the rest
        }
    } else if (error) {
        attemptFailed(url, error);
    } else {
        attemptSucceeded(session, task, file);
    }
}

void QZDownload::attemptFailed(const std::string& url, const Ref<NSError>& error) {
    setError(error);
    downloadLog.warning("Download from URL:%@ failed with error:%@", url, error);
    setStopTime(NSDate::date());
    keepResumeDataOf(*error);
    if (isURLError(*error, NSURLErrorTimedOut) && hasReceivedNothing() && retryAfterTimeout()) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        if (isURLError(*error, NSURLErrorResourceUnavailable)) {
            curUrlIdx_ = static_cast<std::int64_t>(urls_.size()) - 1;
        }
        retry_ = 0;
    }
    tryNext();
}

void QZDownload::keepResumeDataOf(const NSError& error) {
    const auto entry =
        error.userInfo() ? error.userInfo()->objectForKey(NSURLSessionDownloadTaskResumeData) : id();
    const auto data = unbox<NSData>(entry);
    if (deleteFileOnError()) {
        setResumeData(std::nullopt);
        if (data) {
            NSURLSession::discardResumeData(*data);
        }
        return;
    }
    setResumeData(data);
    const auto file = *resumeDataPath();
    if (data) {
        downloadLog.debug("Resume info:%@", internal::readableResumeData(*data));
        writeToFile(*data, file, true, nullptr);
    } else {
        removeFile(file);
    }
}

/// The same URL again, after 0, 10 and 20 seconds; false when that has been done.
bool QZDownload::retryAfterTimeout() {
    std::int32_t retry = 0;
    {
        const std::lock_guard lock(mutex_);
        if (retry_ >= maximumRetries) {
            return false;
        }
        retry = retry_++;
        --curUrlIdx_;  // tryNext() comes back to the same URL
    }
    performOnMainQueueAfter(retry * secondsPerRetry,
                            [weak = weak_from_this(), run = run_, number = run_->load()] {
                                const auto self = std::static_pointer_cast<QZDownload>(weak.lock());
                                if (self && *run == number) {
                                    self->tryNext();
                                }
                            });
    return true;
}

void QZDownload::attemptSucceeded(const Ref<NSURLSession>& session, const Ref<NSURLSessionTask>& task,
                                  const std::string& path) {
    setStopTime(NSDate::date());
    const bool exists = fileExists(path);
    if (!exists) {
        downloadLog.debug("File doesn't exist: %@", path);
    }
    const auto size = exists ? getFileLength(path) : 0;
    if (fileLength() != unknownLength && fileLength() > currentLength() && fileLength() != size) {
        const auto request = task->currentRequest();
        const auto description =
            stringWithFormat("Download is not completed for request: %@ : header:%@", request,
                             request ? request->allHTTPHeaderFields() : nullptr);
        // The session is not the current one any more, so that this ends with a warning: an incomplete
        // transfer is neither tried again nor settled, and callers rely on that.
        URLSessionDidCompleteWithError(
            session, task,
            NSError::errorWithDomain(std::string(internal::downloadDomain), 10,
                                     NSDictionary::dictionary({{NSLocalizedDescriptionKey, description},
                                                               {NSURLErrorFailingURLStringErrorKey,
                                                                internal::requestURLString(*task)}})));
        setActive(false);
        return;
    }
    const auto modified = lastModified();
    if (modified && exists) {
        fileManager()->setAttributes(NSDictionary::dictionary({{NSFileModificationDate, modified}}), path,
                                     nullptr);
    }
    if (fileLength() == unknownLength) {
        setFileLength(size != 0 ? size : currentLength());
        setTotalUnitCount(static_cast<std::int64_t>(fileLength()));
    }
    if (size != 0 && currentLength() != size) {
        setCurrentLength(fileLength());
        setCompletedUnitsCount(static_cast<std::int64_t>(currentLength()));
    }
    performSafelySelectorForDelegate(Selector("onDownloadProgress:"));
    performSafelySelectorForDelegate(Selector("onDownloadFinished:"));
    {
        const std::lock_guard lock(mutex_);
        retry_ = 0;
    }
    endRun();
}

}  // namespace qz
