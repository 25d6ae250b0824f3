#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/UTF16.h"
#include "QZUtils/Extensions/NSString/NSString+QZStringExtendedByRegEx.h"

namespace qz {

QZ_DEFINE_CATEGORY(NSString, QZStringExtendedByRegEx, cls) {
    cls.method("stringByMatching:captureNumber:options:",
               [](const NSString& self, std::string_view pattern, std::size_t captureNumber,
                  NSRegularExpressionOptions options) {
                   return id(Text(stringByMatching(self.string(), pattern, captureNumber, options)));
               });
}

std::optional<std::string> stringByMatching(Text self, std::string_view pattern, std::size_t captureNumber,
                                            NSRegularExpressionOptions options) {
    const auto expression =
        self ? NSRegularExpression::regularExpressionWithPattern(pattern, options, nullptr) : nullptr;
    if (!expression) {
        return std::nullopt;
    }
    const auto units = utf16(self.view());
    const auto match = expression->firstMatchInString(units, NSMatchingOptions::None, {0, units.size()});
    if (!match) {
        return std::nullopt;
    }
    // Not below: a number that equals that of the ranges raises.
    const auto group = match->numberOfRanges() >= captureNumber ? captureNumber : 0;
    const auto range = match->rangeAtIndex(group);
    if (range.location == NSNotFound) {
        return std::nullopt;
    }
    return utf8(std::u16string_view(units).substr(range.location, range.length));
}

}  // namespace qz
