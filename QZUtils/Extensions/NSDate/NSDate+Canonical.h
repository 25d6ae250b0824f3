// NSDate(Canonical): the compact key of a day, "20261123", in the default time zone.
#pragma once

#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/NSDate.h"

namespace qz {

/// By QZCanonicalDateFormatter::shared(); empty for null.
[[nodiscard]] QZ_EXPORT std::string canonicalString(const Ref<NSDate>& self);
[[nodiscard]] QZ_EXPORT std::string canonicalString(NSDate::TimePoint self);

}  // namespace qz
