// NSRegularExpression: a compiled pattern, searched for in texts. The syntax is ICU's
// (https://unicode-org.github.io/icu/userguide/strings/regexp.html), named groups included.
//
//     Ref<NSError> error;
//     const auto expression = NSRegularExpression::regularExpressionWithPattern(
//         R"((?<key>\w+)=(?<value>\w*))", NSRegularExpressionOptions::CaseInsensitive, &error);
//     for (const auto& match : expression->matchesInString(text, {}, {0, text.size()})) { … }
//
// Texts are given as UTF-16, in whose units ranges are counted (UTF16.h), or as UTF-8, which is converted at
// each call.
//
// Some patterns need time that grows exponentially with the text ("(a+)+b"), or as much memory as the text
// is long. One call may therefore take stepLimit and stackLimit: beyond these it ends as if there were no
// further match, and a line of the log says so. What is allowed must not be decided by a pattern's not
// matching.
//
// Compiling costs some microseconds, a search of a short text about one. Immutable: any number of threads
// may search with the same expression at once, without a lock.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSRange.h"
#include "Platform/Text/NSTextCheckingResult.h"

namespace qz {

class NSError;

/// How a pattern is read; they are joined with |.
enum class NSRegularExpressionOptions : std::uint64_t {
    None = 0,
    CaseInsensitive = 1 << 0,
    AllowCommentsAndWhitespace = 1 << 1,
    IgnoreMetacharacters = 1 << 2,  // the pattern is plain text
    DotMatchesLineSeparators = 1 << 3,
    AnchorsMatchLines = 1 << 4,      // ^ and $ at each line
    UseUnixLineSeparators = 1 << 5,  // only a line feed ends a line
    UseUnicodeWordBoundaries = 1 << 6,
};
[[nodiscard]] constexpr NSRegularExpressionOptions operator|(NSRegularExpressionOptions left,
                                                             NSRegularExpressionOptions right) noexcept {
    return static_cast<NSRegularExpressionOptions>(static_cast<std::uint64_t>(left) |
                                                   static_cast<std::uint64_t>(right));
}

/// How the ends of the searched range count; they are joined with |.
enum class NSMatchingOptions : std::uint64_t {
    None = 0,
    Anchored = 1 << 2,  // only a match at the beginning of the range, and at the end of the one before
    WithTransparentBounds = 1 << 3,   // lookahead, lookbehind and word boundaries see beyond the range
    WithoutAnchoringBounds = 1 << 4,  // ^ and $ match at the ends of the text, not of the range
};
[[nodiscard]] constexpr NSMatchingOptions operator|(NSMatchingOptions left,
                                                    NSMatchingOptions right) noexcept {
    return static_cast<NSMatchingOptions>(static_cast<std::uint64_t>(left) |
                                          static_cast<std::uint64_t>(right));
}

class QZ_EXPORT NSRegularExpression : public NSObject {
    QZ_OBJECT(NSRegularExpression, NSObject)
public:
    /// What one call may take: steps, in units of ten thousand (one or two seconds in all), and bytes for
    /// going back in the text.
    static constexpr std::int32_t stepLimit = 10'000;
    static constexpr std::int32_t stackLimit = 8'000'000;

    /// Null with an error (NSCocoaErrorDomain, 2048) that says where when the pattern cannot be compiled.
    /// `error` may be null.
    [[nodiscard]] static Ref<NSRegularExpression> regularExpressionWithPattern(
        std::string_view pattern, NSRegularExpressionOptions options, Ref<NSError>* error);

    ~NSRegularExpression() override;

    [[nodiscard]] const std::string& pattern() const noexcept { return pattern_; }
    [[nodiscard]] NSRegularExpressionOptions options() const noexcept { return options_; }
    [[nodiscard]] std::size_t numberOfCaptureGroups() const noexcept { return numberOfGroups_; }
    /// Nullopt for a name that the pattern does not have.
    [[nodiscard]] std::optional<std::size_t> numberOfGroupWithName(std::string_view name) const;

    // Each searches a range of a text, from left to right, for matches that do not overlap, and raises
    // NSRangeException when the range is not in the text.

    /// The block gets each match as it is found, and ends the search by setting `stop`.
    using Block = std::function<void(const Ref<NSTextCheckingResult>& match, bool& stop)>;
    void enumerateMatchesInString(std::u16string_view string, NSMatchingOptions options, NSRange range,
                                  const Block& usingBlock) const;
    [[nodiscard]] std::vector<Ref<NSTextCheckingResult>> matchesInString(std::u16string_view string,
                                                                         NSMatchingOptions options,
                                                                         NSRange range) const;
    [[nodiscard]] std::size_t numberOfMatchesInString(std::u16string_view string, NSMatchingOptions options,
                                                      NSRange range) const;
    /// Null when there is none.
    [[nodiscard]] Ref<NSTextCheckingResult> firstMatchInString(std::u16string_view string,
                                                               NSMatchingOptions options,
                                                               NSRange range) const;

    // The same over the whole of a UTF-8 text.

    [[nodiscard]] std::vector<Ref<NSTextCheckingResult>> matchesInString(std::string_view string) const;
    [[nodiscard]] Ref<NSTextCheckingResult> firstMatchInString(std::string_view string) const;

protected:
    struct Compiled;
    NSRegularExpression(std::string pattern, NSRegularExpressionOptions options,
                        std::unique_ptr<const Compiled> compiled);

private:
    template <class F>
    void search(std::u16string_view string, NSMatchingOptions options, NSRange range, F&& found) const;

    const std::string pattern_;
    const NSRegularExpressionOptions options_;
    const std::unique_ptr<const Compiled> compiled_;
    const std::size_t numberOfGroups_;
};

}  // namespace qz
