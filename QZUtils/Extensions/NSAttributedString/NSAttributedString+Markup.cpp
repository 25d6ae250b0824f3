#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Markup.h"

namespace qz {

QZ_DEFINE_CATEGORY(NSAttributedString, Markup, cls) {
    using namespace NSAttributedStringClass;
    using Attributes = const Ref<NSDictionary>&;
    cls.classMethod("attributedStringWithMarkupString:supportNesting:attributes:customizerBlock:",
                    [](Class&, Text string, bool supportNesting, Attributes attributes,
                       const MarkupCustomizerBlock& block) {
                        return attributedStringWithMarkupString(string, supportNesting, attributes, block);
                    });
    cls.classMethod("attributedStringWithMarkupString:attributes:customizerBlock:",
                    [](Class&, Text string, Attributes attributes, const MarkupCustomizerBlock& block) {
                        return attributedStringWithMarkupString(string, attributes, block);
                    });
    cls.classMethod("attributedStringWithCommonMarkupString:supportNesting:attributes:",
                    [](Class&, Text string, bool supportNesting, Attributes attributes) {
                        return attributedStringWithCommonMarkupString(string, supportNesting, attributes);
                    });
    cls.classMethod("attributedStringWithCommonMarkupString:attributes:",
                    [](Class&, Text string, Attributes attributes) {
                        return attributedStringWithCommonMarkupString(string, attributes);
                    });
}

namespace NSAttributedStringClass {

Ref<NSMutableAttributedString> attributedStringWithMarkupString(
    Text string, bool supportNesting, const Ref<NSDictionary>& attributes,
    const MarkupCustomizerBlock& customizerBlock) {
    if (!string) {
        return nullptr;
    }
    auto made = NSMutableAttributedString::initWithString(string.view(), attributes);
    processMarkupWithCustomizerBlock(made, customizerBlock, supportNesting);
    return made;
}

Ref<NSMutableAttributedString> attributedStringWithMarkupString(
    Text string, const Ref<NSDictionary>& attributes, const MarkupCustomizerBlock& customizerBlock) {
    return attributedStringWithMarkupString(string, true, attributes, customizerBlock);
}

Ref<NSMutableAttributedString> attributedStringWithCommonMarkupString(Text string, bool supportNesting,
                                                                      const Ref<NSDictionary>& attributes) {
    return attributedStringWithMarkupString(string, supportNesting, attributes, &commonMarkupAttributes);
}

Ref<NSMutableAttributedString> attributedStringWithCommonMarkupString(Text string,
                                                                      const Ref<NSDictionary>& attributes) {
    return attributedStringWithCommonMarkupString(string, true, attributes);
}

}  // namespace NSAttributedStringClass

}  // namespace qz
