// Texts for XML: `"<a t='" + xmlEncodedString(title) + "'/>"`.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Export.h"

namespace qz {

/// The text with the five characters that mean something in XML replaced: &quot; &amp; &#x27; &lt; &gt;. It
/// then stands for itself as an element's text and between quotes of either kind. Control characters, which
/// XML cannot hold, stay as they are. Safe from any thread.
[[nodiscard]] QZ_EXPORT std::string xmlEncodedString(std::string_view self);

/// The same, appended to what is there.
QZ_EXPORT void appendXMLEncodedString(std::string_view self, std::string& target);

}  // namespace qz
