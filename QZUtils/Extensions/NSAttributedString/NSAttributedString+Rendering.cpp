#include <cmath>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Text/NSParagraphStyle.h"
#include "Platform/Text/UIColor.h"
#include "Platform/Text/UIFont.h"
#include "Platform/Text/UTF16.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Rendering.h"
#include "QZUtils/Markup/internal/Quoting.h"

namespace qz {

namespace {

using Traits = UIFontDescriptorSymbolicTraits;

constexpr char16_t lineSeparator = 0x2028;

/// The attributes of a run that can be shown.
struct Look {
    explicit Look(const Ref<NSDictionary>& attributes)
        : font(attributes->objectForKey(NSFontAttributeName).as<UIFont>()),
          color(attributes->objectForKey(NSForegroundColorAttributeName).as<UIColor>()),
          background(attributes->objectForKey(NSBackgroundColorAttributeName).as<UIColor>()),
          link(attributes->objectForKey(NSLinkAttributeName).as<NSURL>()),
          isUnderlined(isOn(attributes->objectForKey(NSUnderlineStyleAttributeName))),
          isStruckThrough(isOn(attributes->objectForKey(NSStrikethroughStyleAttributeName))) {}

    [[nodiscard]] bool has(Traits trait) const {
        return font && hasTrait(font->fontDescriptor()->symbolicTraits(), trait);
    }

    Ref<UIFont> font;
    Ref<UIColor> color;
    Ref<UIColor> background;
    Ref<NSURL> link;
    bool isUnderlined;
    bool isStruckThrough;

private:
    static bool isOn(const id& style) {
        const auto number = style.as<NSNumber>();
        return number && number->boolValue();
    }
};

/// Calls `run(text, look)` for each run in a part of a text.
template <class F>
void forEachRun(const NSAttributedString& text, NSRange range, F&& run) {
    text.enumerateAttributesInRange(range, [&](const Ref<NSDictionary>& attributes, NSRange place, bool&) {
        std::u16string units = text.units().substr(place.location, place.length);
        for (auto& unit : units) {
            const auto isControl = (unit < 0x20 && unit != u'\n' && unit != u'\t' && unit != u'\r') ||
                                   (unit >= 0x7F && unit < 0xA0);
            unit = isControl || unit == 0xFFFE || unit == 0xFFFF ? char16_t{0xFFFD} : unit;
            unit = unit == u'\r' ? u'\n' : unit;
        }
        run(std::u16string_view(units), Look(attributes));
    });
}

std::string withLineFeeds(std::u16string_view units) {
    std::u16string plain(units);
    for (auto& unit : plain) {
        unit = unit == lineSeparator || unit == 0x2029 ? u'\n' : unit;
    }
    return utf8(plain);
}

int byteOf(double part) {
    return static_cast<int>(std::lround(part * 255));
}

void addColor(std::string& codes, int code, const Ref<UIColor>& color) {
    if (color) {
        codes += stringWithFormat(";%d;2;%d;%d;%d", code, byteOf(color->red()), byteOf(color->green()),
                                  byteOf(color->blue()));
    }
}

/// The parameters of the escape that turns a look on, each behind a semicolon.
std::string codesOf(const Look& look) {
    std::string codes;
    codes += look.has(Traits::Bold) ? ";1" : "";
    codes += look.has(Traits::Italic) ? ";3" : "";
    codes += look.isUnderlined ? ";4" : "";
    codes += look.isStruckThrough ? ";9" : "";
    addColor(codes, 38, look.color);
    addColor(codes, 48, look.background);
    return codes;
}

std::string pangoAttributes(const Look& look) {
    std::string attributes;
    if (look.font) {
        attributes += " font_family=\"" + internal::escapedForXML(look.font->familyName()) + "\"";
        // Pango counts 1024ths of a point in an int, and none below zero.
        constexpr double greatest = INT32_MAX;
        const auto size = look.font->pointSize() * 1024;
        attributes +=
            stringWithFormat(" size=\"%d\"", size > 0 ? static_cast<int>(std::fmin(size, greatest)) : 0);
    }
    attributes += look.has(Traits::Bold) ? " weight=\"bold\"" : "";
    attributes += look.has(Traits::Italic) ? " style=\"italic\"" : "";
    attributes += look.isUnderlined ? " underline=\"single\"" : "";
    attributes += look.isStruckThrough ? " strikethrough=\"true\"" : "";
    attributes += look.color ? " foreground=\"" + look.color->hexString() + "\"" : "";
    attributes += look.background ? " background=\"" + look.background->hexString() + "\"" : "";
    return attributes;
}

std::string styleOf(const Look& look) {
    std::string style;
    if (look.font) {
        style += "font-family: " + internal::quotedForStyle(look.font->familyName()) +
                 "; font-size: " + internal::lengthForStyle(look.font->pointSize()) + "; ";
    }
    style += look.has(Traits::Bold) ? "font-weight: bold; " : "";
    style += look.has(Traits::Italic) ? "font-style: italic; " : "";
    if (look.isUnderlined || look.isStruckThrough) {
        style += "text-decoration:";
        style += look.isUnderlined ? " underline" : "";
        style += look.isStruckThrough ? " line-through; " : "; ";
    }
    style += look.color ? "color: " + look.color->hexString() + "; " : "";
    style += look.background ? "background-color: " + look.background->hexString() + "; " : "";
    return style;
}

std::string styleOfParagraph(const NSAttributedString& text, NSRange range) {
    std::string style("white-space: pre-wrap; ");
    const auto paragraph =
        range.length == 0
            ? nullptr
            : text.attributeAtIndex(NSParagraphStyleAttributeName, range.location).as<NSParagraphStyle>();
    if (paragraph) {
        constexpr const char* names[] = {"left", "center", "right", "justify"};
        if (paragraph->alignment() != NSTextAlignment::Natural) {
            style +=
                "text-align: " + std::string(names[static_cast<std::size_t>(paragraph->alignment())]) + "; ";
        }
        if (paragraph->headIndent() != 0) {
            style += "margin-left: " + internal::lengthForStyle(paragraph->headIndent()) + "; ";
        }
        if (paragraph->firstLineHeadIndent() != paragraph->headIndent()) {
            style += "text-indent: " +
                     internal::lengthForStyle(paragraph->firstLineHeadIndent() - paragraph->headIndent()) +
                     "; ";
        }
    }
    return style;
}

/// Text as HTML, with its line breaks.
std::string htmlOf(std::u16string_view units) {
    std::string html;
    for (std::size_t start = 0; start <= units.size();) {
        const auto end = std::min(units.find(lineSeparator, start), units.size());
        html += start > 0 ? "<br>" : "";
        html += internal::escapedForXML(utf8(units.substr(start, end - start)));
        start = end + 1;
    }
    return html;
}

}  // namespace

std::string terminalString(const Ref<NSAttributedString>& self) {
    std::string shown;
    if (!self) {
        return shown;
    }
    forEachRun(*self, {0, self->length()}, [&](std::u16string_view units, const Look& look) {
        const auto codes = codesOf(look);
        shown += look.link ? "\x1B]8;;" + look.link->absoluteString() + "\x1B\\" : "";
        shown += codes.empty() ? "" : "\x1B[" + codes.substr(1) + "m";
        shown += withLineFeeds(units);
        shown += codes.empty() ? "" : "\x1B[0m";
        shown += look.link ? "\x1B]8;;\x1B\\" : "";
    });
    return shown;
}

std::string pangoMarkup(const Ref<NSAttributedString>& self) {
    std::string markup;
    if (!self) {
        return markup;
    }
    forEachRun(*self, {0, self->length()}, [&](std::u16string_view units, const Look& look) {
        const auto attributes = pangoAttributes(look);
        const auto text = internal::escapedForXML(withLineFeeds(units));
        markup += attributes.empty() ? text : "<span" + attributes + ">" + text + "</span>";
    });
    return markup;
}

std::string HTMLString(const Ref<NSAttributedString>& self) {
    std::string html;
    if (!self || self->length() == 0) {
        return html;
    }
    const std::u16string_view units = self->units();
    for (std::size_t start = 0; start <= units.size();) {
        const auto end = std::min(units.find(u'\n', start), units.size());
        const NSRange paragraph{start, end - start};
        html += "<p style=\"" + styleOfParagraph(*self, paragraph) + "\">";
        forEachRun(*self, paragraph, [&](std::u16string_view run, const Look& look) {
            const auto style = styleOf(look);
            html +=
                look.link ? "<a href=\"" + internal::escapedForXML(look.link->absoluteString()) + "\">" : "";
            html += style.empty() ? "" : "<span style=\"" + style + "\">";
            html += htmlOf(run);
            html += style.empty() ? "" : "</span>";
            html += look.link ? "</a>" : "";
        });
        html += "</p>\n";
        start = end + 1;
    }
    return html;
}

}  // namespace qz
