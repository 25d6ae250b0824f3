#include "Platform/Network/NSURLSessionTask.h"

#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/internal/TaskState.h"
#include "Platform/Network/internal/Transfer.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSURLSessionTask, cls) {
    using Self = NSURLSessionTask;
    cls.property("taskIdentifier", &Self::taskIdentifier);
    cls.property("originalRequest", &Self::originalRequest, &Self::setOriginalRequest);
    cls.property("currentRequest", &Self::currentRequest, &Self::setCurrentRequest);
    cls.property("response", &Self::response, &Self::setResponse);
    cls.property("error", &Self::error);
    cls.property("countOfBytesReceived", &Self::countOfBytesReceived);
    cls.property("countOfBytesExpectedToReceive", &Self::countOfBytesExpectedToReceive);
    cls.method("resume", &Self::resume);
    cls.method("suspend", &Self::suspend);
    cls.method("cancel", &Self::cancel);
}

NSURLSessionTask::NSURLSessionTask(std::int64_t identifier, std::shared_ptr<internal::TaskState> state,
                                   std::shared_ptr<internal::Transfer> transfer,
                                   std::weak_ptr<NSURLSession> session)
    : identifier_(identifier),
      state_(std::move(state)),
      transfer_(std::move(transfer)),
      session_(std::move(session)) {}

NSURLSessionTask::~NSURLSessionTask() = default;

// State.

Ref<NSURLRequest> NSURLSessionTask::originalRequest() const {
    const std::lock_guard lock(state_->mutex);
    return state_->originalRequest;
}

void NSURLSessionTask::setOriginalRequest(const Ref<NSURLRequest>& request) {
    const std::lock_guard lock(state_->mutex);
    state_->originalRequest = request ? request->copy() : nullptr;
}

Ref<NSURLRequest> NSURLSessionTask::currentRequest() const {
    const std::lock_guard lock(state_->mutex);
    return state_->currentRequest;
}

void NSURLSessionTask::setCurrentRequest(const Ref<NSURLRequest>& request) {
    const std::lock_guard lock(state_->mutex);
    state_->currentRequest = request ? request->copy() : nullptr;
}

Ref<NSURLResponse> NSURLSessionTask::response() const {
    const std::lock_guard lock(state_->mutex);
    return state_->response;
}

void NSURLSessionTask::setResponse(const Ref<NSURLResponse>& response) {
    const std::lock_guard lock(state_->mutex);
    state_->response = response;
}

Ref<NSError> NSURLSessionTask::error() const {
    const std::lock_guard lock(state_->mutex);
    return state_->error;
}

NSURLSessionTaskState NSURLSessionTask::state() const {
    const std::lock_guard lock(state_->mutex);
    return state_->state;
}

std::int64_t NSURLSessionTask::countOfBytesReceived() const {
    const std::lock_guard lock(state_->mutex);
    return state_->bytesReceived;
}

std::int64_t NSURLSessionTask::countOfBytesExpectedToReceive() const {
    const std::lock_guard lock(state_->mutex);
    return state_->bytesExpected;
}

// Control. A task whose session is gone has nobody to tell.

/// Notes what was asked of a task that has not ended yet; null when there is nothing to do any more.
Ref<NSURLSession> NSURLSessionTask::moveTo(NSURLSessionTaskState wanted) {
    {
        const std::lock_guard lock(state_->mutex);
        if (state_->state == NSURLSessionTaskState::Canceling ||
            state_->state == NSURLSessionTaskState::Completed) {
            return nullptr;
        }
        state_->state = wanted;
    }
    return session_.lock();
}

void NSURLSessionTask::resume() {
    if (const auto session = moveTo(NSURLSessionTaskState::Running)) {
        transfer_->resume(refTo(*this), session);
    }
}

void NSURLSessionTask::suspend() {
    if (moveTo(NSURLSessionTaskState::Suspended)) {
        transfer_->suspend();
    }
}

void NSURLSessionTask::cancel() {
    if (const auto session = moveTo(NSURLSessionTaskState::Canceling)) {
        transfer_->cancel(refTo(*this), session);
    }
}

}  // namespace qz
