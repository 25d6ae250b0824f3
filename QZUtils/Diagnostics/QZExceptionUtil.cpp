#include "QZUtils/Diagnostics/QZExceptionUtil.h"

#include <string>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Diagnostics/Log.h"

namespace qz {

QZ_DEFINE_CLASS(QZExceptionUtil, cls) {
    cls.classMethod("ThrowErrorWithName:what:file:line:code:",
                    [](Class&, Text name, Text what, const char* file, std::uint32_t line,
                       std::int64_t code) { ThrowErrorWithName(name, what, file, line, code); });
    cls.classMethod("ThrowError:file:line:code:",
                    [](Class&, Text what, const char* file, std::uint32_t line, std::int64_t code) {
                        ThrowError(what, file, line, code);
                    });
}

void QZExceptionUtil::ThrowErrorWithName(Text name, Text what, [[maybe_unused]] const char* file,
                                         std::uint32_t line, std::int64_t code) {
    logError("%@: %@", name, what);
    throw NSException(std::string(name.view()), std::string(what.view()),
                      NSDictionary::dictionary({{"code", static_cast<std::int32_t>(code)},
                                                {"line", static_cast<std::int32_t>(line)}}));
}

void QZExceptionUtil::ThrowError(Text what, const char* file, std::uint32_t line, std::int64_t code) {
    ThrowErrorWithName("", what, file, line, code);
}

}  // namespace qz
