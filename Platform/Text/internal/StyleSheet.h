// The little of style sheets (CSS) that attributed text has a use for. Nothing here fails: what is not
// understood is left out.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Runtime/Id.h"

namespace qz {
class UIColor;
}

namespace qz::internal {

/// Names in lower case, values without blanks around them, in order.
using StyleDeclarations = std::vector<std::pair<std::string, std::string>>;

/// "font-size: 12px; color: red".
[[nodiscard]] StyleDeclarations declarationsOfStyle(std::string_view style);

/// Those of all rules of a style sheet that have this element alone as a selector.
[[nodiscard]] StyleDeclarations declarationsOfRules(std::string_view styleSheet, std::string_view element);

/// "#f00", "#ff0000", "#ff000080", "rgb(255, 0, 0)", "rgba(255, 0, 0, 0.5)" or one of the basic names of
/// colours; null for anything else.
[[nodiscard]] Ref<UIColor> colorOfStyle(std::string_view value);

/// A size in points: "14px", "14pt", "1.5em", "150%", "large", "smaller"; `present` is that of the text
/// around it. Between 1 and 1000.
[[nodiscard]] std::optional<double> fontSizeOfStyle(std::string_view value, double present);

/// The families in order of preference, without their quotes.
[[nodiscard]] std::vector<std::string> fontFamiliesOfStyle(std::string_view value);

[[nodiscard]] std::string lowercased(std::string_view text);

}  // namespace qz::internal
