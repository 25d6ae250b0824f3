#include <algorithm>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSString/NSString+URL.h"
#include "QZUtils/Extensions/NSURL/NSURL+Extended.h"

namespace qz {

namespace {

Ref<NSDictionary> boxed(const std::unordered_map<std::string, std::string>& entries) {
    auto dictionary = NSMutableDictionary::dictionary();
    for (const auto& [name, value] : entries) {
        dictionary->setObjectForKey(value, name);
    }
    return dictionary;
}

}  // namespace

QZ_DEFINE_CATEGORY(NSURL, Extended, cls) {
    cls.classMethod("queryStringParameters:",
                    [](Class&, Text query) { return NSURLClass::queryStringParameters(query); });
    cls.method("queryParams", [](const NSURL& self) { return queryParams(refTo(self)); });
    cls.method("valueOfQueryParameter:", [](const NSURL& self, std::string_view name) {
        return id(Text(valueOfQueryParameter(refTo(self), name)));
    });
    cls.method("queryItems", [](const NSURL& self) -> Ref<NSArray> {
        const auto items = queryItems(refTo(self));
        return items ? NSArray::arrayWithObjects(std::vector<id>(items->begin(), items->end())) : nullptr;
    });
    cls.method("queryDictionary", [](const NSURL& self) { return boxed(queryDictionary(refTo(self))); });
    cls.method("urlByAppendingURLParameters:", [](const NSURL& self, const Ref<NSArray>& parameters) {
        std::vector<std::string> texts;
        for (std::size_t i = 0; parameters && i < parameters->count(); ++i) {
            texts.push_back(unbox<std::string>(parameters->objectAtIndex(i)).value_or(""));
        }
        return urlByAppendingURLParameters(refTo(self), texts);
    });
    cls.method("isHTTPS", [](const NSURL& self) { return isHTTPS(refTo(self)); });
}

Ref<NSMutableDictionary> NSURLClass::queryStringParameters(Text query) {
    const auto text = query.view();
    if (text.empty()) {
        return nullptr;
    }
    auto parameters = NSMutableDictionary::dictionary();
    for (std::size_t start = 0; start <= text.size();) {
        const auto end = std::min(text.find('&', start), text.size());
        const auto piece = text.substr(start, end - start);
        const auto equals = piece.find('=');
        if (equals != std::string_view::npos && equals == piece.rfind('=')) {
            parameters->setObjectForKey(piece.substr(equals + 1), piece.substr(0, equals));
        }
        start = end + 1;
    }
    return parameters;
}

Ref<NSMutableDictionary> queryParams(const Ref<NSURL>& self) {
    return self ? NSURLClass::queryStringParameters(self->query()) : nullptr;
}

std::optional<std::string> valueOfQueryParameter(const Ref<NSURL>& self, std::string_view name) {
    const auto parameters = queryParams(self);
    return parameters ? unbox<std::string>(parameters->objectForKey(name)) : std::nullopt;
}

std::optional<std::vector<Ref<NSURLQueryItem>>> queryItems(const Ref<NSURL>& self) {
    const auto components = NSURLComponents::componentsWithURL(self, false);
    return components ? components->queryItems() : std::nullopt;
}

std::unordered_map<std::string, std::string> queryDictionary(const Ref<NSURL>& self) {
    const auto components = NSURLComponents::componentsWithURL(self, false);
    const auto items = components ? components->queryItems() : std::nullopt;
    if (!items) {
        return urlParameters(components ? Text(components->percentEncodedQuery()) : Text());
    }
    std::unordered_map<std::string, std::string> entries;
    for (const auto& item : *items) {
        entries.insert_or_assign(item->name(), item->value().value_or(""));
    }
    return entries;
}

Ref<NSURL> urlByAppendingURLParameters(const Ref<NSURL>& self, const std::vector<std::string>& parameters) {
    if (!self) {
        return nullptr;
    }
    auto text = self->absoluteString();
    // A parameter may bring a "?" of its own, but never comes before the first separator.
    auto hasQuery = text.find('?') != std::string::npos;
    for (const auto& parameter : parameters) {
        text.append(hasQuery ? "&" : "?").append(parameter);
        hasQuery = true;
    }
    return NSURL::URLWithString(text);
}

bool isHTTPS(const Ref<NSURL>& self) noexcept {
    return self && (self->scheme() == "http" || self->scheme() == "https");
}

}  // namespace qz
