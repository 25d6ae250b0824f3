// NSMutableURLRequest: a request that is built up. For one thread at a time; sessions take copies.
#pragma once

#include "Platform/Network/NSURLRequest.h"

namespace qz {

class QZ_EXPORT NSMutableURLRequest : public NSURLRequest {
    QZ_OBJECT(NSMutableURLRequest, NSURLRequest)
public:
    void setURL(const Ref<NSURL>& url) { contents_.url = url; }
    void setCachePolicy(NSURLRequestCachePolicy policy) noexcept { contents_.cachePolicy = policy; }
    /// In seconds.
    void setTimeoutInterval(double seconds) noexcept { contents_.timeoutInterval = seconds; }
    void setHTTPMethod(std::string_view method) { contents_.method = method; }
    /// Replaces the field of that name, whatever its case; nil removes it.
    void setValueForHTTPHeaderField(Text value, std::string_view field);
    void setHTTPBody(const std::optional<NSData>& body) { contents_.body = body; }

protected:
    using NSURLRequest::NSURLRequest;
    friend class NSURLRequest;
};

}  // namespace qz
