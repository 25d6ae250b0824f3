// Values of the library as JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "Platform/Runtime/Id.h"

namespace qz::tool {

/// Dates become ISO 8601 texts, data base64, references of property lists {"CF$UID": n}.
[[nodiscard]] nlohmann::json jsonOf(const id& value);

/// The JSON on standard output, two blanks a level. What is not UTF-8 in it becomes U+FFFD.
void printJSON(const nlohmann::json& json);

}  // namespace qz::tool
