#include "Platform/Network/NSURLSession.h"

#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/NSMutableURLRequest.h"
#include "Platform/Network/NSURLSessionConfiguration.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"
#include "Platform/Network/NSURLSessionTask.h"
#include "Platform/Network/internal/DelegateMessages.h"
#include "Platform/Network/internal/TaskState.h"
#include "Platform/Network/internal/Transfer.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Raise.h"

namespace qz {

QZ_DEFINE_CLASS(NSURLSession, cls) {
    using Self = NSURLSession;
    cls.property("delegate", &Self::delegate);
    cls.property("delegateQueue", &Self::delegateQueue);
    cls.property("configuration", &Self::configuration);
    cls.method("dataTaskWithURL:", &Self::dataTaskWithURL);
    cls.method("dataTaskWithRequest:", &Self::dataTaskWithRequest);
    cls.method("downloadTaskWithURL:", &Self::downloadTaskWithURL);
    cls.method("downloadTaskWithRequest:", &Self::downloadTaskWithRequest);
    cls.method("downloadTaskWithResumeData:", &Self::downloadTaskWithResumeData);
    cls.method("invalidateAndCancel", &Self::invalidateAndCancel);
    cls.method("finishTasksAndInvalidate", &Self::finishTasksAndInvalidate);
}

namespace {

Ref<NSOperationQueue> serialQueue() {
    auto queue = NSOperationQueue::init();
    queue->setMaxConcurrentOperationCount(1);
    queue->setName("NSURLSession delegate");
    return queue;
}

}  // namespace

Ref<NSURLSession> NSURLSession::sessionWithConfiguration(const Ref<NSURLSessionConfiguration>& configuration,
                                                         const Ref<Object>& delegate,
                                                         const Ref<NSOperationQueue>& delegateQueue) {
    return qz::make<NSURLSession>(
        configuration ? configuration : NSURLSessionConfiguration::defaultSessionConfiguration(), delegate,
        delegateQueue ? delegateQueue : serialQueue());
}

NSURLSession::NSURLSession(const Ref<NSURLSessionConfiguration>& configuration, Ref<Object> delegate,
                           Ref<NSOperationQueue> delegateQueue)
    : configuration_(configuration->copy()),
      delegateQueue_(std::move(delegateQueue)),
      delegate_(std::move(delegate)) {}

Ref<Object> NSURLSession::delegate() const {
    const std::lock_guard lock(mutex_);
    return delegate_;
}

Ref<NSURLSessionConfiguration> NSURLSession::configuration() const {
    return configuration_->copy();
}

// Tasks.

Ref<NSURLSessionDataTask> NSURLSession::dataTaskWithURL(const Ref<NSURL>& url) {
    return dataTaskWithRequest(NSURLRequest::requestWithURL(url));
}

Ref<NSURLSessionDataTask> NSURLSession::dataTaskWithRequest(const Ref<NSURLRequest>& request) {
    return add<NSURLSessionDataTask>(request, std::nullopt);
}

Ref<NSURLSessionDownloadTask> NSURLSession::downloadTaskWithURL(const Ref<NSURL>& url) {
    return downloadTaskWithRequest(NSURLRequest::requestWithURL(url));
}

Ref<NSURLSessionDownloadTask> NSURLSession::downloadTaskWithRequest(const Ref<NSURLRequest>& request) {
    return add<NSURLSessionDownloadTask>(request, std::nullopt);
}

Ref<NSURLSessionDownloadTask> NSURLSession::downloadTaskWithResumeData(const NSData& resumeData) {
    const auto record = internal::ResumeRecord::read(resumeData);
    const auto url = record ? NSURL::URLWithString(record->url) : nullptr;
    if (!url) {
        return add<NSURLSessionDownloadTask>(nullptr, resumeData);
    }
    const auto request = NSURLRequest::requestWithURL(url)->mutableCopy();
    if (record->isContinuable()) {
        request->setValueForHTTPHeaderField(stringWithFormat("bytes=%llu-", record->bytesReceived), "Range");
        request->setValueForHTTPHeaderField(record->validator, "If-Range");
    }
    return add<NSURLSessionDownloadTask>(request, resumeData);
}

template <class Task>
Ref<Task> NSURLSession::add(const Ref<NSURLRequest>& request, const std::optional<NSData>& resumeData) {
    const auto state = std::make_shared<internal::TaskState>();
    state->originalRequest = request ? request->copy() : nullptr;
    state->currentRequest = state->originalRequest;
    const auto transfer = std::make_shared<internal::Transfer>(
        state, configuration_, std::is_same_v<Task, NSURLSessionDownloadTask>, resumeData);
    const std::lock_guard lock(mutex_);
    if (isInvalid_) {
        raise(NSInternalInconsistencyException, "the session is invalid");
    }
    auto task = qz::make<Task>(++lastIdentifier_, state, transfer, refTo(*this));
    tasks_.emplace(task->taskIdentifier(), task);
    return task;
}

Ref<NSURLSessionDownloadTask> NSURLSession::replaceByDownloadTask(const Ref<NSURLSessionDataTask>& task) {
    const std::lock_guard lock(mutex_);
    auto download =
        qz::make<NSURLSessionDownloadTask>(++lastIdentifier_, task->state_, task->transfer_, refTo(*this));
    tasks_.erase(task->taskIdentifier());
    tasks_.emplace(download->taskIdentifier(), download);
    return download;
}

void NSURLSession::remove(const NSURLSessionTask& task) {
    {
        const std::lock_guard lock(mutex_);
        tasks_.erase(task.taskIdentifier());
    }
    endIfDone();
}

void NSURLSession::getTasksWithCompletionHandler(TasksHandler handler) const {
    deliver([self = refTo(*this), handler = std::move(handler)](const Ref<Object>&) {
        std::vector<Ref<NSURLSessionDataTask>> dataTasks;
        std::vector<Ref<NSURLSessionDownloadTask>> downloadTasks;
        {
            const std::lock_guard lock(self->mutex_);
            for (const auto& [identifier, task] : self->tasks_) {
                if (auto download = std::dynamic_pointer_cast<NSURLSessionDownloadTask>(task)) {
                    downloadTasks.push_back(std::move(download));
                } else if (auto data = std::dynamic_pointer_cast<NSURLSessionDataTask>(task)) {
                    dataTasks.push_back(std::move(data));
                }
            }
        }
        handler(dataTasks, downloadTasks);
    });
}

// The delegate.

void NSURLSession::deliver(Delivery delivery) const {
    delegateQueue_->addOperationWithBlock(
        [self = refTo(*this), delivery = std::move(delivery)] { delivery(self->delegate()); });
}

void NSURLSession::invalidateAndCancel() {
    invalidate(true);
}

void NSURLSession::finishTasksAndInvalidate() {
    invalidate(false);
}

void NSURLSession::invalidate(bool cancels) {
    std::map<std::int64_t, Ref<NSURLSessionTask>> tasks;
    {
        const std::lock_guard lock(mutex_);
        isInvalid_ = true;
        tasks = tasks_;
    }
    for (const auto& [identifier, task] : tasks) {
        if (cancels) {
            task->cancel();
        }
    }
    endIfDone();
}

/// After the last message of an invalid session's last task comes the session's own.
void NSURLSession::endIfDone() {
    {
        const std::lock_guard lock(mutex_);
        if (!isInvalid_ || hasEnded_ || !tasks_.empty()) {
            return;
        }
        hasEnded_ = true;
    }
    deliver([self = refTo(*this)](const Ref<Object>& delegate) {
        internal::tell(delegate, internal::didBecomeInvalid, self, Ref<NSError>());
        Ref<Object> released;  // outside of the lock: it may be the last reference
        const std::lock_guard lock(self->mutex_);
        released.swap(self->delegate_);
    });
}

void NSURLSession::discardResumeData(const NSData& resumeData) {
    if (const auto record = internal::ResumeRecord::read(resumeData)) {
        internal::PartialFile::discard(record->localPath);
    }
}

}  // namespace qz
