#include "QZUtils/Markup/HTMLFormatter.h"

#include <cmath>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Markup/internal/Quoting.h"

namespace qz {

QZ_DEFINE_CLASS(HTMLFormatter, cls) {
    cls.classMethod("isIFrame:", [](Class&, std::string_view html) { return isIFrame(html); });
    cls.classMethod("fillWidthWrapperWithString:",
                    [](Class&, std::string_view string) { return fillWidthWrapper(string); });
    cls.classMethod("iFrameWithHtml:width:",
                    [](Class&, std::string_view html, double width) { return iFrame(html, width); });
    cls.classMethod(
        "cssWithFont:fontSource:color:margin:", [](Class&, const Ref<UIFont>& font, Text fontSource,
                                                   const Ref<UIColor>& color, const Ref<NSNumber>& margin) {
            return css(font, fontSource, color, margin ? std::optional(margin->doubleValue()) : std::nullopt);
        });
}

bool HTMLFormatter::isIFrame(std::string_view html) {
    return html.find("<iframe ") != std::string_view::npos;
}

std::string HTMLFormatter::fillWidthWrapper(std::string_view string) {
    std::string page(
        "<HTML><HEAD><meta name='viewport' content='width=device-width, initial-scale=1.0, "
        "maximum-scale=1.0, "
        "minimum-scale=1.0, user-scalable=no, shrink-to-fit=no'></HEAD><BODY>");
    return page.append(string).append("</BODY></HTML>");
}

std::string HTMLFormatter::iFrame(std::string_view html, double width) {
    const auto isWidth = std::isfinite(width) && width > 0;
    const auto rule = isWidth ? stringWithFormat("%.0fpx", width) : std::string("100%");
    return "<style>iframe { display: block; width: " + rule + "; max-width: 100%; border: 0; }</style>" +
           std::string(html);
}

std::string HTMLFormatter::css(const Ref<UIFont>& font, Text fontSource, const Ref<UIColor>& color,
                               std::optional<double> margin) {
    std::string sheet;
    std::string body;
    if (font) {
        const auto family = internal::quotedForStyle(font->fontName());
        if (fontSource) {
            sheet = "@font-face { font-family: " + family + "; src: url(" +
                    internal::quotedForStyle(fontSource.view()) + "); }\n";
        }
        body +=
            " font-family: " + family + "; font-size: " + internal::lengthForStyle(font->pointSize()) + ";";
    }
    if (color) {
        body += " color: " + color->hexString() + ";";
    }
    if (margin) {
        body += " margin: " + internal::lengthForStyle(*margin) + ";";
    }
    return sheet + "body {" + body + " }";
}

}  // namespace qz
