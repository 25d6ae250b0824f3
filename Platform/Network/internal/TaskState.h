// What a task knows of itself. A data task that becomes a download task shares its state with that.
#pragma once

#include <cstdint>
#include <mutex>

#include "Platform/Foundation/NSError.h"
#include "Platform/Network/NSURLRequest.h"
#include "Platform/Network/NSURLResponse.h"
#include "Platform/Network/NSURLSessionTask.h"

namespace qz::internal {

struct TaskState {
    mutable std::mutex mutex;  // guards all that follows
    Ref<NSURLRequest> originalRequest;
    Ref<NSURLRequest> currentRequest;
    Ref<NSURLResponse> response;
    Ref<NSError> error;
    NSURLSessionTaskState state = NSURLSessionTaskState::Suspended;
    std::int64_t bytesReceived = 0;
    std::int64_t bytesExpected = -1;
};

}  // namespace qz::internal
