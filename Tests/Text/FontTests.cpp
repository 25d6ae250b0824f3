// Fonts: which faces stand for which traits, and the system's faces.
#include <gmock/gmock.h>

#include "Platform/Text/UIFont.h"

namespace qz::test {

using Traits = UIFontDescriptorSymbolicTraits;

TEST(FontFaces, FindsFacesByNameFamilyAndTraits) {
    const FontFaces faces({{"A-Bold", "Design Sans", Traits::Bold},
                           {"A", "Design Sans", Traits::None},
                           {"A-Other", "Design Sans", Traits::None},
                           {"AMono", "Design Sans Mono", Traits::Monospace},
                           {"B", "Other Sans", Traits::None},
                           {"BMono-Bold", "Other Mono", Traits::Monospace | Traits::Bold}},
                          "Design Sans");
    const auto named = [](const FontFace* face) { return face ? face->name : "none"; };
    EXPECT_EQ(named(faces.faceNamed("a-BOLD")), "A-Bold");
    EXPECT_EQ(named(faces.faceNamed("design sans")), "A");  // the plainest
    EXPECT_EQ(named(faces.faceNamed("Design")), "none");
    EXPECT_EQ(named(faces.faceOfFamily("Design Sans", Traits::Bold)), "A-Bold");
    EXPECT_EQ(named(faces.faceOfFamily("Design Sans", Traits::Italic)), "none");
    EXPECT_EQ(named(faces.faceOfFamily("Design Sans", Traits::Monospace)), "AMono");
    EXPECT_EQ(named(faces.faceOfFamily("Other Sans", Traits::Monospace | Traits::Bold)), "BMono-Bold");
    EXPECT_EQ(named(faces.faceOfFamily("Other Sans", Traits::Monospace)), "none");
}

TEST(FontFaces, OfTheSystemHaveAFontForTheUserInterfaceInAnyCase) {
    FontFaces::setCurrent(nullptr);
    const auto font = UIFont::systemFontOfSize(9.5);
    EXPECT_FALSE(font->familyName().empty());
    EXPECT_EQ(font->pointSize(), 9.5);
    EXPECT_EQ(id(font), id(UIFont::systemFontOfSize(9.5)));
    EXPECT_NE(id(font), id(UIFont::systemFontOfSize(9)));
    FontFaces::setCurrent(std::make_shared<FontFaces>(std::vector<FontFace>(), "Nothing"));
    EXPECT_EQ(UIFont::systemFontOfSize(9)->fontName(), "Nothing");
    EXPECT_FALSE(UIFont::fontWithName("Nothing", 9));
    FontFaces::setCurrent(nullptr);
}

}  // namespace qz::test
