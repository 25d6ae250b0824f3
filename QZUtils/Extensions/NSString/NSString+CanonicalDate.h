// NSString(CanonicalDate): the day that a compact key, "20261123", stands for.
#pragma once

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSDate;

/// The start of that day in the default time zone, by QZCanonicalDateFormatter::shared(); null for nil and a
/// text that is no such key.
[[nodiscard]] QZ_EXPORT Ref<NSDate> canonicalDate(Text self);

}  // namespace qz
