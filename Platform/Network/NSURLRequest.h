// NSURLRequest: what is asked of a server. Immutable; NSMutableURLRequest is the kind that is built up.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSDictionary;
class NSMutableDictionary;
class NSMutableURLRequest;

/// Whether a stored answer may serve. URL sessions store none, so that every request goes to the server; the
/// policies that ignore caches also tell those on the way.
enum class NSURLRequestCachePolicy : std::uint64_t {
    UseProtocolCachePolicy = 0,
    ReloadIgnoringLocalCacheData = 1,
    ReturnCacheDataElseLoad = 2,
    ReturnCacheDataDontLoad = 3,
};
inline constexpr auto NSURLRequestReloadIgnoringLocalCacheData =
    NSURLRequestCachePolicy::ReloadIgnoringLocalCacheData;

class QZ_EXPORT NSURLRequest : public NSObject {
    QZ_OBJECT(NSURLRequest, NSObject)
public:
    static constexpr double defaultTimeoutInterval = 60.0;

    template <class Self = NSURLRequest>
    [[nodiscard]] static Ref<Self> requestWithURL(const Ref<NSURL>& url) {
        return requestWithURL<Self>(url, NSURLRequestCachePolicy::UseProtocolCachePolicy,
                                    defaultTimeoutInterval);
    }
    /// The interval is how many seconds may pass without a byte, connecting included.
    template <class Self = NSURLRequest>
    [[nodiscard]] static Ref<Self> requestWithURL(const Ref<NSURL>& url, NSURLRequestCachePolicy cachePolicy,
                                                  double timeoutInterval) {
        Contents contents;
        contents.url = url;
        contents.cachePolicy = cachePolicy;
        contents.timeoutInterval = timeoutInterval;
        return make<Self>(std::move(contents));
    }

    /// May be null, which no session can load.
    [[nodiscard]] const Ref<NSURL>& URL() const noexcept { return contents_.url; }
    [[nodiscard]] NSURLRequestCachePolicy cachePolicy() const noexcept { return contents_.cachePolicy; }
    [[nodiscard]] double timeoutInterval() const noexcept { return contents_.timeoutInterval; }
    /// "GET" unless set.
    [[nodiscard]] const std::string& HTTPMethod() const noexcept { return contents_.method; }
    /// Texts by field name; null when there are none.
    [[nodiscard]] Ref<NSDictionary> allHTTPHeaderFields() const;
    /// Whatever the case of the name; nullopt when it is not set.
    [[nodiscard]] std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;
    [[nodiscard]] const std::optional<NSData>& HTTPBody() const noexcept { return contents_.body; }

    [[nodiscard]] Ref<NSURLRequest> copy() const;
    [[nodiscard]] Ref<NSMutableURLRequest> mutableCopy() const;

protected:
    struct QZ_EXPORT Contents {
        Ref<NSURL> url;
        NSURLRequestCachePolicy cachePolicy = NSURLRequestCachePolicy::UseProtocolCachePolicy;
        double timeoutInterval = defaultTimeoutInterval;
        std::string method = "GET";
        Ref<NSDictionary> fields;  // never changed: replaced by a changed copy
        std::optional<NSData> body;
    };
    explicit NSURLRequest(Contents contents) : contents_(std::move(contents)) {}

    Contents contents_;
};

}  // namespace qz
