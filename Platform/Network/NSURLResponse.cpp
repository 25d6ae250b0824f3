#include "Platform/Network/NSURLResponse.h"

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSURLResponse, cls) {
    using Self = NSURLResponse;
    cls.property("URL", &Self::URL);
    cls.property("expectedContentLength", &Self::expectedContentLength);
    cls.property("MIMEType", [](const Self& self) { return id(Text(self.MIMEType())); });
    cls.property("textEncodingName", [](const Self& self) { return id(Text(self.textEncodingName())); });
    cls.property("suggestedFilename", &Self::suggestedFilename);
}

std::string NSURLResponse::suggestedFilename() const {
    auto name = url_ ? url_->lastPathComponent() : std::string();
    // A component that is only dots or slashes names no file; an escaped slash must not lead elsewhere.
    const bool isName = !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
    return isName ? name : "Unknown";
}

}  // namespace qz
