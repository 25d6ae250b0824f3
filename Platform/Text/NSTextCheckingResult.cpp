#include "Platform/Text/NSTextCheckingResult.h"

#include "Platform/Foundation/Containers.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/NSRegularExpression.h"

namespace qz {

QZ_DEFINE_CLASS(NSTextCheckingResult, cls) {
    cls.property("range", &NSTextCheckingResult::range);
    cls.property("numberOfRanges", &NSTextCheckingResult::numberOfRanges);
    cls.method("rangeAtIndex:", &NSTextCheckingResult::rangeAtIndex);
    cls.method("rangeWithName:", &NSTextCheckingResult::rangeWithName);
}

Ref<NSTextCheckingResult> NSTextCheckingResult::regularExpressionCheckingResultWithRanges(
    std::vector<NSRange> ranges, Ref<const NSRegularExpression> regularExpression) {
    if (ranges.empty()) {
        raise(NSInvalidArgumentException, "a match has at least the range of the whole");
    }
    return make<NSTextCheckingResult>(std::move(ranges), std::move(regularExpression));
}

NSRange NSTextCheckingResult::rangeAtIndex(std::size_t index) const {
    internal::checkIndex(index, ranges_.size());
    return ranges_[index];
}

NSRange NSTextCheckingResult::rangeWithName(std::string_view name) const {
    const auto group = expression_ ? expression_->numberOfGroupWithName(name) : std::nullopt;
    return group && *group < ranges_.size() ? ranges_[*group] : NSRangeNotFound;
}

}  // namespace qz
