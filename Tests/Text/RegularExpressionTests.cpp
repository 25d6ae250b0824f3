// Regular expressions: groups and ranges, options, bounds, and an end to every search.
#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Text/NSRegularExpression.h"
#include "Platform/Text/UTF16.h"

namespace qz::test {

using Options = NSRegularExpressionOptions;
using Matching = NSMatchingOptions;

Ref<NSRegularExpression> expression(std::string_view pattern, Options options = Options::None) {
    Ref<NSError> error;
    auto compiled = NSRegularExpression::regularExpressionWithPattern(pattern, options, &error);
    EXPECT_TRUE(compiled) << (error ? error->localizedDescription() : "");
    return compiled;
}

std::vector<std::string> matches(std::string_view pattern, Options options, std::u16string_view text,
                                 Matching matching = Matching::None, std::optional<NSRange> range = {}) {
    std::vector<std::string> found;
    for (const auto& match : expression(pattern, options)
                                 ->matchesInString(text, matching, range.value_or(NSRange{0, text.size()}))) {
        found.push_back(utf8(text.substr(match->range().location, match->range().length)));
    }
    return found;
}

TEST(RegularExpression, CountsRangesInUTF16AndKnowsGroupsByName) {
    const auto pattern = expression(R"((?<word>\p{L}+)(?<digits>\d+)?(!)?)");
    EXPECT_EQ(pattern->numberOfCaptureGroups(), 3U);
    const auto match = pattern->firstMatchInString("\U0001F4F0 größe!");
    ASSERT_TRUE(match);
    EXPECT_EQ(match->numberOfRanges(), 4U);
    EXPECT_EQ(match->range(), (NSRange{3, 6}));  // the newspaper takes two units
    EXPECT_EQ(match->rangeWithName("word"), (NSRange{3, 5}));
    EXPECT_EQ(match->rangeWithName("digits"), NSRangeNotFound);
    EXPECT_EQ(match->rangeWithName("none"), NSRangeNotFound);
    EXPECT_EQ(match->rangeAtIndex(3), (NSRange{8, 1}));
    EXPECT_THROW(static_cast<void>(match->rangeAtIndex(4)), NSException);
    EXPECT_FALSE(pattern->firstMatchInString("123"));
}

TEST(RegularExpression, FollowsItsOptions) {
    using Texts = std::vector<std::string>;
    EXPECT_EQ(matches("A", Options::CaseInsensitive, u"aA"), (Texts{"a", "A"}));
    EXPECT_EQ(matches("a b # c", Options::AllowCommentsAndWhitespace, u"ab"), (Texts{"ab"}));
    EXPECT_EQ(matches("a.", Options::IgnoreMetacharacters, u"ab a."), (Texts{"a."}));
    EXPECT_EQ(matches("a.b", Options::None, u"a\nb"), Texts());
    EXPECT_EQ(matches("a.b", Options::DotMatchesLineSeparators, u"a\nb"), (Texts{"a\nb"}));
    EXPECT_EQ(matches("^.", Options::AnchorsMatchLines | Options::DotMatchesLineSeparators, u"a\nb"),
              (Texts{"a", "b"}));
    EXPECT_EQ(matches("a.b", Options::UseUnixLineSeparators, u"a\u0085b"), (Texts{"a\u0085b"}));
    EXPECT_EQ(matches(R"(\b.+?\b)", Options::UseUnicodeWordBoundaries, u"can't"), (Texts{"can't"}));
}

TEST(RegularExpression, SearchesARangeWithTheBoundsAskedFor) {
    using Texts = std::vector<std::string>;
    const NSRange middle{2, 3};
    EXPECT_EQ(matches("^b+$", Options::None, u"aabbbaa", Matching::None, middle), (Texts{"bbb"}));
    EXPECT_EQ(matches("^b+$", Options::None, u"aabbbaa", Matching::WithoutAnchoringBounds, middle), Texts());
    EXPECT_EQ(matches("b(?=a)", Options::None, u"aabbbaa", Matching::None, middle), Texts());
    EXPECT_EQ(matches("b(?=a)", Options::None, u"aabbbaa", Matching::WithTransparentBounds, middle),
              (Texts{"b"}));
    EXPECT_EQ(matches("a", Options::None, u"aaba", Matching::Anchored), (Texts{"a", "a"}));
    EXPECT_EQ(matches("b", Options::None, u"aaba", Matching::Anchored), Texts());
    EXPECT_THROW(matches("a", Options::None, u"aa", Matching::None, NSRange{1, 2}), NSException);
    EXPECT_THROW(matches("a", Options::None, u"aa", Matching::None, NSRange{1, SIZE_MAX}), NSException);
}

TEST(RegularExpression, RefusesPatternsThatDoNotCompile) {
    for (const auto* pattern : {"(", "[a", "*", "(?<a>x)(?<a>y)", R"(\1)"}) {
        Ref<NSError> error;
        EXPECT_FALSE(NSRegularExpression::regularExpressionWithPattern(pattern, Options::None, &error));
        ASSERT_TRUE(error) << pattern;
        EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
        EXPECT_EQ(error->code(), 2048);
        EXPECT_FALSE(NSRegularExpression::regularExpressionWithPattern(pattern, Options::None, nullptr));
    }
}

TEST(RegularExpression, StopsWhenTheBlockAsksForIt) {
    std::size_t calls = 0;
    expression("a")->enumerateMatchesInString(u"aaaa", Matching::None, {0, 4},
                                              [&](const auto&, bool& stop) { stop = ++calls == 2; });
    EXPECT_EQ(calls, 2U);
    EXPECT_EQ(expression("a")->numberOfMatchesInString(u"aaaa", Matching::None, {1, 3}), 3U);
}

TEST(RegularExpression, EndsSearchesThatWouldTakeForEverOrTooMuchMemory) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(expression("(a+)+b")->firstMatchInString(std::string(64, 'a')));
    EXPECT_FALSE(expression("(?:a|b)*c")->firstMatchInString(std::string(std::size_t{8} << 20, 'a')));
    // What was found before stays found.
    EXPECT_EQ(expression("b|(a+)+c")->matchesInString("b" + std::string(64, 'a')).size(), 1U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(120));
}

TEST(RegularExpression, IsSharedByThreads) {
    const auto shared = expression(R"((\d+)-(\d+))");
    std::atomic<int> found = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                const auto match = shared->firstMatchInString("no " + std::to_string(i) + "-7");
                found += match && match->rangeAtIndex(2).length == 1;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(found, 2000);
}

}  // namespace qz::test
