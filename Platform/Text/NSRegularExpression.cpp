#include "Platform/Text/NSRegularExpression.h"

#include <unicode/regex.h>

#include <utility>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/UTF16.h"

namespace qz {

struct NSRegularExpression::Compiled {
    icu::RegexPattern pattern;  // immutable, so that threads may share it
    std::size_t numberOfGroups;
};

namespace {

using Options = NSRegularExpressionOptions;

template <class Flags>
bool has(Flags flags, Flags flag) {
    return (static_cast<std::uint64_t>(flags) & static_cast<std::uint64_t>(flag)) != 0;
}

std::uint32_t flagsForICU(Options options) {
    constexpr std::pair<Options, std::uint32_t> table[] = {
        {Options::CaseInsensitive, UREGEX_CASE_INSENSITIVE},
        {Options::AllowCommentsAndWhitespace, UREGEX_COMMENTS},
        {Options::IgnoreMetacharacters, UREGEX_LITERAL},
        {Options::DotMatchesLineSeparators, UREGEX_DOTALL},
        {Options::AnchorsMatchLines, UREGEX_MULTILINE},
        {Options::UseUnixLineSeparators, UREGEX_UNIX_LINES},
        {Options::UseUnicodeWordBoundaries, UREGEX_UWORD},
    };
    std::uint32_t flags = 0;
    for (const auto& [option, flag] : table) {
        flags |= has(options, option) ? flag : 0;
    }
    return flags;
}

icu::UnicodeString unicodeString(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

Ref<NSError> patternError(std::string_view pattern, UErrorCode status, const UParseError& place) {
    auto description =
        "The pattern \"" + std::string(pattern) + "\" is no regular expression: " + u_errorName(status);
    if (place.line > 0) {
        description +=
            " in line " + std::to_string(place.line) + " at character " + std::to_string(place.offset);
    }
    return NSError::errorWithDomain(std::string(NSCocoaErrorDomain),
                                    static_cast<std::int64_t>(NSCocoaErrorCode::Formatting),
                                    NSDictionary::dictionary({{NSLocalizedDescriptionKey, description}}));
}

/// The positions of a match as ranges.
std::vector<NSRange> rangesOf(const icu::RegexMatcher& matcher) {
    std::vector<NSRange> ranges;
    const auto count = matcher.groupCount();
    ranges.reserve(static_cast<std::size_t>(count) + 1);
    for (std::int32_t group = 0; group <= count; ++group) {
        UErrorCode error = U_ZERO_ERROR;
        const auto start = matcher.start(group, error);
        const auto end = matcher.end(group, error);
        ranges.push_back(
            start < 0 ? NSRangeNotFound
                      : NSRange{static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)});
    }
    return ranges;
}

void logEnd(std::string_view pattern, UErrorCode error) {
    DDLog::sharedInstance()->log(true, LogLevel::All, LogFlag::Warning, 0, __FILE__, __func__, __LINE__,
                                 nullptr, "The search for \"%@\" was ended: %s", pattern, u_errorName(error));
}

}  // namespace

QZ_DEFINE_CLASS(NSRegularExpression, cls) {
    using Self = NSRegularExpression;
    cls.classMethod("regularExpressionWithPattern:options:error:",
                    [](Class&, std::string_view pattern, Options options, Ref<NSError>* error) {
                        return regularExpressionWithPattern(pattern, options, error);
                    });
    cls.property("pattern", &Self::pattern);
    cls.property("options", &Self::options);
    cls.property("numberOfCaptureGroups", &Self::numberOfCaptureGroups);
}

NSRegularExpression::NSRegularExpression(std::string pattern, Options options,
                                         std::unique_ptr<const Compiled> compiled)
    : pattern_(std::move(pattern)),
      options_(options),
      compiled_(std::move(compiled)),
      numberOfGroups_(compiled_->numberOfGroups) {}

NSRegularExpression::~NSRegularExpression() = default;

Ref<NSRegularExpression> NSRegularExpression::regularExpressionWithPattern(std::string_view pattern,
                                                                           Options options,
                                                                           Ref<NSError>* error) {
    UErrorCode status = pattern.size() > INT32_MAX ? U_ILLEGAL_ARGUMENT_ERROR : U_ZERO_ERROR;
    UParseError place{};
    std::unique_ptr<icu::RegexPattern> compiled;
    std::int32_t groups = 0;
    if (U_SUCCESS(status)) {
        compiled.reset(
            icu::RegexPattern::compile(unicodeString(pattern), flagsForICU(options), place, status));
    }
    if (U_SUCCESS(status)) {
        const std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(status));
        groups = U_SUCCESS(status) ? matcher->groupCount() : 0;
    }
    if (U_FAILURE(status)) {
        if (error) {
            *error = patternError(pattern, status, place);
        }
        return nullptr;
    }
    return make<NSRegularExpression>(
        std::string(pattern), options,
        std::make_unique<const Compiled>(Compiled{*compiled, static_cast<std::size_t>(groups)}));
}

std::optional<std::size_t> NSRegularExpression::numberOfGroupWithName(std::string_view name) const {
    UErrorCode error = U_ZERO_ERROR;
    const auto group = compiled_->pattern.groupNumberFromName(unicodeString(name), error);
    return U_SUCCESS(error) ? std::optional(static_cast<std::size_t>(group)) : std::nullopt;
}

/// Calls `found(matcher)` for each match until it answers false.
template <class F>
void NSRegularExpression::search(std::u16string_view string, NSMatchingOptions options, NSRange range,
                                 F&& found) const {
    if (!range.isWithin(string.size()) || string.size() > INT32_MAX) {
        raise(NSRangeException, "the range {" + std::to_string(range.location) + ", " +
                                    std::to_string(range.length) + "} is not in a text of " +
                                    std::to_string(string.size()) + " units");
    }
    // An alias of the caller's units, which outlive the search.
    const icu::UnicodeString text(false, string.data(), static_cast<std::int32_t>(string.size()));
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexMatcher> matcher(compiled_->pattern.matcher(text, error));
    if (U_SUCCESS(error)) {
        matcher->setTimeLimit(stepLimit, error);
        matcher->setStackLimit(stackLimit, error);
        matcher->region(static_cast<std::int64_t>(range.location), static_cast<std::int64_t>(range.end()),
                        error);
        matcher->useTransparentBounds(has(options, NSMatchingOptions::WithTransparentBounds));
        matcher->useAnchoringBounds(!has(options, NSMatchingOptions::WithoutAnchoringBounds));
    }
    auto expected = static_cast<std::int32_t>(range.location);
    while (U_SUCCESS(error) && matcher->find(error)) {
        if (has(options, NSMatchingOptions::Anchored) && matcher->start(error) != expected) {
            break;
        }
        expected = matcher->end(error);
        if (!found(*matcher)) {
            break;
        }
    }
    if (U_FAILURE(error)) {
        logEnd(pattern_, error);
    }
}

void NSRegularExpression::enumerateMatchesInString(std::u16string_view string, NSMatchingOptions options,
                                                   NSRange range, const Block& usingBlock) const {
    const auto self = refTo(*this);
    search(string, options, range, [&](const icu::RegexMatcher& matcher) {
        bool stop = false;
        usingBlock(NSTextCheckingResult::regularExpressionCheckingResultWithRanges(rangesOf(matcher), self),
                   stop);
        return !stop;
    });
}

std::vector<Ref<NSTextCheckingResult>> NSRegularExpression::matchesInString(std::u16string_view string,
                                                                            NSMatchingOptions options,
                                                                            NSRange range) const {
    std::vector<Ref<NSTextCheckingResult>> matches;
    enumerateMatchesInString(string, options, range,
                             [&](const auto& match, bool&) { matches.push_back(match); });
    return matches;
}

std::size_t NSRegularExpression::numberOfMatchesInString(std::u16string_view string,
                                                         NSMatchingOptions options, NSRange range) const {
    std::size_t count = 0;
    search(string, options, range, [&](const icu::RegexMatcher&) {
        ++count;
        return true;
    });
    return count;
}

Ref<NSTextCheckingResult> NSRegularExpression::firstMatchInString(std::u16string_view string,
                                                                  NSMatchingOptions options,
                                                                  NSRange range) const {
    Ref<NSTextCheckingResult> first;
    enumerateMatchesInString(string, options, range, [&](const auto& match, bool& stop) {
        first = match;
        stop = true;
    });
    return first;
}

std::vector<Ref<NSTextCheckingResult>> NSRegularExpression::matchesInString(std::string_view string) const {
    const auto units = utf16(string);
    return matchesInString(units, NSMatchingOptions::None, {0, units.size()});
}

Ref<NSTextCheckingResult> NSRegularExpression::firstMatchInString(std::string_view string) const {
    const auto units = utf16(string);
    return firstMatchInString(units, NSMatchingOptions::None, {0, units.size()});
}

}  // namespace qz
