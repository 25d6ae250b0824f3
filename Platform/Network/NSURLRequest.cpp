#include "Platform/Network/NSURLRequest.h"

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Network/NSMutableURLRequest.h"
#include "Platform/Network/internal/HeaderFields.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSURLRequest, cls) {
    using Self = NSURLRequest;
    cls.classMethod("requestWithURL:", [](Class&, const Ref<NSURL>& url) { return requestWithURL(url); });
    cls.property("URL", &Self::URL);
    cls.property("timeoutInterval", &Self::timeoutInterval);
    cls.property("HTTPMethod", &Self::HTTPMethod);
    cls.property("allHTTPHeaderFields", &Self::allHTTPHeaderFields);
    cls.method("copy", &Self::copy);
    cls.method("mutableCopy", &Self::mutableCopy);
    cls.method("description", [](const Self& self) { return descriptionOf(self.URL()); });
}

Ref<NSDictionary> NSURLRequest::allHTTPHeaderFields() const {
    return contents_.fields && contents_.fields->count() != 0 ? contents_.fields : nullptr;
}

std::optional<std::string> NSURLRequest::valueForHTTPHeaderField(std::string_view field) const {
    return contents_.fields ? internal::valueOfField(*contents_.fields, field) : std::nullopt;
}

Ref<NSURLRequest> NSURLRequest::copy() const {
    return qz::make<NSURLRequest>(contents_);
}

Ref<NSMutableURLRequest> NSURLRequest::mutableCopy() const {
    return qz::make<NSMutableURLRequest>(contents_);
}

}  // namespace qz
