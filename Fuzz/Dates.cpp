// Date texts and patterns from anywhere: nothing breaks, and what a fixed form reads it writes as something
// that it reads as the same.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Text/NSDateFormatter.h"
#include "QZUtils/Markup/ISO8601DateFormatter.h"
#include "QZUtils/Markup/QZDateFormatter.h"

namespace {

bool comesBack(const qz::NSDateFormatter& formatter, const qz::Ref<qz::NSDate>& date) {
    const auto text = formatter.stringFromDate(date);
    const auto again = formatter.dateFromString(text);
    return again && formatter.stringFromDate(again) == text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const auto line = input.find('\n');
    const auto text = input.substr(0, line);
    const auto& dates = *qz::QZDateFormatter::instance();
    for (const auto& date :
         {dates.dateFromISOFormattedString(text), dates.dateFromZXFormattedString(text),
          dates.dateTimeFromZXFormattedString(text), dates.dateTimeFromZXSentTimeFormattedString(text),
          dates.dateFromRFC3339FormattedString(text), dates.dateFromCanonicalFormattedString(text),
          dates.dateFromISO8601FormattedString(text)}) {
        // Years of other lengths, and those before ours, have no text of their own.
        constexpr double year1 = -62135596800;
        constexpr double year10000 = 253402300800;
        if (date && date->timeIntervalSince1970() >= year1 && date->timeIntervalSince1970() < year10000 &&
            !comesBack(*qz::ISO8601DateFormatter::shared(), date)) {
            std::abort();
        }
    }
    if (line != std::string_view::npos) {
        const auto pattern = input.substr(line + 1);
        static_cast<void>(dates.stringToDate(text, pattern));
        const auto formatter = qz::QZDateFormatter::posixGMTDateFormatter();
        formatter->setDateFormat(pattern);
        static_cast<void>(formatter->stringFromDate(qz::NSDate::dateWithTimeIntervalSince1970(1e9)));
        static_cast<void>(dates.dateToString(qz::NSDate::distantPast(), pattern));
    }
    return 0;
}
