// NSURLSessionDataTask: a task whose body is given to the delegate as it comes, or that becomes a download
// task.
#pragma once

#include "Platform/Network/NSURLSessionTask.h"

namespace qz {

class QZ_EXPORT NSURLSessionDataTask : public NSURLSessionTask {
    QZ_OBJECT(NSURLSessionDataTask, NSURLSessionTask)
protected:
    using NSURLSessionTask::NSURLSessionTask;
};

}  // namespace qz
