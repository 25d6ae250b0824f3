// NSHTTPURLResponse: the head of an HTTP answer: a status and header fields. Immutable.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Network/NSURLResponse.h"

namespace qz {

class NSDictionary;

class QZ_EXPORT NSHTTPURLResponse : public NSURLResponse {
    QZ_OBJECT(NSHTTPURLResponse, NSURLResponse)
public:
    /// The fields, texts by name, may be null. The length is that of "Content-Length", where it is a plain
    /// number and the body is not encoded; the type is read from "Content-Type".
    template <class Self = NSHTTPURLResponse>
    [[nodiscard]] static Ref<Self> initWithURL(const Ref<NSURL>& url, std::int64_t statusCode,
                                               Text HTTPVersion, const Ref<NSDictionary>& headerFields) {
        return make<Self>(url, statusCode, HTTPVersion.toString(), headerFields);
    }

    [[nodiscard]] std::int64_t statusCode() const noexcept { return statusCode_; }
    /// "HTTP/1.1"; nullopt when it is not known.
    [[nodiscard]] const std::optional<std::string>& HTTPVersion() const noexcept { return version_; }
    /// Never null. Names have their usual capitals: "ETag", "Last-Modified".
    [[nodiscard]] const Ref<NSDictionary>& allHeaderFields() const noexcept { return fields_; }
    /// Whatever the case of the name; nullopt when there is none.
    [[nodiscard]] std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;

    /// What a status means, for people: "not found".
    [[nodiscard]] static std::string localizedStringForStatusCode(std::int64_t statusCode);

protected:
    NSHTTPURLResponse(const Ref<NSURL>& url, std::int64_t statusCode, std::optional<std::string> version,
                      const Ref<NSDictionary>& fields);

private:
    const std::int64_t statusCode_;
    const std::optional<std::string> version_;
    const Ref<NSDictionary> fields_;
};

}  // namespace qz
