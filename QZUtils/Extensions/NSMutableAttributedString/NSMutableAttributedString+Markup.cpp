#include <algorithm>
#include <vector>

#include "Platform/Foundation/NSURL.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/UIFont.h"
#include "Platform/Text/UTF16.h"
#include "QZUtils/Extensions/NSMutableAttributedString/NSMutableAttributedString+Markup.h"
#include "QZUtils/Markup/internal/MarkupTags.h"

namespace qz {

namespace {

using Traits = UIFontDescriptorSymbolicTraits;

/// A text and its tags during one pass.
class MarkupPass {
public:
    MarkupPass(const NSAttributedString& text, const MarkupCustomizerBlock& customizer)
        : text_(text), customizer_(customizer), tags_(internal::markupTags(text.units())) {}

    [[nodiscard]] bool hasTags() const noexcept { return !tags_.empty(); }

    /// What becomes of the text when `enclosed(tag)` stands in each tag's place. The last tag is asked for
    /// first, as if each replaced its place at once.
    template <class F>
    [[nodiscard]] Ref<NSAttributedString> replaced(F&& enclosed) const {
        std::vector<Ref<NSAttributedString>> replacements(tags_.size());
        for (auto i = tags_.size(); i-- > 0;) {
            replacements[i] = enclosed(tags_[i]);
        }
        auto result = NSMutableAttributedString::init();
        std::size_t copied = 0;
        for (std::size_t i = 0; i < tags_.size(); ++i) {
            const auto& whole = tags_[i].whole;
            result->appendAttributedString(
                text_.attributedSubstringFromRange({copied, whole.location - copied}));
            result->appendAttributedString(replacements[i]);
            copied = whole.end();
        }
        result->appendAttributedString(text_.attributedSubstringFromRange({copied, text_.length() - copied}));
        return result;
    }

    /// The text in a tag, with what the customizer adds to each of its runs.
    [[nodiscard]] Ref<NSAttributedString> customizedRuns(const internal::MarkupTag& tag) const {
        const auto name = textIn(tag.name);
        const auto attributes = attributesOf(tag);
        auto enclosed = text_.attributedSubstringFromRange(tag.text)->mutableCopy();
        enclosed->enumerateAttributesInRange(
            {0, enclosed->length()}, [&](const Ref<NSDictionary>& present, NSRange range, bool&) {
                enclosed->addAttributes(customized(name, attributes, present), range);
            });
        return enclosed;
    }

    /// The text in a tag, with what the customizer adds to the attributes of all of the text.
    [[nodiscard]] Ref<NSAttributedString> customizedWhole(const internal::MarkupTag& tag,
                                                          const Ref<NSDictionary>& base) const {
        const auto added = customized(textIn(tag.name), attributesOf(tag), base);
        auto enclosed = text_.attributedSubstringFromRange(tag.text)->mutableCopy();
        enclosed->addAttributes(added, {0, enclosed->length()});
        return enclosed;
    }

private:
    [[nodiscard]] Ref<NSDictionary> customized(const std::string& name, const Ref<NSDictionary>& attributes,
                                               const Ref<NSDictionary>& present) const {
        return customizer_ ? customizer_(name, attributes, present) : nullptr;
    }
    [[nodiscard]] std::u16string_view unitsIn(NSRange range) const {
        return std::u16string_view(text_.units()).substr(range.location, range.length);
    }
    [[nodiscard]] std::string textIn(NSRange range) const { return utf8(unitsIn(range)); }
    [[nodiscard]] Ref<NSDictionary> attributesOf(const internal::MarkupTag& tag) const {
        return tag.attributes ? internal::markupAttributes(unitsIn(*tag.attributes)) : nullptr;
    }

    const NSAttributedString& text_;
    const MarkupCustomizerBlock& customizer_;
    const std::vector<internal::MarkupTag> tags_;
};

void processRunByRun(NSMutableAttributedString& text, const MarkupCustomizerBlock& customizer) {
    for (;;) {
        const MarkupPass pass(text, customizer);
        if (!pass.hasTags()) {
            return;
        }
        text.setAttributedString(pass.replaced([&](const auto& tag) { return pass.customizedRuns(tag); }));
    }
}

void processAsAWhole(NSMutableAttributedString& text, const MarkupCustomizerBlock& customizer,
                     const Ref<NSDictionary>& base) {
    const MarkupPass pass(text, customizer);
    if (pass.hasTags()) {
        text.setAttributedString(
            pass.replaced([&](const auto& tag) { return pass.customizedWhole(tag, base); }));
    }
}

Ref<NSDictionary> withTrait(const Ref<NSDictionary>& textAttributes, Traits trait) {
    const auto font =
        textAttributes ? textAttributes->objectForKey(NSFontAttributeName).as<UIFont>() : nullptr;
    if (!font) {
        return nullptr;
    }
    const auto& present = font->fontDescriptor();
    const auto descriptor = present->fontDescriptorWithSymbolicTraits(present->symbolicTraits() | trait);
    return descriptor
               ? NSDictionary::dictionary({{NSFontAttributeName, UIFont::fontWithDescriptor(descriptor, 0)}})
               : nullptr;
}

/// Whether a text means yes: a digit but 0, behind zeros and a sign, or one of "YyTt", behind blanks.
bool isTrue(const std::string& text) {
    auto at = text.find_first_not_of(" \t\n\r");
    if (at != std::string::npos && (text[at] == '+' || text[at] == '-')) {
        ++at;
    }
    at = text.find_first_not_of('0', at);
    return at != std::string::npos &&
           std::string_view("123456789YyTt").find(text[at]) != std::string_view::npos;
}

Ref<NSDictionary> linkAttributes(const Ref<NSDictionary>& markupAttributes) {
    const auto attribute = [&](std::string_view name) {
        return markupAttributes ? unbox<std::string>(markupAttributes->objectForKey(name)) : std::nullopt;
    };
    const auto url = NSURL::URLWithString(Text(attribute("href")));
    if (!url) {
        return nullptr;
    }
    const auto isAttachment = isTrue(attribute("__linkAsAttachment").value_or(""));
    return NSDictionary::dictionary({{isAttachment ? NSAttachmentAttributeName : NSLinkAttributeName, url},
                                     {NSUnderlineStyleAttributeName, 1}});
}

}  // namespace

QZ_DEFINE_CATEGORY(NSMutableAttributedString, Markup, cls) {
    using Self = NSMutableAttributedString;
    cls.method("processMarkupWithCustomizerBlock:supportNesting:",
               [](Self& self, const MarkupCustomizerBlock& customizerBlock, bool supportNesting) {
                   processMarkupWithCustomizerBlock(refTo(self), customizerBlock, supportNesting);
               });
    cls.method("processCommonMarkupSupportNesting:", [](Self& self, bool supportNesting) {
        processCommonMarkupSupportNesting(refTo(self), supportNesting);
    });
}

void processMarkupWithCustomizerBlock(const Ref<NSMutableAttributedString>& self,
                                      const MarkupCustomizerBlock& customizerBlock, bool supportNesting) {
    if (!self || self->length() == 0) {
        return;
    }
    NSRange range;
    const NSRange whole{0, self->length()};
    const auto base = self->attributesAtIndex(0, &range, whole);
    if (supportNesting || range != whole) {
        processRunByRun(*self, customizerBlock);
    } else {
        processAsAWhole(*self, customizerBlock, base);
    }
}

void processCommonMarkupSupportNesting(const Ref<NSMutableAttributedString>& self, bool supportNesting) {
    processMarkupWithCustomizerBlock(self, &commonMarkupAttributes, supportNesting);
}

Ref<NSDictionary> commonMarkupAttributes(const std::string& tag, const Ref<NSDictionary>& markupAttributes,
                                         const Ref<NSDictionary>& textAttributes) {
    if (tag == "b" || tag == "strong") {
        return withTrait(textAttributes, Traits::Bold);
    }
    if (tag == "i" || tag == "em") {
        return withTrait(textAttributes, Traits::Italic);
    }
    if (tag == "code") {
        return withTrait(textAttributes, Traits::Monospace);
    }
    if (tag == "u") {
        return NSDictionary::dictionary({{NSUnderlineStyleAttributeName, 1}});
    }
    if (tag == "s" || tag == "del") {
        return NSDictionary::dictionary({{NSStrikethroughStyleAttributeName, 1}});
    }
    return linkAttributes(markupAttributes);
}

}  // namespace qz
