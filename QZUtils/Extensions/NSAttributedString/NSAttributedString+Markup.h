// NSAttributedString(Markup): attributed texts made of plain ones with small tags.
//
//     const auto text = NSAttributedStringClass::attributedStringWithCommonMarkupString(
//         "Read <b>today</b>", NSDictionary::dictionary({{NSFontAttributeName,
//         UIFont::systemFontOfSize(14)}}));
//
// Tags, modes and cost are those of NSMutableAttributedString+Markup.h. Each makes a new text of the string
// with the attributes (null: none) and processes it; null for a nil string. The forms without
// `supportNesting` support it. Safe from any thread.
#pragma once

#include "Platform/Export.h"
#include "Platform/Runtime/Text.h"
#include "QZUtils/Extensions/NSMutableAttributedString/NSMutableAttributedString+Markup.h"

namespace qz::NSAttributedStringClass {

[[nodiscard]] QZ_EXPORT Ref<NSMutableAttributedString> attributedStringWithMarkupString(
    Text string, bool supportNesting, const Ref<NSDictionary>& attributes,
    const MarkupCustomizerBlock& customizerBlock);
[[nodiscard]] QZ_EXPORT Ref<NSMutableAttributedString> attributedStringWithMarkupString(
    Text string, const Ref<NSDictionary>& attributes, const MarkupCustomizerBlock& customizerBlock);

[[nodiscard]] QZ_EXPORT Ref<NSMutableAttributedString> attributedStringWithCommonMarkupString(
    Text string, bool supportNesting, const Ref<NSDictionary>& attributes);
[[nodiscard]] QZ_EXPORT Ref<NSMutableAttributedString> attributedStringWithCommonMarkupString(
    Text string, const Ref<NSDictionary>& attributes);

}  // namespace qz::NSAttributedStringClass
