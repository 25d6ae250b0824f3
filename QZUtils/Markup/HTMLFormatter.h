// HTMLFormatter: snippets of HTML for web views.
//
//     const auto page = HTMLFormatter::fillWidthWrapper(
//         HTMLFormatter::isIFrame(html) ? HTMLFormatter::iFrame(html, 320) : html);
//
// What they are given stands in the result as it is, unless a function says otherwise. Safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Text/UIColor.h"
#include "Platform/Text/UIFont.h"

namespace qz {

class QZ_EXPORT HTMLFormatter : public NSObject {
    QZ_OBJECT(HTMLFormatter, NSObject)
public:
    /// Whether the text has "<iframe " in it, in just this spelling.
    [[nodiscard]] static bool isIFrame(std::string_view html);

    /// A page that is as wide as its view and cannot be zoomed, with the text as its body.
    [[nodiscard]] static std::string fillWidthWrapper(std::string_view string);

    /// HTML with an inline frame, behind a style that makes its frames as wide as given, in CSS pixels, but
    /// not wider than the page. A width that is no positive number stands for that of the page.
    [[nodiscard]] static std::string iFrame(std::string_view html, double width);

    /// A style sheet for the body: the font's family name and size, the colour, and the margin on all sides,
    /// both in CSS pixels. A source, the URL of a font file, declares the family. Whatever is null or nil is
    /// left out. Names and URLs are escaped, so that none of them ends its quotation or a style element.
    [[nodiscard]] static std::string css(const Ref<UIFont>& font, Text fontSource, const Ref<UIColor>& color,
                                         std::optional<double> margin);

protected:
    HTMLFormatter() = default;
};

}  // namespace qz
