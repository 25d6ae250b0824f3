// NSTextCheckingResult: one match of a regular expression: the range of the whole and of each group.
//
//     const auto tag = match->rangeAtIndex(1);
//     const auto attributes = match->rangeWithName("attrs");
//     if (attributes.location != NSNotFound) { … }
//
// Ranges count UTF-16 units of the text that was searched; a group that took no part has the location
// NSNotFound and the length 0. Immutable; may be used from several threads at once.
#pragma once

#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSRange.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSRegularExpression;

class QZ_EXPORT NSTextCheckingResult : public NSObject {
    QZ_OBJECT(NSTextCheckingResult, NSObject)
public:
    /// The ranges begin with that of the whole match. The expression may be null: names are then unknown.
    [[nodiscard]] static Ref<NSTextCheckingResult> regularExpressionCheckingResultWithRanges(
        std::vector<NSRange> ranges, Ref<const NSRegularExpression> regularExpression);

    /// That of the whole match.
    [[nodiscard]] NSRange range() const noexcept { return ranges_.front(); }
    /// The number of groups and one.
    [[nodiscard]] std::size_t numberOfRanges() const noexcept { return ranges_.size(); }
    /// 0 is the whole match. Raises NSRangeException unless index < numberOfRanges().
    [[nodiscard]] NSRange rangeAtIndex(std::size_t index) const;
    /// Not found for a name that the expression does not have, too.
    [[nodiscard]] NSRange rangeWithName(std::string_view name) const;

protected:
    NSTextCheckingResult(std::vector<NSRange> ranges, Ref<const NSRegularExpression> expression)
        : ranges_(std::move(ranges)), expression_(std::move(expression)) {}

private:
    const std::vector<NSRange> ranges_;
    const Ref<const NSRegularExpression> expression_;
};

}  // namespace qz
