// Texts of C++ as arrays of objects, and back: for messages whose C++ form takes a vector.
#pragma once

#include <string>
#include <vector>

#include "Platform/Foundation/NSArray.h"

namespace qz::internal {

[[nodiscard]] Ref<NSArray> arrayOfTexts(const std::vector<std::string>& texts);
/// Elements that are no texts count as empty ones; none for null.
[[nodiscard]] std::vector<std::string> textsOfArray(const Ref<NSArray>& array);

}  // namespace qz::internal
