// The exceptions that the platform raises for programming errors, with their names.
#pragma once

#include <string>
#include <string_view>

#include "Platform/Export.h"

namespace qz {

inline constexpr std::string_view NSInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr std::string_view NSRangeException = "NSRangeException";
inline constexpr std::string_view NSInternalInconsistencyException = "NSInternalInconsistencyException";
inline constexpr std::string_view NSUndefinedKeyException = "NSUndefinedKeyException";

/// Throws an NSException (Platform/Foundation/NSException.h) without user information.
[[noreturn]] QZ_EXPORT void raise(std::string_view name, const std::string& reason);

}  // namespace qz
