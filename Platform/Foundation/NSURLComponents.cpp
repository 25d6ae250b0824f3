#include "Platform/Foundation/NSURLComponents.h"

#include <algorithm>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/internal/UTF8.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

std::optional<int> digit(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const auto lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? std::optional(lower - 'a' + 10) : std::nullopt;
}

std::string plain(std::string_view text) {
    return stringByRemovingPercentEncoding(text).value_or(std::string(text));
}

}  // namespace

QZ_DEFINE_CLASS(NSURLQueryItem, cls) {
    cls.classMethod("queryItemWithName:value:",
                    [](Class&, std::string_view name, Text value) { return queryItemWithName(name, value); });
    cls.property("name", &NSURLQueryItem::name);
    cls.property("value", [](const NSURLQueryItem& self) { return id(Text(self.value())); });
    cls.method("isEqual:", [](const NSURLQueryItem& self, const id& other) {
        const auto item = other.as<NSURLQueryItem>();
        return item && item->name() == self.name() && item->value() == self.value();
    });
    cls.method("hash", [](const NSURLQueryItem& self) { return std::hash<std::string>()(self.name()); });
}

QZ_DEFINE_CLASS(NSURLComponents, cls) {
    cls.classMethod("componentsWithURL:resolvingAgainstBaseURL:",
                    [](Class&, const Ref<NSURL>& url, bool resolvingAgainstBaseURL) {
                        return componentsWithURL(url, resolvingAgainstBaseURL);
                    });
    cls.property("percentEncodedQuery",
                 [](const NSURLComponents& self) { return id(Text(self.percentEncodedQuery())); });
}

Ref<NSURLQueryItem> NSURLQueryItem::queryItemWithName(std::string_view name, Text value) {
    return make<NSURLQueryItem>(std::string(name), value.toString());
}

Ref<NSURLComponents> NSURLComponents::componentsWithURL(const Ref<NSURL>& url, bool resolvingAgainstBaseURL) {
    if (!url) {
        return nullptr;
    }
    const auto isWhole = resolvingAgainstBaseURL || url->relativeString() == url->absoluteString();
    const auto given = isWhole ? url : NSURL::URLWithString(url->relativeString());
    return make<NSURLComponents>(given ? given->query() : std::nullopt);
}

std::optional<std::vector<Ref<NSURLQueryItem>>> NSURLComponents::queryItems() const {
    if (!query_) {
        return std::nullopt;
    }
    std::vector<Ref<NSURLQueryItem>> items;
    const std::string_view query = *query_;
    for (std::size_t start = 0; !query.empty() && start <= query.size();) {
        const auto end = std::min(query.find('&', start), query.size());
        const auto item = query.substr(start, end - start);
        const auto equals = std::min(item.find('='), item.size());
        items.push_back(equals < item.size()
                            ? NSURLQueryItem::queryItemWithName(plain(item.substr(0, equals)),
                                                                plain(item.substr(equals + 1)))
                            : NSURLQueryItem::queryItemWithName(plain(item), nullptr));
        start = end + 1;
    }
    return items;
}

std::optional<std::string> stringByRemovingPercentEncoding(std::string_view self) {
    std::string text;
    text.reserve(self.size());
    for (std::size_t at = 0; at < self.size(); ++at) {
        if (self[at] != '%') {
            text += self[at];
            continue;
        }
        const auto high = at + 2 < self.size() ? digit(self[at + 1]) : std::nullopt;
        const auto low = high ? digit(self[at + 2]) : std::nullopt;
        if (!low) {
            return std::nullopt;
        }
        text += static_cast<char>(*high * 16 + *low);
        at += 2;
    }
    return internal::isUTF8(text) ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace qz
