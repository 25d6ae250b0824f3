// Texts and lengths as style sheets and HTML have them.
#pragma once

#include <string>
#include <string_view>

namespace qz::internal {

/// In single quotes, with whatever could end them, or an element around, as an escape (CSS Syntax, 4.3.7).
[[nodiscard]] std::string quotedForStyle(std::string_view text);

/// In CSS pixels: "14px", "9.5px"; "0px" for what is no finite number.
[[nodiscard]] std::string lengthForStyle(double length);

/// For text and for attributes in double quotes. Characters that no document may have become U+FFFD.
[[nodiscard]] std::string escapedForXML(std::string_view text);

}  // namespace qz::internal
