#include "Platform/Network/NSURLSessionDownloadTask.h"

#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/internal/Transfer.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSURLSessionDownloadTask, cls) {
    static_cast<void>(cls);
}

void NSURLSessionDownloadTask::cancelByProducingResumeData(ResumeDataHandler handler) {
    static_cast<void>(moveTo(NSURLSessionTaskState::Canceling));
    if (const auto owner = session()) {
        transfer()->cancelByProducingResumeData(refTo(*this), owner, std::move(handler));
    }
}

void NSURLSessionDownloadTask::getResumeData(const ResumeDataHandler& handler) {
    if (const auto owner = session()) {
        transfer()->getResumeData(owner, handler);
    }
}

}  // namespace qz
