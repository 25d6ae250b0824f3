#include "Platform/Text/UIFont.h"

#include <functional>
#include <utility>

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(UIFontDescriptor, cls) {
    cls.property("symbolicTraits", &UIFontDescriptor::symbolicTraits);
    cls.property("postscriptName", &UIFontDescriptor::postscriptName);
    cls.property("pointSize", &UIFontDescriptor::pointSize);
    cls.method("fontDescriptorWithSymbolicTraits:", &UIFontDescriptor::fontDescriptorWithSymbolicTraits);
}

QZ_DEFINE_CLASS(UIFont, cls) {
    cls.classMethod("fontWithName:size:",
                    [](Class&, std::string_view name, double size) { return fontWithName(name, size); });
    cls.classMethod("systemFontOfSize:", [](Class&, double size) { return systemFontOfSize(size); });
    cls.classMethod("fontWithDescriptor:size:",
                    [](Class&, const Ref<UIFontDescriptor>& descriptor, double size) {
                        return fontWithDescriptor(descriptor, size);
                    });
    cls.property("fontName", &UIFont::fontName);
    cls.property("familyName", &UIFont::familyName);
    cls.property("pointSize", &UIFont::pointSize);
    cls.property("fontDescriptor", &UIFont::fontDescriptor);
    cls.method("isEqual:", [](const UIFont& self, const id& other) {
        const auto font = other.as<UIFont>();
        return font && font->fontName() == self.fontName() && font->pointSize() == self.pointSize();
    });
    cls.method("hash", [](const UIFont& self) {
        return std::hash<std::string>()(self.fontName()) ^ std::hash<double>()(self.pointSize());
    });
    cls.method("description", [](const UIFont& self) {
        return "<UIFont: " + self.fontName() + " " + std::to_string(self.pointSize()) + ">";
    });
}

Ref<UIFontDescriptor> UIFontDescriptor::fontDescriptorWithFace(FontFace face, double size) {
    return make<UIFontDescriptor>(std::move(face), size);
}

Ref<UIFontDescriptor> UIFontDescriptor::fontDescriptorWithSymbolicTraits(
    UIFontDescriptorSymbolicTraits traits) const {
    const auto faces = FontFaces::current();
    const auto* face = faces->faceOfFamily(face_.family, traits);
    return face ? fontDescriptorWithFace(*face, size_) : nullptr;
}

Ref<UIFont> UIFont::fontWithName(std::string_view name, double size) {
    const auto faces = FontFaces::current();
    const auto* face = faces->faceNamed(name);
    return face ? make<UIFont>(UIFontDescriptor::fontDescriptorWithFace(*face, size)) : nullptr;
}

Ref<UIFont> UIFont::systemFontOfSize(double size) {
    const auto family = std::string(FontFaces::current()->systemFamily());
    auto font = fontWithName(family, size);
    return font ? font : make<UIFont>(UIFontDescriptor::fontDescriptorWithFace({family, family}, size));
}

Ref<UIFont> UIFont::fontWithDescriptor(const Ref<UIFontDescriptor>& descriptor, double size) {
    if (!descriptor) {
        return nullptr;
    }
    return make<UIFont>(size == 0 ? descriptor
                                  : UIFontDescriptor::fontDescriptorWithFace(descriptor->face(), size));
}

}  // namespace qz
