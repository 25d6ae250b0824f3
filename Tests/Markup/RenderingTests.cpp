// Attributed texts as terminals, Pango and web views get them, and the snippets for the latter.
#include <gmock/gmock.h>

#include <cmath>

#include "Platform/Foundation/NSURL.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+HTML.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Markup.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Rendering.h"
#include "QZUtils/Markup/HTMLFormatter.h"

namespace qz::test {

using Traits = UIFontDescriptorSymbolicTraits;
using NSAttributedStringClass::attributedStringWithCommonMarkupString;
using NSAttributedStringClass::attributedStringWithHTML;

class Rendering : public testing::Test {
protected:
    void SetUp() override {
        FontFaces::setCurrent(
            std::make_shared<FontFaces>(std::vector<FontFace>{{"T", "Text", Traits::None},
                                                              {"TB", "Text", Traits::Bold},
                                                              {"TI", "Text", Traits::Italic},
                                                              {"It's", "It's <\"A\"> & B", Traits::None}},
                                        "Text"));
    }
    void TearDown() override { FontFaces::setCurrent(nullptr); }

    static Ref<NSAttributedString> text(std::string_view markup) {
        return attributedStringWithCommonMarkupString(
            markup, NSDictionary::dictionary({{NSFontAttributeName, UIFont::systemFontOfSize(12.5)}}));
    }
};

TEST_F(Rendering, WritesEscapesForTerminals) {
    EXPECT_EQ(terminalString(text("a<b>b</b><i>c</i> <u>d</u><s>e</s>")),
              "a\x1B[1mb\x1B[0m\x1B[3mc\x1B[0m \x1B[4md\x1B[0m\x1B[9me\x1B[0m");
    EXPECT_EQ(terminalString(text("<a href=\"http://x.org\">y</a>")),
              "\x1B]8;;http://x.org\x1B\\\x1B[4my\x1B[0m\x1B]8;;\x1B\\");
    // Foreign escapes do not get through, in their forms of seven and of eight bits.
    EXPECT_EQ(terminalString(text("\x1B[2J \u009B2J\b\x7F\t\r\n\u2028")),
              "\uFFFD[2J \uFFFD2J\uFFFD\uFFFD\t\n\n\n");
    EXPECT_EQ(terminalString(attributedStringWithHTML("<span style=\"color:#0102ff\">x</span>")),
              "\x1B[38;2;1;2;255mx\x1B[0m");
    EXPECT_EQ(terminalString(nullptr), "");
}

TEST_F(Rendering, WritesMarkupForPango) {
    EXPECT_EQ(pangoMarkup(text("a & \"<\x01<b>b</b>")),
              "<span font_family=\"Text\" size=\"12800\">a &amp; &quot;&lt;\uFFFD</span>"
              "<span font_family=\"Text\" size=\"12800\" weight=\"bold\">b</span>");
    EXPECT_EQ(pangoMarkup(NSAttributedString::initWithString("<i>", nullptr)), "&lt;i&gt;");
    const std::pair<double, const char*> sizes[] = {{1e300, "2147483647"}, {-1, "0"}, {std::nan(""), "0"}};
    for (const auto& [size, written] : sizes) {
        const auto sized = NSAttributedString::initWithString(
            "x", NSDictionary::dictionary({{NSFontAttributeName, UIFont::systemFontOfSize(size)}}));
        EXPECT_EQ(pangoMarkup(sized),
                  "<span font_family=\"Text\" size=\"" + std::string(written) + "\">x</span>");
    }
}

TEST_F(Rendering, WritesHTMLThatReadsBackAsTheSame) {
    for (const auto* html :
         {"plain", "<b>a</b>  b<br>c &lt;b&gt; &amp;amp;", "<p>one</p><p align=right>two <i>words</i></p>",
          "<a href=\"http://x.org/?a=1&amp;b=%22\">l</a><s>m</s><u>n</u>",
          "<span style=\"color: #12345678; background-color: red; font-size: 9.5px\">s</span>",
          "<font face=\"It's\">q</font>", "<pre>a   b\n\n c</pre>"}) {
        const auto read = attributedStringWithHTML(html);
        const auto written = HTMLString(read);
        const auto again = attributedStringWithHTML(written);
        EXPECT_EQ(again->string(), read->string()) << written;
        read->enumerateAttributesInRange({0, read->length()}, [&](const auto& attributes, NSRange range,
                                                                  bool&) {
            for (const auto& [name, value] : *attributes) {
                if (name != NSParagraphStyleAttributeName) {
                    EXPECT_EQ(again->attributesAtIndex(range.location)->objectForKey(name), value) << written;
                }
            }
        });
    }
    EXPECT_EQ(HTMLString(NSAttributedString::initWithString("", nullptr)), "");
}

TEST_F(Rendering, ConvertsHTMLInAFontAndAColour) {
    const auto red = UIColor::colorWithRed(1, 0, 0, 1);
    const auto look = [](const Ref<NSAttributedString>& text) {
        const auto font = text->attributeAtIndex(NSFontAttributeName, 0).as<UIFont>();
        return font->fontName() + " " + std::to_string(font->pointSize()).substr(0, 4) + " " +
               descriptionOf(text->attributeAtIndex(NSForegroundColorAttributeName, 0));
    };
    EXPECT_EQ(look(attributedStringWithHTML("x")), "T 12.0 (null)");
    EXPECT_EQ(look(attributedStringWithHTML("<font color=blue>x</font>", red)), "T 12.0 #ff0000");
    EXPECT_EQ(look(attributedStringWithHTML("<b>x</b>", red, 20.0)), "TB 20.0 #ff0000");
    EXPECT_EQ(look(attributedStringWithHTML("x", red, 1e-7)), "T 12.0 #ff0000");  // no size
    EXPECT_EQ(look(attributedStringWithHTML("x", nullptr, UIFont::fontWithName("TI", 9.6))),
              "TI 10.0 (null)");
    EXPECT_EQ(attributedStringWithHTML("", red)->length(), 0U);
    EXPECT_EQ(attributedStringWithHTML("größer")->string(), "größer");
}

TEST_F(Rendering, MakesSnippetsForWebViews) {
    EXPECT_TRUE(HTMLFormatter::isIFrame("a <iframe src=x>"));
    EXPECT_FALSE(HTMLFormatter::isIFrame("<iframe>"));
    EXPECT_FALSE(HTMLFormatter::isIFrame("<IFRAME src=x>"));
    EXPECT_EQ(HTMLFormatter::fillWidthWrapper("<p>"),
              "<HTML><HEAD><meta name='viewport' content='width=device-width, initial-scale=1.0, "
              "maximum-scale=1.0, minimum-scale=1.0, user-scalable=no, shrink-to-fit=no'></HEAD><BODY><p>"
              "</BODY></HTML>");
    EXPECT_THAT(HTMLFormatter::iFrame("<iframe src=x>", 320), testing::HasSubstr(" width: 320px;"));
    EXPECT_THAT(HTMLFormatter::iFrame("<iframe src=x>", -1), testing::HasSubstr(" width: 100%;"));
    EXPECT_THAT(HTMLFormatter::iFrame("<iframe src=x>", 320), testing::EndsWith("<iframe src=x>"));
    EXPECT_EQ(HTMLFormatter::css(UIFont::fontWithName("It's", 9.5), "a'b.ttf",
                                 UIColor::colorWithRed(0, 0, 1, 1), 8),
              "@font-face { font-family: 'It\\27 s'; src: url('a\\27 b.ttf'); }\n"
              "body { font-family: 'It\\27 s'; font-size: 9.5px; color: #0000ff; margin: 8px; }");
    EXPECT_EQ(HTMLFormatter::css(nullptr, nullptr, nullptr, std::nullopt), "body { }");
}

}  // namespace qz::test
