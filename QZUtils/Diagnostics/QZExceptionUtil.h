// QZExceptionUtil: how the library raises an exception for a programming or data error. Nothing else in it
// raises on purpose; recoverable failures leave as NSError.
//
// An exception carries exactly two entries of user information, numbers of 32 bits with a sign: "code" and
// "line", the caller's, of which higher bits are dropped. Each is logged as an error line first.
#pragma once

#include <cstdint>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class QZ_EXPORT QZExceptionUtil : public NSObject {
    QZ_OBJECT(QZExceptionUtil, NSObject)
public:
    /// Logs "name: what" and throws an NSException of that name with `what` as its reason. `file` is ignored:
    /// the line is logged with the place of this class, and callers rely on finding it there.
    [[noreturn]] static void ThrowErrorWithName(Text name, Text what, const char* file, std::uint32_t line,
                                                std::int64_t code);
    /// The same with an empty name.
    [[noreturn]] static void ThrowError(Text what, const char* file, std::uint32_t line, std::int64_t code);

protected:
    QZExceptionUtil() = default;
};

}  // namespace qz
