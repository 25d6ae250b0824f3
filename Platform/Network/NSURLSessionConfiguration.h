// NSURLSessionConfiguration: how the tasks of a session reach their servers. A session copies the one that it
// is made with. For one thread at a time.
#pragma once

#include <cstdint>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSDictionary;

class QZ_EXPORT NSURLSessionConfiguration : public NSObject {
    QZ_OBJECT(NSURLSessionConfiguration, NSObject)
public:
    /// A new one with the defaults.
    [[nodiscard]] static Ref<NSURLSessionConfiguration> defaultSessionConfiguration();

    /// How many seconds may pass without a byte, connecting included, for requests that have the default
    /// interval themselves. 60.
    [[nodiscard]] double timeoutIntervalForRequest() const noexcept { return timeoutIntervalForRequest_; }
    void setTimeoutIntervalForRequest(double seconds) noexcept { timeoutIntervalForRequest_ = seconds; }
    /// How many connections to one host are used at once, counted over all sessions of the process; tasks
    /// beyond it wait. 6.
    [[nodiscard]] std::int64_t HTTPMaximumConnectionsPerHost() const noexcept {
        return maximumConnectionsPerHost_;
    }
    void setHTTPMaximumConnectionsPerHost(std::int64_t count) noexcept { maximumConnectionsPerHost_ = count; }
    /// Fields of every request that does not have them itself; null at first.
    [[nodiscard]] const Ref<NSDictionary>& HTTPAdditionalHeaders() const noexcept {
        return additionalHeaders_;
    }
    void setHTTPAdditionalHeaders(const Ref<NSDictionary>& headers);

    [[nodiscard]] Ref<NSURLSessionConfiguration> copy() const;

protected:
    NSURLSessionConfiguration() = default;

private:
    double timeoutIntervalForRequest_ = 60;
    std::int64_t maximumConnectionsPerHost_ = 6;
    Ref<NSDictionary> additionalHeaders_;
};

}  // namespace qz
