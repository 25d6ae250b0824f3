#include "Platform/Network/NSHTTPURLResponse.h"

#include <charconv>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Network/internal/HeaderFields.h"
#include "Platform/Network/internal/StatusTexts.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

Ref<NSDictionary> withUsualNames(const Ref<NSDictionary>& fields) {
    const auto usual = NSMutableDictionary::dictionary();
    if (fields) {
        for (const auto& [name, value] : *fields) {
            usual->setObjectForKey(value, internal::usualFieldName(unbox<std::string>(name).value_or("")));
        }
    }
    return usual->copy();
}

std::int64_t contentLength(const NSDictionary& fields) {
    const auto coding = internal::valueOfField(fields, "Content-Encoding");
    const auto text = internal::valueOfField(fields, "Content-Length");
    if (!text || (coding && *coding != "identity")) {
        return -1;
    }
    std::int64_t length = -1;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), length);
    return error == std::errc() && end == text->data() + text->size() && length >= 0 ? length : -1;
}

/// "text/html" of "text/html; charset=utf-8".
std::optional<std::string> mimeType(const NSDictionary& fields) {
    auto type = internal::valueOfField(fields, "Content-Type");
    if (type) {
        type->resize(std::min(type->size(), type->find_first_of("; \t")));
    }
    return type;
}

std::optional<std::string> charset(const NSDictionary& fields) {
    const auto type = internal::valueOfField(fields, "Content-Type");
    const auto start = type ? type->find("charset=") : std::string::npos;
    if (start == std::string::npos) {
        return std::nullopt;
    }
    auto name = type->substr(start + 8);
    name.resize(std::min(name.size(), name.find_first_of("; \t")));
    std::erase(name, '"');
    return name;
}

}  // namespace

QZ_DEFINE_CLASS(NSHTTPURLResponse, cls) {
    using Self = NSHTTPURLResponse;
    cls.property("statusCode", &Self::statusCode);
    cls.property("allHeaderFields", &Self::allHeaderFields);
    cls.method("valueForHTTPHeaderField:", [](const Self& self, std::string_view field) {
        return id(Text(self.valueForHTTPHeaderField(field)));
    });
    cls.classMethod("localizedStringForStatusCode:",
                    [](Class&, std::int64_t status) { return localizedStringForStatusCode(status); });
    cls.method("description", [](const Self& self) {
        return stringWithFormat("<%@: %@ status %ld, headers %@>", self.isa().name(), self.URL(),
                                self.statusCode(), self.allHeaderFields());
    });
}

NSHTTPURLResponse::NSHTTPURLResponse(const Ref<NSURL>& url, std::int64_t statusCode,
                                     std::optional<std::string> version, const Ref<NSDictionary>& fields)
    : NSURLResponse(url, fields ? mimeType(*fields) : std::nullopt, fields ? contentLength(*fields) : -1,
                    fields ? charset(*fields) : std::nullopt),
      statusCode_(statusCode),
      version_(std::move(version)),
      fields_(withUsualNames(fields)) {}

std::optional<std::string> NSHTTPURLResponse::valueForHTTPHeaderField(std::string_view field) const {
    return internal::valueOfField(*fields_, field);
}

std::string NSHTTPURLResponse::localizedStringForStatusCode(std::int64_t statusCode) {
    return internal::statusText(statusCode);
}

}  // namespace qz
