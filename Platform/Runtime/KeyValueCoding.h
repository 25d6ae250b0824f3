// Key-value coding: properties read and written by name.
//
// A key is the name of a declared property (ClassBuilder::property) or of an operation without arguments,
// such as "isFinished"; a dictionary's keys are its own. A key path is keys joined by dots:
// "issue.pages.count". Values travel boxed. Nil receivers read as nil and take writes silently, along a key
// path too.
#pragma once

#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

/// Raises NSUndefinedKeyException when the object knows no such key. Dispatches as "valueForKey:".
[[nodiscard]] QZ_EXPORT id valueForKey(Receiver self, std::string_view key);
[[nodiscard]] QZ_EXPORT id valueForKeyPath(Receiver self, std::string_view keyPath);

/// Raises NSUndefinedKeyException when the object has no writable property of that name, and
/// NSInvalidArgumentException when the value does not fit it (nil for a number, a text for a date).
/// Dispatches as "setValue:forKey:".
QZ_EXPORT void setValueForKey(Receiver self, const id& value, std::string_view key);
QZ_EXPORT void setValueForKeyPath(Receiver self, const id& value, std::string_view keyPath);

}  // namespace qz
