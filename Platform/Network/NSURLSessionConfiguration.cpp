#include "Platform/Network/NSURLSessionConfiguration.h"

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSURLSessionConfiguration, cls) {
    using Self = NSURLSessionConfiguration;
    cls.classMethod("defaultSessionConfiguration", [](Class&) { return defaultSessionConfiguration(); });
    cls.property("timeoutIntervalForRequest", &Self::timeoutIntervalForRequest,
                 &Self::setTimeoutIntervalForRequest);
    cls.property("HTTPMaximumConnectionsPerHost", &Self::HTTPMaximumConnectionsPerHost,
                 &Self::setHTTPMaximumConnectionsPerHost);
    cls.property("HTTPAdditionalHeaders", &Self::HTTPAdditionalHeaders, &Self::setHTTPAdditionalHeaders);
    cls.method("copy", &Self::copy);
}

Ref<NSURLSessionConfiguration> NSURLSessionConfiguration::defaultSessionConfiguration() {
    return qz::make<NSURLSessionConfiguration>();
}

void NSURLSessionConfiguration::setHTTPAdditionalHeaders(const Ref<NSDictionary>& headers) {
    additionalHeaders_ = headers ? headers->copy() : nullptr;
}

Ref<NSURLSessionConfiguration> NSURLSessionConfiguration::copy() const {
    auto copy = defaultSessionConfiguration();
    copy->timeoutIntervalForRequest_ = timeoutIntervalForRequest_;
    copy->maximumConnectionsPerHost_ = maximumConnectionsPerHost_;
    copy->additionalHeaders_ = additionalHeaders_;
    return copy;
}

}  // namespace qz
