#include <algorithm>

#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSString/NSString+QZXML.h"

namespace qz {

QZ_DEFINE_CATEGORY(NSString, QZXML, cls) {
    cls.method("xmlEncodedString", [](const NSString& self) { return xmlEncodedString(self.string()); });
}

namespace {

constexpr std::string_view replacement(char c) {
    switch (c) {
        case '"':
            return "&quot;";
        case '&':
            return "&amp;";
        case '\'':
            return "&#x27;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        default:
            return {};
    }
}

}  // namespace

void appendXMLEncodedString(std::string_view self, std::string& target) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < self.size(); ++i) {
        // All five lie below "?", so that most letters cost one comparison.
        const auto special = self[i] > '>' ? std::string_view() : replacement(self[i]);
        if (!special.empty()) {
            target.append(self, start, i - start).append(special);
            start = i + 1;
        }
    }
    target.append(self, start);
}

std::string xmlEncodedString(std::string_view self) {
    std::string encoded;
    encoded.reserve(self.size() + std::max<std::size_t>(self.size() / 10, 5));
    appendXMLEncodedString(self, encoded);
    return encoded;
}

}  // namespace qz
