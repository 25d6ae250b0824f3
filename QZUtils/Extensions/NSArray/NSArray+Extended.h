// NSArray(Extended): one element by chance.
#pragma once

#include "Platform/Export.h"
#include "Platform/Foundation/NSArray.h"

namespace qz {

/// The element at rand() modulo the count, so that srand() decides which ones a program gets; nil for an
/// empty array and for null. Good for spreading load, and for nothing that must not be foreseen. Also a
/// message.
[[nodiscard]] QZ_EXPORT id randomObject(const Ref<NSArray>& self);

}  // namespace qz
