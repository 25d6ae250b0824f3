#include "Platform/Network/internal/Transfer.h"

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/internal/FileError.h"
#include "Platform/Network/NSHTTPURLResponse.h"
#include "Platform/Network/NSURLSessionConfiguration.h"
#include "Platform/Network/internal/DelegateMessages.h"
#include "Platform/Network/internal/LoadError.h"
#include "Platform/Network/internal/NetworkThread.h"

namespace qz::internal {

Transfer::Transfer(std::shared_ptr<TaskState> state, Ref<NSURLSessionConfiguration> configuration,
                   bool isDownload, std::optional<NSData> resumeData)
    : state_(std::move(state)),
      configuration_(std::move(configuration)),
      resumeData_(std::move(resumeData)),
      report_(std::make_shared<Report>()),
      isDownload_(isDownload) {}

Transfer::~Transfer() {
    curl_slist_free_all(headers_);
    curl_easy_cleanup(easy_);
}

// What the task asks for.

void Transfer::resume(const Ref<NSURLSessionTask>& task, const Ref<NSURLSession>& session) {
    NetworkThread::shared().perform([self = shared_from_this(), task, session] {
        self->isSuspended_ = false;
        if (self->phase_ == Phase::New) {
            self->admit(task, session);
        } else {
            self->updatePause();
        }
    });
}

void Transfer::suspend() {
    NetworkThread::shared().perform([self = shared_from_this()] {
        self->isSuspended_ = true;
        self->updatePause();
    });
}

void Transfer::cancel(const Ref<NSURLSessionTask>& task, const Ref<NSURLSession>& session) {
    NetworkThread::shared().perform([self = shared_from_this(), task, session] {
        if (self->phase_ == Phase::Ended) {
            return;
        }
        if (self->phase_ == Phase::New) {
            self->task_ = task;
            self->session_ = session;
        }
        self->forgetRecord();
        self->file_.reset();
        self->end(loadError(NSURLErrorCancelled, "cancelled", self->url()));
    });
}

void Transfer::cancelByProducingResumeData(const Ref<NSURLSessionTask>& task,
                                           const Ref<NSURLSession>& session,
                                           NSURLSessionDownloadTask::ResumeDataHandler handler) {
    NetworkThread::shared().perform([self = shared_from_this(), task, session,
                                     handler = std::move(handler)]() mutable {
        if (self->phase_ == Phase::Ended) {
            session->deliver([handler = std::move(handler)](const Ref<Object>&) { handler(std::nullopt); });
            return;
        }
        if (self->phase_ == Phase::New) {
            self->task_ = task;
            self->session_ = session;
        }
        self->end(loadError(NSURLErrorCancelled, "cancelled", self->url()), std::move(handler));
    });
}

void Transfer::getResumeData(const Ref<NSURLSession>& session,
                             const NSURLSessionDownloadTask::ResumeDataHandler& handler) {
    NetworkThread::shared().perform([self = shared_from_this(), session, handler] {
        Snapshot snapshot;
        if (self->phase_ == Phase::Admitted && self->file_ && self->file_->writeGathered() == 0) {
            snapshot = self->snapshot();
        }
        session->deliver([snapshot = std::move(snapshot), handler](const Ref<Object>&) mutable {
            handler(takeResumeData(snapshot));
        });
    });
}

Ref<NSURL> Transfer::url() const {
    const std::lock_guard lock(state_->mutex);
    return state_->currentRequest ? state_->currentRequest->URL() : nullptr;
}

Ref<NSURLSessionDownloadTask> Transfer::downloadTask() const {
    return std::static_pointer_cast<NSURLSessionDownloadTask>(task_);
}

void Transfer::admit(const Ref<NSURLSessionTask>& task, const Ref<NSURLSession>& session) {
    phase_ = Phase::Admitted;
    task_ = task;
    session_ = session;
    if (prepare()) {
        NetworkThread::shared().admit(shared_from_this());
    } else {
        end(refusal_);
    }
}
/// Notes why the transfer has to stop; false, for returning it.
bool Transfer::refuse(NSURLErrorCode code, const std::string& reason, int systemError) {
    refusal_ = loadError(code, reason, url(),
                         systemError != 0 ? fileError(FileOperation::Writing, systemError,
                                                      file_ ? file_->path() : PartialFile::directory())
                                          : nullptr);
    return false;
}

void Transfer::checkTime() {
    if (phase_ != Phase::Admitted) {
        return;
    }
    const auto now = Clock::now();
    if (isPaused_ || isSuspended_ || awaitsDelegate_) {
        lastActivity_ = now;
    } else if (now - lastActivity_ > idleLimit_) {
        end(loadError(NSURLErrorTimedOut, "the server did not answer in time", url()));
        return;
    }
    reportProgress();
}

// The end.

void Transfer::ended(CURLcode result) {
    if (phase_ == Phase::Ended) {
        return;
    }
    if (awaitsDelegate_) {
        heldResult_ = result;
        return;
    }
    end(errorOf(result));
}

Ref<NSError> Transfer::errorOf(CURLcode result) {
    if (result == CURLE_OK) {
        return nullptr;
    }
    if (refusal_) {
        return refusal_;
    }
    long systemError = 0;
    curl_easy_getinfo(easy_, CURLINFO_OS_ERRNO, &systemError);
    // The first thing that came was no status line; a redirection leads elsewhere after one.
    const bool isNotHTTP = result == CURLE_UNSUPPORTED_PROTOCOL && status_ == 0;
    const auto code = isNotHTTP ? NSURLErrorBadServerResponse : codeOfCurlResult(result, systemError);
    return loadError(code, errorText_[0] != '\0' ? errorText_.data() : curl_easy_strerror(result), url());
}

void Transfer::detach() {
    if (multi_) {
        curl_multi_remove_handle(multi_, easy_);
        multi_ = nullptr;
    }
    curl_easy_cleanup(std::exchange(easy_, nullptr));
    NetworkThread::shared().release(shared_from_this());
}

/// Delivers what is left to tell. A failed download that can be continued keeps its bytes; a handler gets
/// what leads to them.
void Transfer::end(const Ref<NSError>& error, NSURLSessionDownloadTask::ResumeDataHandler handler) {
    const auto self = shared_from_this();  // the host's list may hold the last other reference
    phase_ = Phase::Ended;
    detach();
    auto failure = error;
    if (file_) {
        if (const int writeError = file_->writeGathered(); writeError != 0 && !failure) {
            (void)refuse(NSURLErrorCannotWriteToFile, cannotStore, writeError);
            failure = refusal_;
        }
        reportProgress();
    }
    auto last = snapshot();
    file_.reset();
    session_->deliver([session = session_, task = task_, isDownload = isDownload_, failure,
                       last = std::move(last), handler = std::move(handler), url = url(),
                       state = state_](const Ref<Object>& delegate) mutable {
        auto outcome = failure;
        if (!outcome && last.file) {
            if (const int flushError = last.file->flush()) {
                outcome = loadError(NSURLErrorCannotWriteToFile, cannotStore, url,
                                    fileError(FileOperation::Writing, flushError, last.file->path()));
            }
        }
        if (isDownload && outcome) {
            const auto data = takeResumeData(last);
            outcome = errorWithResumeData(outcome, data ? id(*data) : id());
            if (handler) {
                handler(data);
            }
        } else if (isDownload) {
            last.file->dropAtEnd();
            tell(delegate, didFinishDownloading, session,
                 std::static_pointer_cast<NSURLSessionDownloadTask>(task),
                 NSURL::fileURLWithPath(last.file->path()));
            last.file.reset();
        }
        {
            const std::lock_guard lock(state->mutex);
            state->state = NSURLSessionTaskState::Completed;
            state->error = outcome;
        }
        tell(delegate, didComplete, session, task, outcome);
        session->remove(*task);
    });
    task_.reset();
    session_.reset();
}

Transfer::Snapshot Transfer::snapshot() const {
    Snapshot snapshot;
    snapshot.file = file_;
    snapshot.size = file_ ? file_->size() : 0;
    if (!isAccepted_ || snapshot.size <= requestedOffset_) {
        if (!recordIsUseless_) {
            snapshot.unchanged = resumeData_;
        }
        return snapshot;
    }
    const std::lock_guard lock(state_->mutex);
    const auto response = std::dynamic_pointer_cast<NSHTTPURLResponse>(state_->response);
    const auto tag = response ? response->valueForHTTPHeaderField("ETag") : std::nullopt;
    snapshot.record.validator = tag || requestedOffset_ == 0 ? tag.value_or("") : record_->validator;
    if (state_->originalRequest && state_->originalRequest->URL()) {
        snapshot.record.url = state_->originalRequest->URL()->absoluteString();
    }
    snapshot.record.bytesReceived = snapshot.size;
    snapshot.record.expectedLength = expectedLength_;
    return snapshot;
}

/// Makes the bytes last before anything leads to them, and lets go of the file, so that another task can go
/// on with it at once. Takes time: on the delegate's queue.
std::optional<NSData> Transfer::takeResumeData(Snapshot& snapshot) {
    const auto file = std::move(snapshot.file);
    auto& record = snapshot.record;
    if (snapshot.unchanged || !file || !record.isContinuable() || file->flush() != 0) {
        return snapshot.unchanged;
    }
    file->keep();
    record.localPath = file->path();
    record.tailDigest = file->tailDigest(snapshot.size);
    return record.data();
}

}  // namespace qz::internal
