#include <limits>
#include <string>

#include "Platform/Foundation/Format.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+HTML.h"

namespace qz {

namespace {

std::string header(const Ref<UIFont>& font) {
    const auto fontRules =
        font ? stringWithFormat("font-family: '%@'; font-size: %.0fpx; ", font->fontName(), font->pointSize())
             : std::string();
    return "<meta charset=\"UTF-8\"><style> body { " + fontRules +
           "text-align: left; vertical-align: middle}</style>";
}

}  // namespace

QZ_DEFINE_CATEGORY(NSAttributedString, HTML, cls) {
    using namespace NSAttributedStringClass;
    cls.classMethod("attributedStringWithHTML:",
                    [](Class&, std::string_view html) { return attributedStringWithHTML(html); });
    cls.classMethod("attributedStringWithHTML:color:",
                    [](Class&, std::string_view html, const Ref<UIColor>& color) {
                        return attributedStringWithHTML(html, color);
                    });
    cls.classMethod("attributedStringWithHTML:color:size:",
                    [](Class&, std::string_view html, const Ref<UIColor>& color, double size) {
                        return attributedStringWithHTML(html, color, size);
                    });
    cls.classMethod("attributedStringWithHTML:color:font:",
                    [](Class&, std::string_view html, const Ref<UIColor>& color, const Ref<UIFont>& font) {
                        return attributedStringWithHTML(html, color, font);
                    });
}

namespace NSAttributedStringClass {

Ref<NSAttributedString> attributedStringWithHTML(std::string_view html) {
    return attributedStringWithHTML(html, nullptr);
}

Ref<NSAttributedString> attributedStringWithHTML(std::string_view html, const Ref<UIColor>& color) {
    return attributedStringWithHTML(html, color, 0.0);
}

Ref<NSAttributedString> attributedStringWithHTML(std::string_view html, const Ref<UIColor>& color,
                                                 double size) {
    const auto isSize = size > static_cast<double>(std::numeric_limits<float>::epsilon());
    return attributedStringWithHTML(html, color, isSize ? UIFont::systemFontOfSize(size) : nullptr);
}

Ref<NSAttributedString> attributedStringWithHTML(std::string_view html, const Ref<UIColor>& color,
                                                 const Ref<UIFont>& font) {
    if (html.empty()) {
        return NSAttributedString::initWithString("", nullptr);
    }
    auto text = NSMutableAttributedString::initWithData<NSMutableAttributedString>(
        NSData::dataWithText(header(font).append(html)),
        NSDictionary::dictionary({{NSDocumentTypeDocumentAttribute, NSHTMLTextDocumentType}}), nullptr,
        nullptr);
    if (text && color) {
        text->addAttribute(NSForegroundColorAttributeName, color, {0, text->length()});
    }
    return text;
}

}  // namespace NSAttributedStringClass

}  // namespace qz
