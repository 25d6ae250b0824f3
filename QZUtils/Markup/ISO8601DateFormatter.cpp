#include "QZUtils/Markup/ISO8601DateFormatter.h"

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(ISO8601DateFormatter, cls) {
    cls.classMethod("init", [](Class&) { return init(); });
    cls.classMethod("shared", [](Class&) { return shared(); });
}

ISO8601DateFormatter::ISO8601DateFormatter() {
    setDateFormat("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'");
    setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
    setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
}

const Ref<ISO8601DateFormatter>& ISO8601DateFormatter::shared() {
    static const auto& formatter = *new Ref<ISO8601DateFormatter>(init());
    return formatter;
}

}  // namespace qz
