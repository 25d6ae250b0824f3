// NSURLSessionTask: one request of a session and its answer. Tasks are made by sessions (NSURLSession.h),
// suspended; resume() starts them.
//
// Every operation is safe from any thread. The two requests and the response can be replaced, also by
// key-value coding: a current request counts when it is set before the task starts, and a response is what
// later resume data take their validator from.
#pragma once

#include <cstdint>
#include <memory>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSError;
class NSURLRequest;
class NSURLResponse;
class NSURLSession;

namespace internal {
struct TaskState;
class Transfer;
}  // namespace internal

enum class NSURLSessionTaskState : std::int64_t { Running = 0, Suspended = 1, Canceling = 2, Completed = 3 };

class QZ_EXPORT NSURLSessionTask : public NSObject {
    QZ_OBJECT(NSURLSessionTask, NSObject)
public:
    /// Unique in its session.
    [[nodiscard]] std::int64_t taskIdentifier() const noexcept { return identifier_; }

    /// What the task was made with; null for a task whose resume data cannot be read.
    [[nodiscard]] Ref<NSURLRequest> originalRequest() const;
    void setOriginalRequest(const Ref<NSURLRequest>& request);
    /// What is asked now: after redirections, that of the last one.
    [[nodiscard]] Ref<NSURLRequest> currentRequest() const;
    void setCurrentRequest(const Ref<NSURLRequest>& request);
    /// Null until it has arrived.
    [[nodiscard]] Ref<NSURLResponse> response() const;
    void setResponse(const Ref<NSURLResponse>& response);
    /// Why the task failed; null otherwise.
    [[nodiscard]] Ref<NSError> error() const;

    [[nodiscard]] NSURLSessionTaskState state() const;
    /// Bytes of the body. The second is -1 when it is not known.
    [[nodiscard]] std::int64_t countOfBytesReceived() const;
    [[nodiscard]] std::int64_t countOfBytesExpectedToReceive() const;

    /// Starts the task, or lets it go on.
    void resume();
    /// Stops reading. The time until resume() does not count as idle.
    void suspend();
    /// Ends the task with NSURLErrorCancelled, unless it has completed. What a download task has on disk is
    /// removed.
    void cancel();

protected:
    NSURLSessionTask(std::int64_t identifier, std::shared_ptr<internal::TaskState> state,
                     std::shared_ptr<internal::Transfer> transfer, std::weak_ptr<NSURLSession> session);
    ~NSURLSessionTask() override;

    [[nodiscard]] const std::shared_ptr<internal::Transfer>& transfer() const noexcept { return transfer_; }
    [[nodiscard]] Ref<NSURLSession> session() const { return session_.lock(); }
    Ref<NSURLSession> moveTo(NSURLSessionTaskState wanted);

private:
    friend class internal::Transfer;
    friend class NSURLSession;

    const std::int64_t identifier_;
    const std::shared_ptr<internal::TaskState> state_;
    const std::shared_ptr<internal::Transfer> transfer_;
    const std::weak_ptr<NSURLSession> session_;
};

}  // namespace qz
