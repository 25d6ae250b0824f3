// Markup from anywhere: what remains has no tags, and one pass over a short text finds what ICU finds.
#include <cstdint>
#include <cstdlib>

#include "Platform/Text/NSRegularExpression.h"
#include "Platform/Text/UTF16.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Markup.h"

namespace {

/// Longer ones ICU may give up on.
constexpr std::size_t comparedLength = 200;

std::string onePassOfICU(const std::string& text) {
    static const auto tags = qz::NSRegularExpression::regularExpressionWithPattern(
        R"(<(\S+)(?:\s+(?<attrs>.*))?>(?<text>.*?)</(\1)>)", qz::NSRegularExpressionOptions::None, nullptr);
    auto units = qz::utf16(text);
    const auto matches = tags->matchesInString(text);
    for (auto i = matches.size(); i-- > 0;) {
        const auto enclosed = matches[i]->rangeWithName("text");
        const auto whole = matches[i]->range();
        units.replace(whole.location, whole.length, units.substr(enclosed.location, enclosed.length));
    }
    return qz::utf8(units);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace qz::NSAttributedStringClass;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto whole = attributedStringWithMarkupString(
        text, false, nullptr, [](const auto&, const auto& attributes, const auto&) { return attributes; });
    if (size <= comparedLength && whole->string() != onePassOfICU(text)) {
        std::abort();
    }
    const auto nested = attributedStringWithCommonMarkupString(text, nullptr);
    if (attributedStringWithCommonMarkupString(nested->string(), nullptr)->string() != nested->string()) {
        std::abort();
    }
    return 0;
}
