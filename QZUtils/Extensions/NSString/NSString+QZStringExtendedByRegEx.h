// NSString(QZStringExtendedByRegEx): a part of a text by a regular expression.
//
//     stringByMatching("page 12", R"(page (\d+))", 1, NSRegularExpressionOptions::None);   // "12"
//
// The pattern is compiled at each call; keep an NSRegularExpression for patterns that are used often. Safe
// from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Text.h"
#include "Platform/Text/NSRegularExpression.h"

namespace qz {

/// The group of the first match, or the whole match for a group that the pattern is too far from having.
/// Nullopt for nil, for no match, for a group that took no part, and for a pattern that does not compile.
///
/// A number that is one more than that of the last group raises NSRangeException instead of standing for the
/// whole match: the bound is the number of ranges, which counts the whole match too, and callers rely on it.
[[nodiscard]] QZ_EXPORT std::optional<std::string> stringByMatching(Text self, std::string_view pattern,
                                                                    std::size_t captureNumber,
                                                                    NSRegularExpressionOptions options);

}  // namespace qz
