// What the roots answer to "valueForKey:" and "setValue:forKey:"; classes with keys of their own answer
// otherwise.
#pragma once

#include <string_view>

#include "Platform/Runtime/Id.h"

namespace qz::internal {

[[nodiscard]] id defaultValueForKey(Object& self, std::string_view key);
void defaultSetValueForKey(Object& self, const id& value, std::string_view key);

}  // namespace qz::internal
