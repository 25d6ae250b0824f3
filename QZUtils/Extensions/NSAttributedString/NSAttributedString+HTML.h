// NSAttributedString(HTML): attributed texts made of HTML fragments, in UTF-8, with a style for the whole.
//
//     const auto text = NSAttributedStringClass::attributedStringWithHTML("<p>Good <b>morning</b></p>",
//     black, 14);
//
// What is understood of HTML, and what becomes of it, says Platform/Text/HTMLImporter.h. Text is aligned to
// the left. All answer an empty text for an empty one, and null for what cannot be read. Safe from any
// thread.
#pragma once

#include <string_view>

#include "Platform/Export.h"
#include "Platform/Text/NSAttributedString.h"
#include "Platform/Text/UIColor.h"
#include "Platform/Text/UIFont.h"

namespace qz::NSAttributedStringClass {

[[nodiscard]] QZ_EXPORT Ref<NSAttributedString> attributedStringWithHTML(std::string_view html);
/// The colour, unless it is null, becomes that of all of the text, whatever the HTML says.
[[nodiscard]] QZ_EXPORT Ref<NSAttributedString> attributedStringWithHTML(std::string_view html,
                                                                         const Ref<UIColor>& color);
/// In the system's font of a size in points, rounded to whole ones; 0 stands for no font.
[[nodiscard]] QZ_EXPORT Ref<NSAttributedString> attributedStringWithHTML(std::string_view html,
                                                                         const Ref<UIColor>& color,
                                                                         double size);
/// The font may be null.
[[nodiscard]] QZ_EXPORT Ref<NSAttributedString> attributedStringWithHTML(std::string_view html,
                                                                         const Ref<UIColor>& color,
                                                                         const Ref<UIFont>& font);

}  // namespace qz::NSAttributedStringClass
