// The tags of markup texts. They are what two regular expressions find,
//
//     <(\S+)(?:\s+(?<attrs>.*))?>(?<text>.*?)</(\1)>
//     (?<name>\S+)=["']?(?<value>(?:.(?!["']?\s+(?:\S+)=|\s*\/?[>"']))+.)["']?
//
// to the letter, the greediness of the attributes included: two links in one line are one match, from the
// first opening tag to the last closing one. They are searched for by hand because going back through these
// expressions takes time that grows with the square of a line, and a stack as long as the line. Here it is
// n log(n)^2 for any text of n units. Safe from any thread.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "Platform/Foundation/NSRange.h"
#include "Platform/Runtime/Id.h"

namespace qz {
class NSDictionary;
}

namespace qz::internal {

struct MarkupTag {
    NSRange whole;
    NSRange name;
    std::optional<NSRange> attributes;
    NSRange text;
};

/// All matches of the first expression, from left to right.
[[nodiscard]] std::vector<MarkupTag> markupTags(std::u16string_view text);

/// The matches of the second expression in the attributes of a tag, value by name; a later one of the same
/// name counts.
[[nodiscard]] Ref<NSDictionary> markupAttributes(std::u16string_view attributes);

}  // namespace qz::internal
