// HTML as attributed text: blocks, blanks, styles, and bytes that are no HTML at all.
#include <gmock/gmock.h>

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Text/HTMLImporter.h"
#include "Platform/Text/NSAttributedString.h"
#include "Platform/Text/NSParagraphStyle.h"
#include "Platform/Text/UIColor.h"
#include "Platform/Text/UIFont.h"
#include "Platform/Text/UTF16.h"

namespace qz::test {

using Traits = UIFontDescriptorSymbolicTraits;

class HTMLImport : public testing::Test {
protected:
    void SetUp() override {
        FontFaces::setCurrent(
            std::make_shared<FontFaces>(std::vector<FontFace>{{"R", "Serif", Traits::None},
                                                              {"B", "Serif", Traits::Bold},
                                                              {"I", "Serif", Traits::Italic},
                                                              {"BI", "Serif", Traits::Bold | Traits::Italic},
                                                              {"M", "Serif Mono", Traits::Monospace},
                                                              {"News-Regular", "News", Traits::None}},
                                        "Serif"));
    }
    void TearDown() override { FontFaces::setCurrent(nullptr); }
};

std::string plain(std::string_view html) {
    const auto text = attributedStringFromHTML(html);
    return text ? text->string() : "null";
}

/// Each run as "[text|face size|other attributes]".
std::string styled(std::string_view html) {
    const auto text = attributedStringFromHTML(html);
    std::string runs;
    text->enumerateAttributesInRange(
        {0, text->length()}, [&](const Ref<NSDictionary>& attributes, NSRange range, bool&) {
            const auto font = attributes->objectForKey(NSFontAttributeName).as<UIFont>();
            runs += "[" + text->attributedSubstringFromRange(range)->string() + "|" + font->fontName() + " " +
                    std::to_string(std::lround(font->pointSize()));
            for (const auto& [name, value] : *attributes) {
                if (!value.as<UIFont>() && !value.as<NSParagraphStyle>()) {
                    runs += "|" + descriptionOf(name) + "=" + descriptionOf(value);
                }
            }
            runs += "]";
        });
    return runs;
}

NSParagraphStyle::Values paragraphAt(std::string_view html, std::size_t index) {
    const auto style = attributedStringFromHTML(html)
                           ->attributeAtIndex(NSParagraphStyleAttributeName, index)
                           .as<NSParagraphStyle>();
    return style ? style->values() : NSParagraphStyle::Values();
}

TEST_F(HTMLImport, SeparatesBlocksAndCollapsesBlanks) {
    const struct {
        const char* html;
        const char* text;
    } cases[] = {
        {"plain", "plain"},
        {"", ""},
        {"<p>one</p><p>two</p>", "one\ntwo"},
        {"<p> a  b\n c </p>\n\n<p> d</p>  ", "a b c\nd"},
        {"<p>a <b> b</b> c</p>", "a b c"},
        {"<p></p><div><div>x</div></div><p> </p>", "x"},
        {"a<br>b<br/> c", "a\u2028b\u2028c"},
        {"<h1>t</h1>x<h2>u</h2>", "t\nx\nu"},
        {"<ul><li>a<li>b<ol><li>c</li><li>d</li></ol></ul>e", "\u2022 a\n\u2022 b\n1. c\n2. d\ne"},
        {"<table><tr><td>a</td><td>b</td></tr><tr><th>c</th></tr></table>", "a\tb\nc"},
        {"<pre>a  b\nc</pre>", "a  b\u2028c"},
        {"&lt;&amp;&gt; &eacute; &#8364; &#x1F4F0; &nope;", "<&> é € \U0001F4F0 &nope;"},
        {"a&nbsp; b", "a\u00A0 b"},
        {"<title>t</title><script>if (a < b) {}</script><style>p {}</style>x<!-- c -->y", "xy"},
        {"<img src=\"http://127.0.0.1/x\" alt=\"a picture\">", "a picture"},
        {"<p>open <b>and <i>never</p> closed", "open and never\nclosed"},
        {"</p></b>x</div>", "x"},
        {"größer \U0001F4F0", "größer \U0001F4F0"},
        {"<span style=\"display: none\">x</span>y", "y"},
    };
    for (const auto& [html, text] : cases) {
        EXPECT_EQ(plain(html), text) << html;
    }
    // Not UTF-8: in the encoding that is declared.
    EXPECT_EQ(plain("<meta charset=\"iso-8859-15\">\xA4 \xE9"), "€ é");
    EXPECT_EQ(plain(std::string_view("a\0b", 3)), "a b");
}

TEST_F(HTMLImport, GivesFontsColoursAndLinks) {
    const struct {
        const char* html;
        const char* runs;
    } cases[] = {
        {"a<b>b<i>c</i></b><em>d</em>", "[a|R 12][b|B 12][c|BI 12][d|I 12]"},
        {"<code>x</code>", "[x|M 12]"},
        {"<code><b>x</b></code>", "[x|M 12]"},  // no bold face of that family
        {"<h1>x</h1>", "[x|B 24]"},
        {"<u>x</u><s>y</s>", "[x|R 12|NSUnderline=1][y|R 12|NSStrikethrough=1]"},
        {"<a href=\"https://example.org/a\">x</a>", "[x|R 12|NSLink=https://example.org/a|NSUnderline=1]"},
        {"<a href=\"no url\">x</a><a name=y>y</a>", "[xy|R 12]"},
        {"<font color=red size=5 face=\"News\">x</font>", "[x|News-Regular 18|NSColor=#ff0000]"},
        {"<span style=\"color:#0f08; background-color: rgb(0,0,255)\">x</span>",
         "[x|R 12|NSBackgroundColor=#0000ff]"},
        {"<span style=\"color: RGBA(255, 0, 0, 0.5)\">x</span>", "[x|R 12|NSColor=#ff000080]"},
        {"<p style=\"font-size: 150%\">x<span style='font-size:0.5em; font-weight: 700'>y</span></p>",
         "[x|R 18][y|B 9]"},
        {"<b>x<span style=\"font-weight: normal\">y</span></b>", "[x|B 12][y|R 12]"},
        // The first of several blanks is the one that stays.
        {"a <u>b </u> c<u> </u><s>d</s>",
         "[a |R 12][b |R 12|NSUnderline=1][c|R 12][ |R 12|NSUnderline=1][d|R 12|NSStrikethrough=1]"},
        {"<big>x</big><small>y</small>", "[x|R 14][y|R 10]"},
        {"<style>/* p {} */ body { font-family: 'Nope', News; font-size: 20px; color: navy } p { color: red }"
         "</style>x",
         "[x|News-Regular 20|NSColor=#000080]"},
        {"<span style=\"font-size: 1e9px\">x</span><span style=\"font-size:-3px; color: ; :;\">y</span>",
         "[x|R 1000][y|R 12]"},
    };
    for (const auto& [html, runs] : cases) {
        EXPECT_EQ(styled(html), runs) << html;
    }
}

TEST_F(HTMLImport, GivesParagraphsTheirStyle) {
    EXPECT_EQ(paragraphAt("<h2>x</h2>", 0).headerLevel, 2);
    EXPECT_EQ(paragraphAt("<p align=center>x</p>", 0).alignment, NSTextAlignment::Center);
    EXPECT_EQ(paragraphAt("<p style=\"text-align: right\">x</p>", 0).alignment, NSTextAlignment::Right);
    EXPECT_EQ(paragraphAt("<p>x</p>", 0), NSParagraphStyle::Values());
    const auto nested = paragraphAt("<ul><li><ul><li>x</ul></ul>", 4);
    EXPECT_GT(nested.headIndent, nested.firstLineHeadIndent);
    EXPECT_GT(nested.firstLineHeadIndent, 0);
}

TEST_F(HTMLImport, BoundsDepthAndSaysWhatItCannotRead) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<div>";
    }
    EXPECT_EQ(plain(deep + "x"), "null");
    Ref<NSError> error;
    const auto options =
        NSDictionary::dictionary({{NSDocumentTypeDocumentAttribute, NSHTMLTextDocumentType}});
    Ref<NSDictionary> attributes;
    EXPECT_FALSE(NSAttributedString::initWithData(NSData::dataWithText(deep), options, &attributes, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 65806);
    EXPECT_FALSE(attributes);
    error = nullptr;
    EXPECT_FALSE(NSAttributedString::initWithData(NSData::dataWithText("x"), nullptr, nullptr, &error));
    EXPECT_TRUE(error);
    EXPECT_TRUE(NSAttributedString::initWithData(NSData::dataWithText("x"), options, &attributes, nullptr));
    EXPECT_EQ(attributes->objectForKey(NSDocumentTypeDocumentAttribute), NSHTMLTextDocumentType);
}

}  // namespace qz::test
