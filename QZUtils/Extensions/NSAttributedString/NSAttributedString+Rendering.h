// NSAttributedString(Rendering): attributed texts in the forms in which hosts show them.
//
//     std::cout << terminalString(text);
//     gtk_label_set_markup(label, pangoMarkup(text).c_str());
//
// All three show fonts, colours, underlining and strike-through; HTML and terminals have links, too. What the
// text itself contains is shown as text: it cannot bring escapes or tags of its own, and control characters
// become U+FFFD. Each is linear in the text. An empty text, or null, gives an empty one. Safe from any
// thread.
#pragma once

#include <string>

#include "Platform/Export.h"
#include "Platform/Text/NSAttributedString.h"

namespace qz {

/// For terminals: escapes of ECMA-48 (SGR), colours of 24 bits, and links as OSC 8. Sizes and families of
/// fonts are not shown. Every run ends with the terminal as it was before.
[[nodiscard]] QZ_EXPORT std::string terminalString(const Ref<NSAttributedString>& self);

/// For Pango (https://docs.gtk.org/Pango/pango_markup.html), which has no links.
[[nodiscard]] QZ_EXPORT std::string pangoMarkup(const Ref<NSAttributedString>& self);

/// A paragraph for each line, with its style; runs with styles of their own. NSAttributedString+HTML.h reads
/// it.
[[nodiscard]] QZ_EXPORT std::string HTMLString(const Ref<NSAttributedString>& self);

}  // namespace qz
