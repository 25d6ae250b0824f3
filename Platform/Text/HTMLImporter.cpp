#include "Platform/Text/HTMLImporter.h"

#include <libxml/HTMLparser.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/internal/UTF8.h"
#include "Platform/Text/NSAttributedString.h"
#include "Platform/Text/NSParagraphStyle.h"
#include "Platform/Text/UIColor.h"
#include "Platform/Text/UIFont.h"
#include "Platform/Text/UTF16.h"
#include "Platform/Text/internal/StyleSheet.h"

namespace qz {

namespace {

using Traits = UIFontDescriptorSymbolicTraits;

constexpr double defaultSize = 12;
constexpr double indentOfLevel = 24;
constexpr char16_t lineSeparator = 0x2028;

/// What the text in an element looks like; elements inherit that of the element around them.
struct Style {
    std::vector<std::string> families;
    double size = defaultSize;
    bool isBold = false;
    bool isItalic = false;
    bool isMonospaced = false;
    bool isUnderlined = false;
    bool isStruckThrough = false;
    bool isPreformatted = false;
    bool isHidden = false;
    Ref<UIColor> color;
    Ref<UIColor> background;
    Ref<NSURL> link;
    NSParagraphStyle::Values paragraph;
};

void declare(const internal::StyleDeclarations& declarations, Style& style) {
    for (const auto& [name, given] : declarations) {
        const auto value = internal::lowercased(given);
        if (name == "font-family") {
            style.families = internal::fontFamiliesOfStyle(given);
        } else if (name == "font-size") {
            style.size = internal::fontSizeOfStyle(value, style.size).value_or(style.size);
        } else if (name == "font-weight") {
            style.isBold = value == "bold" || value == "bolder" || (value.size() == 3 && value >= "600");
        } else if (name == "font-style") {
            style.isItalic = value == "italic" || value == "oblique";
        } else if (name == "color") {
            const auto color = internal::colorOfStyle(value);
            style.color = color ? color : style.color;
        } else if (name == "background-color" || name == "background") {
            const auto color = internal::colorOfStyle(value);
            style.background = color ? color : style.background;
        } else if (name == "text-decoration" || name == "text-decoration-line") {
            style.isUnderlined = value.find("underline") != std::string::npos;
            style.isStruckThrough = value.find("line-through") != std::string::npos;
        } else if (name == "text-align") {
            style.paragraph.alignment = value == "center"    ? NSTextAlignment::Center
                                        : value == "right"   ? NSTextAlignment::Right
                                        : value == "justify" ? NSTextAlignment::Justified
                                                             : NSTextAlignment::Left;
        } else if (name == "white-space") {
            style.isPreformatted = value.starts_with("pre");
        } else if (name == "display") {
            style.isHidden = style.isHidden || value == "none";
        }
    }
}

/// Fonts by what makes them, so that each is looked up once a document.
class Fonts {
public:
    [[nodiscard]] Ref<UIFont> fontOf(const Style& style) {
        auto& font = fonts_[{style.families, style.size, style.isBold, style.isItalic, style.isMonospaced}];
        if (!font) {
            font = made(style);
        }
        return font;
    }

private:
    [[nodiscard]] static Ref<UIFont> plainFont(const Style& style) {
        for (const auto& family : style.families) {
            if (auto font = UIFont::fontWithName(family, style.size)) {
                return font;
            }
        }
        return UIFont::systemFontOfSize(style.size);
    }

    [[nodiscard]] static Ref<UIFont> made(const Style& style) {
        auto font = plainFont(style);
        const auto isGeneric = !style.families.empty() && style.families.front() == "monospace";
        const std::pair<bool, Traits> wanted[] = {{style.isMonospaced || isGeneric, Traits::Monospace},
                                                  {style.isBold, Traits::Bold},
                                                  {style.isItalic, Traits::Italic}};
        // One after the other: a family without italics may still have a bold face.
        for (const auto& [isWanted, trait] : wanted) {
            const auto& present = font->fontDescriptor();
            const auto descriptor =
                isWanted ? present->fontDescriptorWithSymbolicTraits(present->symbolicTraits() | trait)
                         : nullptr;
            font = descriptor ? UIFont::fontWithDescriptor(descriptor, 0) : font;
        }
        return font;
    }

    std::map<std::tuple<std::vector<std::string>, double, bool, bool, bool>, Ref<UIFont>> fonts_;
};

Ref<NSDictionary> attributesOf(const Style& style, Fonts& fonts) {
    auto attributes = NSMutableDictionary::dictionary({{NSFontAttributeName, fonts.fontOf(style)}});
    if (style.color) {
        attributes->setObjectForKey(style.color, NSForegroundColorAttributeName);
    }
    if (style.background) {
        attributes->setObjectForKey(style.background, NSBackgroundColorAttributeName);
    }
    if (style.link) {
        attributes->setObjectForKey(style.link, NSLinkAttributeName);
    }
    if (style.isUnderlined) {
        attributes->setObjectForKey(1, NSUnderlineStyleAttributeName);
    }
    if (style.isStruckThrough) {
        attributes->setObjectForKey(1, NSStrikethroughStyleAttributeName);
    }
    if (style.paragraph != NSParagraphStyle::Values()) {
        attributes->setObjectForKey(NSParagraphStyle::paragraphStyle(style.paragraph),
                                    NSParagraphStyleAttributeName);
    }
    return attributes->copy();
}

/// What an element by itself means.
enum class Role { None, Block, ListItem, Bullets, Numbers, Heading, Break, Image, Cell, StyleSheet, Body };

struct Meaning {
    std::string_view element;
    Role role;
    void (*change)(Style&);  // null: nothing
};

constexpr auto bold = [](Style& style) { style.isBold = true; };
constexpr auto italic = [](Style& style) { style.isItalic = true; };
constexpr auto underline = [](Style& style) { style.isUnderlined = true; };
constexpr auto strike = [](Style& style) { style.isStruckThrough = true; };
constexpr auto monospace = [](Style& style) { style.isMonospaced = true; };
constexpr auto hidden = [](Style& style) { style.isHidden = true; };
constexpr auto center = [](Style& style) { style.paragraph.alignment = NSTextAlignment::Center; };
constexpr auto indented = [](Style& style) {
    style.paragraph.headIndent += indentOfLevel;
    style.paragraph.firstLineHeadIndent = style.paragraph.headIndent;
};
constexpr auto listed = [](Style& style) {
    style.paragraph.firstLineHeadIndent = style.paragraph.headIndent;
    style.paragraph.headIndent += indentOfLevel;
};
constexpr auto preformatted = [](Style& style) {
    style.isPreformatted = true;
    style.isMonospaced = true;
};
constexpr auto larger = [](Style& style) { style.size = std::min(style.size * 1.2, 1000.0); };
constexpr auto smaller = [](Style& style) { style.size = std::max(style.size / 1.2, 1.0); };

/// The sizes of headings are those of the sample style sheet of CSS 2.1, appendix D.
template <int level>
constexpr auto heading = [](Style& style) {
    constexpr std::array<double, 6> sizes{2, 1.5, 1.17, 1, 0.83, 0.75};
    style.size = std::clamp(style.size * sizes[level - 1], 1.0, 1000.0);
    style.isBold = true;
    style.paragraph.headerLevel = level;
};

constexpr Meaning meanings[] = {
    {"body", Role::Body, nullptr},
    {"p", Role::Block, nullptr},
    {"div", Role::Block, nullptr},
    {"section", Role::Block, nullptr},
    {"article", Role::Block, nullptr},
    {"header", Role::Block, nullptr},
    {"footer", Role::Block, nullptr},
    {"table", Role::Block, nullptr},
    {"tr", Role::Block, nullptr},
    {"caption", Role::Block, nullptr},
    {"hr", Role::Block, nullptr},
    {"dl", Role::Block, nullptr},
    {"dt", Role::Block, nullptr},
    {"figure", Role::Block, nullptr},
    {"form", Role::Block, nullptr},
    {"dd", Role::Block, indented},
    {"blockquote", Role::Block, indented},
    {"center", Role::Block, center},
    {"address", Role::Block, italic},
    {"pre", Role::Block, preformatted},
    {"h1", Role::Block, heading<1>},
    {"h2", Role::Block, heading<2>},
    {"h3", Role::Block, heading<3>},
    {"h4", Role::Block, heading<4>},
    {"h5", Role::Block, heading<5>},
    {"h6", Role::Block, heading<6>},
    {"ul", Role::Bullets, listed},
    {"ol", Role::Numbers, listed},
    {"li", Role::ListItem, nullptr},
    {"br", Role::Break, nullptr},
    {"img", Role::Image, nullptr},
    {"td", Role::Cell, nullptr},
    {"th", Role::Cell, bold},
    {"b", Role::None, bold},
    {"strong", Role::None, bold},
    {"i", Role::None, italic},
    {"em", Role::None, italic},
    {"cite", Role::None, italic},
    {"dfn", Role::None, italic},
    {"var", Role::None, italic},
    {"u", Role::None, underline},
    {"ins", Role::None, underline},
    {"s", Role::None, strike},
    {"strike", Role::None, strike},
    {"del", Role::None, strike},
    {"code", Role::None, monospace},
    {"tt", Role::None, monospace},
    {"kbd", Role::None, monospace},
    {"samp", Role::None, monospace},
    {"big", Role::None, larger},
    {"small", Role::None, smaller},
    {"style", Role::StyleSheet, hidden},
    {"script", Role::None, hidden},
    {"title", Role::None, hidden},
    {"template", Role::None, hidden},
    {"noscript", Role::None, hidden},
};

const Meaning* meaningOf(std::string_view element) {
    const auto* const found =
        std::find_if(std::begin(meanings), std::end(meanings),
                     [&](const Meaning& meaning) { return meaning.element == element; });
    return found == std::end(meanings) ? nullptr : found;
}

/// The attributes of an element as the parser hands them out: names and values in turn, then null.
class ElementAttributes {
public:
    explicit ElementAttributes(const xmlChar** attributes) : attributes_(attributes) {}

    [[nodiscard]] std::optional<std::string_view> operator[](std::string_view name) const {
        for (const auto* const* entry = attributes_; entry && entry[0]; entry += 2) {
            if (name == reinterpret_cast<const char*>(entry[0])) {
                return entry[1] ? reinterpret_cast<const char*>(entry[1]) : "";
            }
        }
        return std::nullopt;
    }

private:
    const xmlChar** attributes_;
};

/// The attributes that change the style: of <a>, of <font>, `align`, and `style` last.
void applyAttributes(std::string_view element, const ElementAttributes& attributes, Style& style) {
    if (const auto href = attributes["href"]; href && element == "a") {
        style.link = NSURL::URLWithString(*href);
        style.isUnderlined = style.isUnderlined || style.link;
    }
    if (element == "font") {
        constexpr std::array<double, 7> sizes{7.5, 10, 12, 14, 18, 24, 36};
        if (const auto size = attributes["size"]; size && size->size() == 1 && *size >= "1" && *size <= "7") {
            style.size = sizes[static_cast<std::size_t>(size->front() - '1')];
        }
        if (const auto face = attributes["face"]) {
            style.families = internal::fontFamiliesOfStyle(*face);
        }
        if (const auto color = attributes["color"]) {
            const auto known = internal::colorOfStyle(*color);
            style.color = known ? known : style.color;
        }
    }
    if (const auto align = attributes["align"]) {
        declare(internal::StyleDeclarations{{"text-align", std::string(*align)}}, style);
    }
    if (const auto declarations = attributes["style"]) {
        declare(internal::declarationsOfStyle(*declarations), style);
    }
}

class Importer {
public:
    Importer() { elements_.push_back({}); }

    void startElement(std::string_view name, const ElementAttributes& attributes) {
        auto element = Element{.style = elements_.back().style, .attributes = nullptr};
        const auto* meaning = meaningOf(name);
        element.role = meaning ? meaning->role : Role::None;
        if (meaning && meaning->change) {
            meaning->change(element.style);
        }
        if (element.role == Role::Body) {
            declare(bodyRules_, element.style);
        }
        applyAttributes(name, attributes, element.style);
        if (isBlock(element.role)) {
            endParagraph();
        }
        elements_.push_back(std::move(element));
        showStart(attributes);
    }

    void endElement() {
        if (elements_.size() == 1) {
            return;
        }
        const auto role = elements_.back().role;
        elements_.pop_back();
        if (role == Role::StyleSheet) {
            useStyleSheet();
        } else if (isBlock(role)) {
            endParagraph();
        }
    }

    void characters(std::string_view text) {
        if (elements_.back().role == Role::StyleSheet) {
            styleSheet_ += text;
        } else if (!elements_.back().style.isHidden) {
            elements_.back().style.isPreformatted ? showPreformatted(text) : showCollapsed(text);
        }
    }

    [[nodiscard]] bool isTooDeep() const noexcept { return elements_.size() > maximumHTMLDepth; }
    [[nodiscard]] Ref<NSAttributedString> result() const { return result_; }

private:
    struct Element {
        Style style;
        Ref<NSDictionary> attributes;  // of text with the style; null until there is some
        Role role = Role::None;
        std::size_t count = 0;  // the items of a list, or cells of a line, so far
    };

    static bool isBlock(Role role) {
        return role == Role::Block || role == Role::ListItem || role == Role::Bullets ||
               role == Role::Numbers;
    }

    /// What an element shows before its content.
    void showStart(const ElementAttributes& attributes) {
        const auto& element = elements_.back();
        if (element.style.isHidden) {
            return;
        }
        auto& parent = elements_[elements_.size() - 2];
        switch (element.role) {
            case Role::Break:
                blank_ = nullptr;
                show(std::u16string(1, lineSeparator));
                break;
            case Role::Image:
                characters(attributes["alt"].value_or(""));
                break;
            case Role::Cell:
                if (parent.count++ > 0) {
                    blank_ = nullptr;
                    show(u"\t");
                }
                break;
            case Role::ListItem:
                show(utf16(parent.role == Role::Numbers ? std::to_string(++parent.count) + ". " : "\u2022 "));
                break;
            default:
                break;
        }
    }

    /// The rules of the sheet for the body count for what is open, too.
    void useStyleSheet() {
        const auto rules = internal::declarationsOfRules(styleSheet_, "body");
        styleSheet_.clear();
        bodyRules_.insert(bodyRules_.end(), rules.begin(), rules.end());
        const auto body = std::find_if(elements_.begin(), elements_.end(),
                                       [](const Element& element) { return element.role == Role::Body; });
        for (auto element = body; element != elements_.end(); ++element) {
            declare(rules, element->style);
            element->attributes = nullptr;
        }
    }

    /// What follows begins a paragraph, if anything follows.
    void endParagraph() noexcept {
        hasEnded_ = true;
        blank_ = nullptr;
    }

    /// Blanks count as one, and as none at the ends of a line.
    void showCollapsed(std::string_view text) {
        constexpr std::string_view blanks = " \t\n\r\f";
        while (!text.empty()) {
            const auto word = std::min(text.find_first_not_of(blanks), text.size());
            if (word > 0 && !blank_ && !isAtLineStart()) {
                blank_ = textAttributes();
            }
            text.remove_prefix(word);
            const auto end = std::min(text.find_first_of(blanks), text.size());
            if (end > 0) {
                show(utf16(text.substr(0, end)));
            }
            text.remove_prefix(end);
        }
    }

    void showPreformatted(std::string_view text) {
        for (std::size_t start = 0; start < text.size();) {
            const auto end = std::min(text.find('\n', start), text.size());
            if (end > start) {
                show(utf16(text.substr(start, end - start)));
            }
            if (end < text.size()) {
                show(std::u16string(1, lineSeparator));
            }
            start = end + 1;
        }
    }

    [[nodiscard]] bool isAtLineStart() const {
        return hasEnded_ || result_->length() == 0 || result_->units().back() == lineSeparator ||
               result_->units().back() == u' ' || result_->units().back() == u'\t';
    }

    /// Those of text in the innermost element.
    [[nodiscard]] const Ref<NSDictionary>& textAttributes() {
        auto& element = elements_.back();
        if (!element.attributes) {
            element.attributes = attributesOf(element.style, fonts_);
        }
        return element.attributes;
    }

    void show(const std::u16string& units) {
        if (hasEnded_ && result_->length() > 0) {
            // The line feed belongs to the paragraph that it ends.
            result_->appendUnits(u"\n", result_->attributesAtIndex(result_->length() - 1));
        }
        if (blank_) {
            result_->appendUnits(u" ", blank_);
        }
        hasEnded_ = false;
        blank_ = nullptr;
        result_->appendUnits(units, textAttributes());
    }

    std::vector<Element> elements_;
    std::string styleSheet_;
    internal::StyleDeclarations bodyRules_;
    Fonts fonts_;
    Ref<NSMutableAttributedString> result_ = NSMutableAttributedString::init();
    bool hasEnded_ = false;    // a paragraph, since the last text
    Ref<NSDictionary> blank_;  // the attributes of the first blank since the last text; null: there is none
};

std::string_view view(const xmlChar* text, int length) {
    return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)};
}

/// The parser and the importer that it reports to.
struct Parse {
    std::unique_ptr<htmlParserCtxt, decltype(&htmlFreeParserCtxt)> context{htmlNewParserCtxt(),
                                                                           &htmlFreeParserCtxt};
    Importer importer;
    bool wasTooDeep = false;

    static Parse& of(void* user) { return *static_cast<Parse*>(user); }
};

htmlSAXHandler handler() {
    htmlSAXHandler handler{};
    handler.startElement = [](void* user, const xmlChar* name, const xmlChar** attributes) {
        auto& parse = Parse::of(user);
        parse.importer.startElement(reinterpret_cast<const char*>(name), ElementAttributes(attributes));
        if (parse.importer.isTooDeep()) {
            parse.wasTooDeep = true;
            xmlStopParser(parse.context.get());
        }
    };
    handler.endElement = [](void* user, const xmlChar*) { Parse::of(user).importer.endElement(); };
    handler.characters = [](void* user, const xmlChar* text, int length) {
        Parse::of(user).importer.characters(view(text, length));
    };
    handler.ignorableWhitespace = handler.characters;
    handler.cdataBlock = handler.characters;
    return handler;
}

}  // namespace

Ref<NSAttributedString> attributedStringFromHTML(std::string_view html) {
    if (html.empty()) {
        return NSAttributedString::initWithString("", nullptr);
    }
    Parse parse;
    if (!parse.context || html.size() > INT32_MAX) {
        return nullptr;
    }
    // The parser would take a zero byte for the end.
    std::string bytes(html);
    std::replace(bytes.begin(), bytes.end(), '\0', ' ');
    *parse.context->sax = handler();
    parse.context->userData = &parse;
    const auto* encoding = internal::isUTF8(bytes) ? "UTF-8" : nullptr;
    const auto options = HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET;
    xmlFreeDoc(htmlCtxtReadMemory(parse.context.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr,
                                  encoding, options));
    return parse.wasTooDeep ? nullptr : parse.importer.result();
}

}  // namespace qz
