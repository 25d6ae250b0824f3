// NSLog: the console log: one line on standard error, with the time and the process in front.
//
//     NSLog("cannot read %@", path);
//
// It has no levels and cannot be turned off: what is meant for more than a developer's eyes goes through
// DDLog. Lines of several threads stay whole. Safe from any thread.
#pragma once

#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/Format.h"

namespace qz {

namespace internal {
QZ_EXPORT void writeToConsole(std::string_view line) noexcept;
}

/// Formats as stringWithFormat() does.
template <class... A>
void NSLog(std::string_view format, const A&... arguments) {
    internal::writeToConsole(stringWithFormat(format, arguments...));
}

}  // namespace qz
