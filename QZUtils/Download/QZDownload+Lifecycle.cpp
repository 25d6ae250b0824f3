// QZDownload: from a start over the list of URLs to an end.
#include "Platform/Dispatch/DelayedPerforming.h"
#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Concurrency/QZSynchronizedMapTable.h"
#include "QZUtils/Download/QZDownload.h"
#include "QZUtils/Download/internal/DownloadSteps.h"
#include "QZUtils/Extensions/NSObject/NSObject+PerformSelector.h"
#include "Siblings/QZMainThread.h"

namespace qz {

using internal::downloadLog;

// Starting.

Ref<QZPromise> QZDownload::downloadTo(std::string_view path, const URLs& from) {
    return QZPromise::promiseWithIdRun("QZDownload" + std::string(path),
                                       [&](const QZPromise::Resolver& resolver) {
                                           setResolver(resolver);
                                           downloadFile(path, from);
                                       });
}

bool QZDownload::downloadFile(std::string_view path, const URLs& fromUrls) {
    activeDownloadingMap()->setObjectForKey(refTo(*this), keyForFile(path, fromUrls));
    if (session()) {
        return true;
    }
    if (fromUrls.empty()) {
        setUrls({});
        failWithError(errorWithCodeDescription(2, "No URLs provided for download"));
        return false;
    }
    ++*run_;
    setFilePath(path);
    setUrls(fromUrls);
    setResumeData(deleteFileOnError() ? std::nullopt : dataWithContentsOfFile(*resumeDataPath(), nullptr));
    {
        const std::lock_guard lock(mutex_);
        curUrlIdx_ = -1;
    }
    downloadNext();
    return true;
}

void QZDownload::tryNext() {
    advance(false);
}

void QZDownload::downloadNext() {
    advance(true);
}

void QZDownload::advance(bool evenIfCancelled) {
    std::int64_t index = -1;
    changing(*this, "cancelled", [&] {
        // Looked at and cleared at once: a cancellation from another thread comes before or after.
        const std::lock_guard lock(mutex_);
        if (evenIfCancelled || !isCancelled_) {
            isCancelled_ = false;
            index = ++curUrlIdx_;
        }
    });
    if (index < 0) {
        setActive(false);
        return;
    }
    setActive(true);
    if (index > 0) {
        downloadLog.debug("retry url index: %ld", index);
    }
    tryURLs();
}

void QZDownload::tryURLs() {
    const auto urls = this->urls();
    const auto count = static_cast<std::int64_t>(urls.size());
    const auto currentIndex = [this] {
        const std::lock_guard lock(mutex_);
        return curUrlIdx_;
    };
    while (currentIndex() < count) {
        const auto index = currentIndex();
        Ref<NSError> error;
        if (getFileFromUrl(urls[static_cast<std::size_t>(index)], &error)) {
            if (isCancelled()) {
                cancel();  // came while there was no session to cancel
            }
            return;
        }
        if (!error) {
            finishWithCompleteFile();
            return;
        }
        downloadLog.error("Failed GetFileFromUrl: %@", error);
        // The stored error is asked, not the one at hand, so that a file that is too long is followed by the
        // next URL; callers rely on that.
        const auto stored = this->error();
        const bool isCritical = stored && stored->domain() == internal::downloadCriticalDomain;
        const std::lock_guard lock(mutex_);
        curUrlIdx_ = isCritical ? count : index + 1;
    }
    if (currentIndex() == count) {
        failOnAllURLs();
    } else {
        setActive(false);
    }
}

void QZDownload::finishWithCompleteFile() {
    if (fileLength() == unknownLength) {
        setFileLength(currentLength());
        if (const auto progress = this->progress()) {
            progress->setTotalUnitCount(static_cast<std::int64_t>(fileLength()));
        }
    } else {
        setCurrentLength(fileLength());
        setCompletedUnitsCount(static_cast<std::int64_t>(currentLength()));
    }
    performSafelySelectorForDelegate(Selector("onDownloadFinished:"));
    endRun();
}

void QZDownload::failOnAllURLs() {
    downloadLog.warning("Unable to download from all URLs");
    if (deleteFileOnError()) {
        removeFileAndResetCounters();
    }
    if (const auto progress = this->progress()) {
        progress->cancel();
    }
    performSafelySelectorForDelegate(Selector("onDownloadError:"));
    endRun();
}

void QZDownload::endRun() {
    setDelegate(nullptr);
    cleanupBgTask();
    setActive(false);
}

bool QZDownload::getFileFromUrl(const std::string& url, Ref<NSError>* error) {
    const auto answer = [error](const Ref<NSError>& outcome, bool hasStarted) {
        if (error) {
            *error = outcome;
        }
        return hasStarted;
    };
    purgeSession();
    const auto file = path();
    if (fileLength() != 0 && fileExists(file)) {
        const auto size = getFileLength(file);
        if (size == fileLength()) {
            return answer(nullptr, false);
        }
        if (fileLength() < size) {
            removeFile(file);
            return answer(NSError::errorWithDomain(
                              std::string(internal::downloadCriticalDomain), 5001,
                              NSDictionary::dictionary(
                                  {{NSLocalizedDescriptionKey, "Known length less then current file length"},
                                   {NSFilePathErrorKey, file}})),
                          false);
        }
    }
    // A file at the target is never appended to: only resume data lead to bytes that can be continued.
    if (fileExists(file)) {
        removeFile(file);
    }
    createDestinationDirectory();
    {
        const std::lock_guard lock(mutex_);
        ++attempt_;
    }
    setCurrentDownloadLength(0);
    setStartTime(NSDate::date());
    setStopTime(NSDate::distantPast());
    setSpeed(0);
    const auto address = NSURL::URLWithString(url);
    if (const auto data = resumeData()) {
        setSession(configuredSessionWithResumeData(*data, address));
    } else if (address) {
        setSession(configuredSessionWithURL(address));
    } else {
        // There is no session and the download waits; this is a success all the same, and callers rely on it.
        setActive(false);
    }
    if (const auto progress = this->progress()) {
        progress->resume();
    }
    tryToPerformSelector(*this, NSSelectorFromString("beginBackgroundExecution"));
    return answer(nullptr, true);
}

// Cancelling.

void QZDownload::cancel() {
    Ref<NSURLSession> session;
    bool isCancelling = false;
    changing(*this, "cancelled", [&] {
        const std::lock_guard lock(mutex_);
        isCancelled_ = true;
        session = session_;
        isCancelling = session && cancellingSession_.lock() == session;
        cancellingSession_ = session;
        attempt_ += session ? 1 : 0;
    });
    if (!session) {
        setActive(false);
        return;
    }
    if (isCancelling) {
        return;  // a second time would find nothing to keep, and remove what the first one kept
    }
    ++*run_;
    const auto file = path();
    if (deleteFileOnError()) {
        purgeSession();
    } else {
        cancelKeepingResumeData(session, file);
    }
    setStopTime(NSDate::date());
    const auto progress = this->progress();
    if (currentDownloadLength() != 0) {
        setSpeed(0);
        if (progress) {
            progress->setUserInfoObjectForKey(0, NSProgressThroughputKey);
        }
    }
    setDelegate(nullptr);
    if (deleteFileOnError() && fileExists(file)) {
        removeFileAndResetCounters();
    }
    if (progress) {
        deleteFileOnError() ? progress->cancel() : progress->pause();
    }
    cleanupBgTask();
    failWithError(send<Ref<NSError>>(isa(), Selector("cancelError")));
    setActive(this->session() != nullptr);
}

/// Writes what the session's download can be continued from, or removes what was there, and then drops the
/// session.
void QZDownload::cancelKeepingResumeData(const Ref<NSURLSession>& session, const std::string& path) {
    const std::weak_ptr<Object> weakSelf = weak_from_this();  // gone already when this is the dealloc
    const auto finish = [weakSelf, session, path, manager = fileManager()](const std::optional<NSData>& data,
                                                                           bool hasTask) {
        const auto self = std::static_pointer_cast<QZDownload>(weakSelf.lock());
        const auto file = stringByAppendingPathExtension(path, "resumeData");
        if (data) {
            downloadLog.debug("Resume info:%@", internal::readableResumeData(*data));
            writeToFile(*data, file, true, nullptr);
        } else if (hasTask && manager && (!self || self->session() == session)) {
            manager->removeItemAtPath(file, nullptr);  // unless the task ended by itself and has seen to it
        }
        if (!self) {
            session->invalidateAndCancel();
        } else if (self->session() == session) {
            self->setSession(nullptr);
            self->setActive(false);
        }
    };
    session->getTasksWithCompletionHandler([finish](const auto&, const auto& downloadTasks) {
        if (downloadTasks.empty()) {
            finish(std::nullopt, false);  // no response yet: nothing to keep
        } else {
            downloadTasks.front()->cancelByProducingResumeData(
                [finish](const std::optional<NSData>& data) { finish(data, true); });
        }
    });
}

void QZDownload::purgeSession() {
    setSession(nullptr);
}

// Telling.

void QZDownload::resolve() {
    if (const auto resolver = this->resolver()) {
        setResolver(nullptr);
        resolver(true, refTo(*this), nullptr);
    }
}

void QZDownload::failWithError(const Ref<NSError>& error) {
    if (const auto resolver = this->resolver()) {
        setResolver(nullptr);
        resolver(false, nullptr, error);
    }
}

void QZDownload::performSafelySelectorForDelegate(Selector selector) {
    if (selector == Selector("onDownloadError:")) {
        failWithError(error());
    } else if (selector == Selector("onDownloadFinished:")) {
        resolve();
    } else if (selector == Selector("onDownloadProgress:")) {
        if (const auto block = progressBlock()) {
            QZMainThread::run([block, self = refTo(*this)] { block(self); });
        }
    }
    const auto delegate = this->delegate();
    if (qz::respondsToSelector(delegate, selector)) {
        performSelectorOnMainThread(delegate, selector, refTo(*this), false);
    }
}

void QZDownload::cleanupBgTask() {
    tryToPerformSelector(*this, NSSelectorFromString("endBackgroundExecution"));
}

void QZDownload::performOnMainQueueAfter(double seconds, std::function<void()> block) {
    DispatchQueue::main().after(std::chrono::duration<double>(seconds), std::move(block));
}

}  // namespace qz
