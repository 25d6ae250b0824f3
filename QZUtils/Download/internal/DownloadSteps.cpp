#include "QZUtils/Download/internal/DownloadSteps.h"

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/NSURLRequest.h"
#include "Platform/Runtime/KeyValueCoding.h"

namespace qz::internal {

std::string syntheticValidator(std::int64_t length) {
    return stringWithFormat("\"length%lld\"", length);
}

void installValidator(NSURLSessionTask& task, const NSHTTPURLResponse& response,
                      const std::string& validator) {
    const auto fields = response.allHeaderFields()->mutableCopy();
    fields->setObjectForKey(validator, "ETag");
    setValueForKey(task,
                   NSHTTPURLResponse::initWithURL(response.URL(), response.statusCode(), "HTTP/1.1", fields),
                   "response");
}

std::string requestURLString(const NSURLSessionTask& task) {
    const auto request = task.currentRequest();
    return request && request->URL() ? request->URL()->absoluteString() : "";
}

id readableResumeData(const NSData& data) {
    const auto list = NSPropertyListSerialization::propertyListWithData(
        data, NSPropertyListReadOptions::MutableContainers, nullptr, nullptr);
    return list ? list : id(data);
}

}  // namespace qz::internal
