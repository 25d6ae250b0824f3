// NSURLResponse: the head of an answer, without its body. Immutable.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class QZ_EXPORT NSURLResponse : public NSObject {
    QZ_OBJECT(NSURLResponse, NSObject)
public:
    /// A length of -1 is not known.
    template <class Self = NSURLResponse>
    [[nodiscard]] static Ref<Self> initWithURL(const Ref<NSURL>& url, Text MIMEType,
                                               std::int64_t expectedContentLength, Text textEncodingName) {
        return make<Self>(url, MIMEType.toString(), expectedContentLength, textEncodingName.toString());
    }

    [[nodiscard]] const Ref<NSURL>& URL() const noexcept { return url_; }
    /// Bytes of the body; -1 when the server did not say.
    [[nodiscard]] std::int64_t expectedContentLength() const noexcept { return expectedContentLength_; }
    [[nodiscard]] const std::optional<std::string>& MIMEType() const noexcept { return mimeType_; }
    [[nodiscard]] const std::optional<std::string>& textEncodingName() const noexcept {
        return textEncodingName_;
    }
    /// A name for a file: the last component of the URL's path, "Unknown" when it has none.
    [[nodiscard]] std::string suggestedFilename() const;

protected:
    NSURLResponse(Ref<NSURL> url, std::optional<std::string> mimeType, std::int64_t expectedContentLength,
                  std::optional<std::string> textEncodingName)
        : url_(std::move(url)),
          mimeType_(std::move(mimeType)),
          expectedContentLength_(expectedContentLength),
          textEncodingName_(std::move(textEncodingName)) {}

private:
    const Ref<NSURL> url_;
    const std::optional<std::string> mimeType_;
    const std::int64_t expectedContentLength_;
    const std::optional<std::string> textEncodingName_;
};

}  // namespace qz
