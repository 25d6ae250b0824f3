#include <algorithm>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURLComponents.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSString/NSString+URL.h"

namespace qz {

namespace {

/// Takes the next part between separators off a text; empty when there is none but empty ones.
std::string_view nextPart(std::string_view& text, char separator) {
    text.remove_prefix(std::min(text.find_first_not_of(separator), text.size()));
    const auto part = text.substr(0, text.find(separator));
    text.remove_prefix(part.size());
    return part;
}

}  // namespace

QZ_DEFINE_CATEGORY(NSString, URL, cls) {
    cls.method("url", [](const NSString& self) { return url(self.string()); });
    cls.method("urlParameters", [](const NSString& self) -> Ref<NSDictionary> {
        auto dictionary = NSMutableDictionary::dictionary();
        for (const auto& [name, value] : urlParameters(self.string())) {
            dictionary->setObjectForKey(value, name);
        }
        return dictionary;
    });
}

Ref<NSURL> url(Text self) {
    return NSURL::URLWithString(self);
}

std::unordered_map<std::string, std::string> urlParameters(Text self) {
    std::unordered_map<std::string, std::string> parameters;
    auto rest = self.view();
    for (auto piece = nextPart(rest, '&'); !piece.empty(); piece = nextPart(rest, '&')) {
        const auto first = nextPart(piece, '=');
        const auto second = nextPart(piece, '=');
        auto name = stringByRemovingPercentEncoding(first);
        if (!first.empty() && name) {
            parameters.insert_or_assign(*std::move(name),
                                        stringByRemovingPercentEncoding(second).value_or(""));
        }
    }
    return parameters;
}

}  // namespace qz
