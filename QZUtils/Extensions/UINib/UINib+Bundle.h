// UINib(Bundle): a nib of the library's bundles.
#pragma once

#include "Platform/Export.h"
#include "Platform/Foundation/UINib.h"

namespace qz::UINibClass {

/// QZNSBundle::nibWithName().
[[nodiscard]] QZ_EXPORT Ref<UINib> bundledNibWithName(Text name);

}  // namespace qz::UINibClass
