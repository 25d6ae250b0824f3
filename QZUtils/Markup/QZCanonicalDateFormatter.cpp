#include "QZUtils/Markup/QZCanonicalDateFormatter.h"

#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/NSCalendar.h"

namespace qz {

QZ_DEFINE_CLASS(QZCanonicalDateFormatter, cls) {
    cls.classMethod("init", [](Class&) { return init(); });
    cls.classMethod("shared", [](Class&) { return shared(); });
}

QZCanonicalDateFormatter::QZCanonicalDateFormatter() {
    setCalendar(NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian));
    setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
    setDateFormat("yyyyMMdd");
}

const Ref<QZCanonicalDateFormatter>& QZCanonicalDateFormatter::shared() {
    static const auto& formatter = *new Ref<QZCanonicalDateFormatter>(init());
    return formatter;
}

}  // namespace qz
