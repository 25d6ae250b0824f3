// Attributed strings: runs that are as long as they can be, through every change.
#include <gmock/gmock.h>

#include <random>

#include "Platform/Foundation/NSException.h"
#include "Platform/Text/NSAttributedString.h"
#include "Platform/Text/UTF16.h"

namespace qz::test {

Ref<NSDictionary> mark(std::string_view value) {
    return value.empty() ? NSDictionary::dictionary() : NSDictionary::dictionary({{"M", value}});
}

/// The text with the mark of each unit behind it, and "|" where a run begins.
std::string shown(const Ref<NSAttributedString>& text) {
    std::string shown;
    text->enumerateAttributesInRange({0, text->length()}, [&](const auto& attributes, NSRange range, bool&) {
        shown += "|" + utf8(std::u16string_view(text->units()).substr(range.location, range.length)) + ":" +
                 unbox<std::string>(attributes->objectForKey("M")).value_or("");
    });
    return shown;
}

TEST(AttributedString, KeepsRunsAsLongAsTheyCanBe) {
    const auto text = NSMutableAttributedString::initWithString("abcdef", nullptr);
    text->addAttributes(mark("x"), {1, 2});
    text->addAttributes(mark("x"), {3, 1});
    EXPECT_EQ(shown(text), "|a:|bcd:x|ef:");
    NSRange range;
    EXPECT_EQ(id(text->attributesAtIndex(2, &range, {2, 4})), id(mark("x")));
    EXPECT_EQ(range, (NSRange{2, 2}));
    text->setAttributes(nullptr, {2, 1});
    EXPECT_EQ(shown(text), "|a:|b:x|c:|d:x|ef:");
    text->removeAttribute("M", {0, 6});
    EXPECT_EQ(shown(text), "|abcdef:");
    // A dictionary that the caller changes later does not change the text.
    const auto changed = NSMutableDictionary::dictionary({{"M", "y"}});
    text->setAttributes(changed, {0, 1});
    changed->setObjectForKey("z", "M");
    EXPECT_EQ(shown(text), "|a:y|bcdef:");
}

TEST(AttributedString, ReplacesWithTheAttributesThatItShould) {
    const auto text = NSMutableAttributedString::initWithString("ab", mark("x"));
    text->replaceCharactersInRange({1, 1}, NSAttributedString::initWithString("\U0001F4F0", mark("y")));
    EXPECT_EQ(shown(text), "|a:x|\U0001F4F0:y");
    EXPECT_EQ(text->length(), 3U);
    text->replaceCharactersInRange({1, 2}, "q");
    EXPECT_EQ(shown(text), "|a:x|q:y");
    text->replaceCharactersInRange({1, 0}, "p");
    EXPECT_EQ(shown(text), "|ap:x|q:y");
    text->appendAttributedString(text);
    EXPECT_EQ(shown(text), "|ap:x|q:y|ap:x|q:y");
    text->deleteCharactersInRange({2, 1});
    EXPECT_EQ(shown(text), "|apap:x|q:y");
    text->setAttributedString(nullptr);
    EXPECT_EQ(shown(text), "");
    text->replaceCharactersInRange({0, 0}, "n");
    EXPECT_EQ(shown(text), "|n:");
}

TEST(AttributedString, RaisesOutsideOfTheText) {
    const auto text = NSMutableAttributedString::initWithString("ab", nullptr);
    EXPECT_THROW(static_cast<void>(text->attributesAtIndex(2)), NSException);
    EXPECT_THROW(static_cast<void>(text->attributedSubstringFromRange({1, 2})), NSException);
    EXPECT_THROW(text->addAttributes(mark("x"), {SIZE_MAX, 1}), NSException);
    EXPECT_THROW(text->deleteCharactersInRange({1, SIZE_MAX}), NSException);
}

TEST(AttributedString, AgreesWithAPlainListOfUnitsAndMarks) {
    std::mt19937 random(3);
    const auto text = NSMutableAttributedString::init();
    std::vector<std::pair<char, std::string>> model;
    const std::string marks[] = {"", "x", "y"};
    for (int step = 0; step < 4000; ++step) {
        const auto start = random() % (model.size() + 1);
        const NSRange range{start, random() % (std::min<std::size_t>(model.size() - start, 6) + 1)};
        const auto& value = marks[random() % 3];
        const auto first = model.begin() + static_cast<std::ptrdiff_t>(range.location);
        const auto last = first + static_cast<std::ptrdiff_t>(range.length);
        if (random() % 2 == 0) {
            text->setAttributes(mark(value), range);
            std::for_each(first, last, [&](auto& unit) { unit.second = value; });
        } else {
            const std::string letters(random() % 6, static_cast<char>('a' + random() % 3));
            text->replaceCharactersInRange(range, NSAttributedString::initWithString(letters, mark(value)));
            const auto place = model.erase(first, last);
            std::vector<std::pair<char, std::string>> added;
            for (const auto letter : letters) {
                added.emplace_back(letter, value);
            }
            model.insert(place, added.begin(), added.end());
        }
        std::string expected;
        for (std::size_t i = 0; i < model.size(); ++i) {
            expected += i == 0 || model[i].second != model[i - 1].second ? "|" : "";
            expected += model[i].first;
            expected +=
                i + 1 == model.size() || model[i].second != model[i + 1].second ? ":" + model[i].second : "";
        }
        ASSERT_EQ(shown(text), expected) << step;
    }
    EXPECT_EQ(id(text->mutableCopy()), id(text));
}

}  // namespace qz::test
