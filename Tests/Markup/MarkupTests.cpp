// Markup: what the two expressions match and the customizer adds, in both modes.
#include <gmock/gmock.h>

#include <chrono>
#include <random>

#include "Platform/Foundation/NSURL.h"
#include "Platform/Text/NSRegularExpression.h"
#include "Platform/Text/UIFont.h"
#include "Platform/Text/UTF16.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Markup.h"

namespace qz::test {

namespace {

using Traits = UIFontDescriptorSymbolicTraits;
using NSAttributedStringClass::attributedStringWithCommonMarkupString;
using NSAttributedStringClass::attributedStringWithMarkupString;

/// Faces of the test, whatever the machine has: "Serif" without monospaced ones, "Plain" without any other.
class Markup : public testing::Test {
protected:
    void SetUp() override {
        FontFaces::setCurrent(std::make_shared<FontFaces>(
            std::vector<FontFace>{{"Serif-Regular", "Serif", Traits::None},
                                  {"Serif-Bold", "Serif", Traits::Bold},
                                  {"Serif-Italic", "Serif", Traits::Italic},
                                  {"Serif-BoldItalic", "Serif", Traits::Bold | Traits::Italic},
                                  {"Plain", "Plain", Traits::None},
                                  {"News-Regular", "News Sans", Traits::None},
                                  {"NewsMono", "News Mono", Traits::Monospace}},
            "Serif"));
    }
    void TearDown() override { FontFaces::setCurrent(nullptr); }

    static Ref<NSDictionary> font(std::string_view name) {
        return NSDictionary::dictionary({{NSFontAttributeName, UIFont::fontWithName(name, 13)}});
    }
};

/// One line a run: its text, and the names of its attributes, or for fonts their names.
std::string runs(const Ref<NSAttributedString>& text) {
    std::string lines;
    text->enumerateAttributesInRange(
        {0, text->length()}, [&](const Ref<NSDictionary>& attributes, NSRange range, bool&) {
            lines += "[" + text->attributedSubstringFromRange(range)->string();
            for (const auto& [name, value] : *attributes) {
                const auto font = value.as<UIFont>();
                lines += "|" + (font ? font->fontName() : descriptionOf(name) + "=" + descriptionOf(value));
            }
            lines += "]";
        });
    return lines;
}

/// The two expressions as they are written down, over ICU: what the hand-written search has to find.
class Expressions {
public:
    struct Found {
        std::string calls;
        std::string text;
    };

    [[nodiscard]] Found process(const std::string& given) const {
        Found found;
        auto units = utf16(given);
        const auto matches = tags_->matchesInString(given);
        for (auto i = matches.size(); i-- > 0;) {
            const auto& match = matches[i];
            const auto part = [&](NSRange range) {
                return std::u16string_view(units).substr(range.location, range.length);
            };
            const auto attributes = match->rangeWithName("attrs");
            found.calls += utf8(part(match->rangeAtIndex(1))) + "(";
            found.calls += attributes.location == NSNotFound ? "none" : list(part(attributes));
            found.calls += ");";
            const auto whole = match->range();
            units.replace(whole.location, whole.length, std::u16string(part(match->rangeWithName("text"))));
        }
        found.text = utf8(units);
        return found;
    }

    static std::string list(const Ref<NSDictionary>& attributes) {
        std::map<std::string, std::string> sorted;
        for (const auto& [name, value] : *attributes) {
            sorted[descriptionOf(name)] = descriptionOf(value);
        }
        std::string text;
        for (const auto& [name, value] : sorted) {
            text.append("{").append(name).append("}={").append(value).append("}");
        }
        return text;
    }

private:
    static Ref<NSRegularExpression> compiled(std::string_view pattern) {
        return NSRegularExpression::regularExpressionWithPattern(pattern, NSRegularExpressionOptions::None,
                                                                 nullptr);
    }
    [[nodiscard]] std::string list(std::u16string_view text) const {
        auto attributes = NSMutableDictionary::dictionary();
        for (const auto& match :
             attributes_->matchesInString(text, NSMatchingOptions::None, {0, text.size()})) {
            const auto part = [&](std::string_view name) {
                const auto range = match->rangeWithName(name);
                return utf8(text.substr(range.location, range.length));
            };
            attributes->setObjectForKey(part("value"), part("name"));
        }
        return list(attributes);
    }

    const Ref<NSRegularExpression> tags_ = compiled(R"(<(\S+)(?:\s+(?<attrs>.*))?>(?<text>.*?)</(\1)>)");
    const Ref<NSRegularExpression> attributes_ =
        compiled(R"((?<name>\S+)=["']?(?<value>(?:.(?!["']?\s+(?:\S+)=|\s*\/?[>"']))+.)["']?)");
};

/// One pass of ours over a text of one run.
Expressions::Found processed(const std::string& given) {
    Expressions::Found found;
    const auto text = attributedStringWithMarkupString(
        given, false, nullptr, [&](const std::string& tag, const Ref<NSDictionary>& attributes, const auto&) {
            found.calls += tag + "(" + (attributes ? Expressions::list(attributes) : "none") + ");";
            return nullptr;
        });
    found.text = text->string();
    return found;
}

double secondsFor(const std::string& given) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(attributedStringWithCommonMarkupString(given, nullptr));
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

std::string repeated(std::string_view part, std::size_t length) {
    std::string text;
    while (text.size() < length) {
        text += part;
    }
    return text;
}

}  // namespace

TEST_F(Markup, AddsWhatTheCommonTagsMean) {
    const struct {
        const char* given;
        const char* runs;
    } cases[] = {
        {"a <b>bold</b> word", "[a |Serif-Regular][bold|Serif-Bold][ word|Serif-Regular]"},
        {"<strong>s</strong><em>e</em>", "[s|Serif-Bold][e|Serif-Italic]"},
        {"<b>x<i>y</i></b>", "[x|Serif-Bold][y|Serif-BoldItalic]"},
        {"<i><b>y</b></i>", "[y|Serif-BoldItalic]"},
        {"<u>x</u>", "[x|Serif-Regular|NSUnderline=1]"},
        {"<s>x</s><del>y</del>", "[xy|Serif-Regular|NSStrikethrough=1]"},
        {"<code>x</code>", "[x|Serif-Regular]"},  // a family without such a face
        {"<a href=\"https://example.org\">x</a>",
         "[x|Serif-Regular|NSLink=https://example.org|NSUnderline=1]"},
        {"<what href='x.html'>x</what>", "[x|Serif-Regular|NSLink=x.html|NSUnderline=1]"},
        {"<a href=\"x y\">x</a>", "[x|Serif-Regular]"},  // no URL
        {"<a href=\"x.html\" __linkAsAttachment=true>x</a>",
         "[x|Serif-Regular|NSAttachment=x.html|NSUnderline=1]"},
        {"<a href=\"x.html\" __linkAsAttachment=\"no\">x</a>",
         "[x|Serif-Regular|NSLink=x.html|NSUnderline=1]"},
        {"<B>x</B> <c>y</c>", "[x y|Serif-Regular]"},
        {"<b>x <i>y</b>", "[x <i>y|Serif-Bold]"},
        {"<b>x</i> </b", "[<b>x</i> </b|Serif-Regular]"},
        {"<b>one\ntwo</b>", "[<b>one\ntwo</b>|Serif-Regular]"},
        {"<b></b>", ""},
        {"\U0001F4F0<b>\U0001F4F0</b>", "[\U0001F4F0|Serif-Regular][\U0001F4F0|Serif-Bold]"},
    };
    for (const auto& [given, expected] : cases) {
        EXPECT_EQ(runs(attributedStringWithCommonMarkupString(given, font("Serif"))), expected) << given;
    }
    EXPECT_EQ(runs(attributedStringWithCommonMarkupString("<b>x</b>", font("Plain"))), "[x|Plain]");
    EXPECT_EQ(runs(attributedStringWithCommonMarkupString("<code>x</code>", font("News Sans"))),
              "[x|NewsMono]");
    EXPECT_EQ(runs(attributedStringWithCommonMarkupString("<b>x</b>", nullptr)), "[x]");
    EXPECT_FALSE(attributedStringWithCommonMarkupString(nullptr, nullptr));
    const auto bold = attributedStringWithCommonMarkupString("<b>x</b>", font("Serif"));
    EXPECT_EQ(bold->attributeAtIndex(NSFontAttributeName, 0).as<UIFont>()->pointSize(), 13);
}

TEST_F(Markup, ProcessesTextsOfOneRunWithoutNestingInASinglePass) {
    EXPECT_EQ(runs(attributedStringWithCommonMarkupString("<b>x<i>y</i></b>", false, font("Serif"))),
              "[x<i>y</i>|Serif-Bold]");
    // A text of several runs is processed until no tag is left all the same.
    auto text = NSMutableAttributedString::initWithString("<b>x<i>y</i></b>", font("Serif"));
    text->addAttribute("Mark", "m", {3, 1});
    processCommonMarkupSupportNesting(text, false);
    EXPECT_EQ(runs(text), "[x|Serif-Bold|Mark=m][y|Serif-BoldItalic]");
    processCommonMarkupSupportNesting(nullptr, true);
}

TEST_F(Markup, AsksTheCustomizerForEachRunFromTheLastTagBack) {
    auto text = NSMutableAttributedString::initWithString("<x a=11>12</x> <y>3</y>", nullptr);
    text->addAttribute("Mark", "m", {8, 1});
    std::string calls;
    processMarkupWithCustomizerBlock(
        text,
        [&](const std::string& tag, const Ref<NSDictionary>& markup, const Ref<NSDictionary>& present) {
            calls += tag + (markup ? std::to_string(markup->count()) : "-") +
                     std::to_string(present->count()) + " ";
            return NSDictionary::dictionary({{"Mark", tag}, {"Tag", tag}});
        },
        true);
    EXPECT_EQ(calls, "y-0 x11 x10 ");
    EXPECT_EQ(runs(text), "[12|Mark=x|Tag=x][ ][3|Mark=y|Tag=y]");
    // Without a block the tags go.
    EXPECT_EQ(attributedStringWithMarkupString("<a>x</a>", nullptr, nullptr)->string(), "x");
}

TEST_F(Markup, ReadsAttributesAsTheExpressionDoes) {
    const struct {
        const char* attributes;
        const char* found;
    } cases[] = {
        {"a=\"12\" b='34' c=56", "{a}={12}{b}={34}{c}={56}"},
        {"a=12 a=34", "{a}={34}"},
        {"a=\"1\"", "{a}={\"1}"},  // a value has two characters
        {"a=1", ""},
        {"href=\"x?a=1&b=2\"", "{href=\"x?a}={1&b=2}"},  // a name reaches to the last "="
        {"a=b=cd", "{a=b}={cd}"},
        {"title=\"two words\" x='it is'", "{title}={two words}{x}={it is}"},
        {"", ""},
        {"=ab", ""},
        {"a=\U0001F4F0", ""},
        {"a=\U0001F4F0\U0001F4F0", "{a}={\U0001F4F0\U0001F4F0}"},
    };
    for (const auto& [attributes, expected] : cases) {
        EXPECT_EQ(processed(std::string("<t ") + attributes + ">x</t>").calls,
                  "t(" + std::string(expected) + ");")
            << attributes;
    }
    // Greedy: two links in a line are one match.
    EXPECT_EQ(processed("<a href=\"11\">x</a> <a href=\"22\">y</a>").text, "y");
}

TEST_F(Markup, FindsWhatTheExpressionsFindInRandomTexts) {
    const Expressions expressions;
    const std::vector<std::string> alphabets[] = {
        {"<", ">", "/", "a", " ", "b"},
        {"<", ">", "</", "a", "<a>", "</a>", "<b ", "b>", "\n", " ", "\u2028"},
        {"<a ", ">", "</a>", "=", "\"", "'", " ", "x", "yz", "/", "\U0001F4F0", "\u00A0", "\t"},
        {"<", "</", ">", "\x1C", "\u0085", "\r\n", "\u3000", "\u200B", "a", "=", "\U0001F4F0"},
        {"<a>", "</a>", "</", "<", ">", "a>"},
        // Beginnings that agree for longer than is compared unit by unit.
        {"<aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", "</aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", "a",
         ">", " "},
    };
    std::mt19937 random(7);
    std::size_t found = 0;
    for (int round = 0; round < 60000; ++round) {
        const auto& alphabet = alphabets[static_cast<std::size_t>(round) % std::size(alphabets)];
        std::string text;
        for (auto length = random() % 32; length > 0; --length) {
            text += alphabet[random() % alphabet.size()];
        }
        const auto expected = expressions.process(text);
        const auto ours = processed(text);
        ASSERT_EQ(ours.calls, expected.calls) << text;
        ASSERT_EQ(ours.text, expected.text) << text;
        found += expected.calls.empty() ? 0 : 1;
    }
    EXPECT_GT(found, 10000U);  // the texts are worth comparing
}

TEST_F(Markup, StaysLinearWhateverTheText) {
    for (const auto* part :
         {"<b>bold</b> and <i>more</i> ", "<b>bold</b>", "<", "</", "<>", "<a>", "</a>", "<a ", "<b></b></b>",
          "<a href=\"x\">", "=", "<x =", "<x>x</x", "aaa</aaa>", "<<//>>", "<a>\n", "<x\n>"}) {
        // The larger text is 8 times as long: a quadratic search takes 64 times as long.
        const auto small = secondsFor(repeated(part, std::size_t{8} << 10));
        const auto large = secondsFor(repeated(part, std::size_t{64} << 10));
        EXPECT_LT(large, 24 * small + 0.5) << part;
    }
}

}  // namespace qz::test
