// NSURLSessionDownloadTask: a task whose body is stored in a file.
//
// It fails with NSURLErrorBadServerResponse when the status is 400 or more, and when a part (206) that was
// asked for does not start where it has to or belongs to a file of another length. When it fails with bytes
// that can be continued, its error holds resume data (NSURLSessionDownloadTaskResumeData): that needs a
// strong entity tag in the response. A task made from resume data that fails before its first byte hands
// those back, unless the server has said that they are of no use (412, 416, another length).
#pragma once

#include <functional>
#include <optional>

#include "Platform/Foundation/NSData.h"
#include "Platform/Network/NSURLSessionTask.h"

namespace qz {

class QZ_EXPORT NSURLSessionDownloadTask : public NSURLSessionTask {
    QZ_OBJECT(NSURLSessionDownloadTask, NSURLSessionTask)
public:
    using ResumeDataHandler = std::function<void(const std::optional<NSData>& resumeData)>;

    /// Ends the task and calls the handler on the delegate queue, before the delegate hears of the end, with
    /// what a later task can be made from; nullopt when there is nothing to go on from.
    void cancelByProducingResumeData(ResumeDataHandler handler);
    /// Calls the handler on the delegate queue with what a later task could be made from if this one ended
    /// now; nullopt when there is nothing. The task goes on. The bytes that the data speak of have reached
    /// the disk by then.
    void getResumeData(const ResumeDataHandler& handler);

protected:
    using NSURLSessionTask::NSURLSessionTask;
};

}  // namespace qz
