// UIFont and UIFontDescriptor: a face in a size, and what leads to another face of the same design.
//
//     const auto font = UIFont::systemFontOfSize(14);
//     const auto descriptor = font->fontDescriptor();
//     const auto bold = descriptor->fontDescriptorWithSymbolicTraits(
//         descriptor->symbolicTraits() | UIFontDescriptorSymbolicTraits::Bold);
//     if (bold) {
//         text->addAttribute(NSFontAttributeName, UIFont::fontWithDescriptor(bold, 0), range);
//     }
//
// A font names a face of FontFaces::current() and draws nothing. Traits exist only where a face does: a
// family without italics has no italic font. Sizes are points. Fonts are equal when face and size are.
// Immutable; may be used from several threads at once.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Text/FontFaces.h"

namespace qz {

class QZ_EXPORT UIFontDescriptor : public NSObject {
    QZ_OBJECT(UIFontDescriptor, NSObject)
public:
    [[nodiscard]] static Ref<UIFontDescriptor> fontDescriptorWithFace(FontFace face, double size);

    /// Of the same family and size, with just these traits; null when there is no such face.
    [[nodiscard]] Ref<UIFontDescriptor> fontDescriptorWithSymbolicTraits(
        UIFontDescriptorSymbolicTraits traits) const;

    [[nodiscard]] const FontFace& face() const noexcept { return face_; }
    [[nodiscard]] UIFontDescriptorSymbolicTraits symbolicTraits() const noexcept { return face_.traits; }
    [[nodiscard]] const std::string& postscriptName() const noexcept { return face_.name; }
    [[nodiscard]] double pointSize() const noexcept { return size_; }

protected:
    UIFontDescriptor(FontFace face, double size) : face_(std::move(face)), size_(size) {}

private:
    const FontFace face_;
    const double size_;
};

class QZ_EXPORT UIFont : public NSObject {
    QZ_OBJECT(UIFont, NSObject)
public:
    /// Of a face, or of a family, of that name; null when there is none.
    [[nodiscard]] static Ref<UIFont> fontWithName(std::string_view name, double size);
    /// There always is one, also where no face is known.
    [[nodiscard]] static Ref<UIFont> systemFontOfSize(double size);
    /// A size of 0 stands for the descriptor's.
    [[nodiscard]] static Ref<UIFont> fontWithDescriptor(const Ref<UIFontDescriptor>& descriptor, double size);

    /// The face's: "DejaVuSans-Bold".
    [[nodiscard]] const std::string& fontName() const noexcept { return descriptor_->face().name; }
    [[nodiscard]] const std::string& familyName() const noexcept { return descriptor_->face().family; }
    [[nodiscard]] double pointSize() const noexcept { return descriptor_->pointSize(); }
    [[nodiscard]] const Ref<UIFontDescriptor>& fontDescriptor() const noexcept { return descriptor_; }

protected:
    explicit UIFont(Ref<UIFontDescriptor> descriptor) : descriptor_(std::move(descriptor)) {}

private:
    const Ref<UIFontDescriptor> descriptor_;
};

/// The same under the name of other user interfaces.
using NSFont = UIFont;

}  // namespace qz
