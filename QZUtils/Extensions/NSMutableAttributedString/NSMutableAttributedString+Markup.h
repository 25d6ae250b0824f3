// NSMutableAttributedString(Markup): small tags in interface texts ("<b>today</b>") become attributes.
//
//     processCommonMarkupSupportNesting(text, true);
//
//     processMarkupWithCustomizerBlock(text, [](const auto& tag, const auto&, const auto&) {
//         return tag == "hot" ? NSDictionary::dictionary({{NSForegroundColorAttributeName, red}}) : nullptr;
//     }, true);
//
// A tag is what "<(\S+)(?:\s+(?<attrs>.*))?>(?<text>.*?)</(\1)>" matches, so both its ends stand in one line,
// and what has no end stays as it is. The expression is greedy, and texts are written for it: of two links
// in one line the first opening and the second closing tag are one match, whose attributes hold what stands
// between them. Attributes are name="value", name='value' or name=value, with two characters at least in a
// value; a later one of the same name counts.
//
// There are two modes. Run by run, the customizer is asked once for each run of the enclosed text, and passes
// follow each other until no tag is left, so that nested tags of different names are all found: outer ones
// first. As a whole, which is for texts of one run without nesting, it is asked once a tag, and there is a
// single pass. Within a pass the last tag comes first.
//
// A pass is linear in the text but for a logarithm, also for hostile texts: 100 KB with five thousand tags
// take some tens of milliseconds, whether in one line or in many. There are as many passes as tags are
// nested. Confined to the calling thread and its text.
#pragma once

#include <functional>
#include <string>

#include "Platform/Export.h"
#include "Platform/Text/NSAttributedString.h"

namespace qz {

/// Gets a tag's name, its attributes (texts by name; null when the tag has none) and those of the text, and
/// answers what to add to these; null or empty for nothing.
using MarkupCustomizerBlock =
    std::function<Ref<NSDictionary>(const std::string& tag, const Ref<NSDictionary>& markupAttributes,
                                    const Ref<NSDictionary>& textAttributes)>;

/// Changes the text in place; a null one is left alone. Without nesting, texts of several runs are processed
/// run by run all the same. A null block adds nothing; the tags go.
QZ_EXPORT void processMarkupWithCustomizerBlock(const Ref<NSMutableAttributedString>& self,
                                                const MarkupCustomizerBlock& customizerBlock,
                                                bool supportNesting);

/// With the common tags: b, strong, i, em and code give the run's font the trait, in the same size, where
/// there is such a face (UIFont.h); u underlines, s and del strike through. Any other tag whose attribute
/// "href" is a URL links to it and underlines; with "__linkAsAttachment" true, the URL is an attachment
/// instead.
QZ_EXPORT void processCommonMarkupSupportNesting(const Ref<NSMutableAttributedString>& self,
                                                 bool supportNesting);

/// What the common tags add; a customizer of one's own can go on to it.
[[nodiscard]] QZ_EXPORT Ref<NSDictionary> commonMarkupAttributes(const std::string& tag,
                                                                 const Ref<NSDictionary>& markupAttributes,
                                                                 const Ref<NSDictionary>& textAttributes);

}  // namespace qz
