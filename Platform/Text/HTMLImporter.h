// Reading HTML as attributed text. Callers use NSAttributedString::initWithData().
//
// Understood are paragraphs and other blocks, headings, ordered and unordered lists, quotations, tables as
// lines with tabs, preformatted text, line breaks, links, the elements of emphasis, "font", entities, and of
// styles the font's family, size, weight and slant, colours, underlining, alignment. Styles are read from
// `style` attributes and from the rules for "body" of style elements. Scripts are dropped; nothing is
// fetched.
//
// Blocks are separated by one line feed, and none stands at either end; a line break is U+2028. Blanks are
// collapsed as in a browser. All text has a font, of 12 points in the system's family where nothing says
// otherwise (a CSS pixel is a point), and links are underlined. Traits are there where faces are (UIFont.h).
// HTML that is not well-formed is read as libxml2 repairs it. Time is linear in the document, except that the
// parser compares the attributes of one element with each other: forty thousand of them take a second.
//
// Safe from any thread.
#pragma once

#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSAttributedString;

/// How many elements may stand in each other.
inline constexpr int maximumHTMLDepth = 256;

/// Bytes that are no UTF-8 are read in the encoding that the document says it has. Null when its elements are
/// nested too deeply, or it has 2 GiB or more.
[[nodiscard]] QZ_EXPORT Ref<NSAttributedString> attributedStringFromHTML(std::string_view html);

}  // namespace qz
