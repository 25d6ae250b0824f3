// FontFaces: which faces of which families there are, and so which traits a font can have.
//
//     const auto faces = FontFaces::current();
//     const auto bold = faces->faceOfFamily("DejaVu Sans", UIFontDescriptorSymbolicTraits::Bold);
//
// At first the faces are those that fontconfig knows, listed once, when the first font is made (some
// milliseconds). A program that draws with faces of its own, or that is to look alike on every machine, says
// which they are:
//
//     FontFaces::setCurrent(std::make_shared<FontFaces>(std::move(faces), "Reader Sans"));
//
// A list is immutable; all of it may be called from any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/Export.h"

namespace qz {

/// They are joined with |.
enum class UIFontDescriptorSymbolicTraits : std::uint32_t {
    None = 0,
    Italic = 1 << 0,
    Bold = 1 << 1,
    Monospace = 1 << 10,
};
[[nodiscard]] constexpr UIFontDescriptorSymbolicTraits operator|(
    UIFontDescriptorSymbolicTraits left, UIFontDescriptorSymbolicTraits right) noexcept {
    return static_cast<UIFontDescriptorSymbolicTraits>(static_cast<std::uint32_t>(left) |
                                                       static_cast<std::uint32_t>(right));
}
[[nodiscard]] constexpr bool hasTrait(UIFontDescriptorSymbolicTraits traits,
                                      UIFontDescriptorSymbolicTraits trait) noexcept {
    return (static_cast<std::uint32_t>(traits) & static_cast<std::uint32_t>(trait)) != 0;
}

struct FontFace {
    std::string name;    // its PostScript name: "DejaVuSans-Bold"
    std::string family;  // "DejaVu Sans"
    UIFontDescriptorSymbolicTraits traits = UIFontDescriptorSymbolicTraits::None;
};

class QZ_EXPORT FontFaces {
public:
    /// Of several faces with the same family and traits, or the same name, the first counts.
    FontFaces(std::vector<FontFace> faces, std::string systemFamily);

    /// Those that new fonts are made of.
    [[nodiscard]] static std::shared_ptr<const FontFaces> current();
    /// Null: those of the system, listed anew.
    static void setCurrent(std::shared_ptr<const FontFaces> faces);

    /// The family of the user interface.
    [[nodiscard]] const std::string& systemFamily() const noexcept { return systemFamily_; }

    /// By its name, or else the plainest one of the family of that name; without regard to case in ASCII.
    /// Null when there is none.
    [[nodiscard]] const FontFace* faceNamed(std::string_view name) const;

    /// The face of a family that is bold, italic and monospaced as asked. Families of one design have
    /// monospaced faces under a name of their own: "DejaVu Sans Mono" counts for "DejaVu Sans", and
    /// "Liberation Mono" for "Liberation Sans". Null when there is none.
    [[nodiscard]] const FontFace* faceOfFamily(std::string_view family,
                                               UIFontDescriptorSymbolicTraits traits) const;

private:
    std::vector<FontFace> faces_;
    std::string systemFamily_;
    std::unordered_map<std::string, std::size_t> byName_;                 // folded names
    std::unordered_map<std::string, std::vector<std::size_t>> byFamily_;  // folded names
};

}  // namespace qz
