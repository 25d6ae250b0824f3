#include "QZUtils/Extensions/DateDecodingStrategy/DateDecodingStrategy+FlexibleISO8601.h"
#include "QZUtils/Markup/QZDateFormatter.h"

namespace qz::DateDecodingStrategyClass {

const DateDecodingStrategy& flexibleISO8601() {
    static const auto& strategy = *new DateDecodingStrategy([](std::string_view text) {
        auto date = QZDateFormatter::instance()->dateFromISO8601FormattedString(text);
        if (!date) {
            throw DecodingError(DecodingError::Kind::DataCorrupted,
                                "Cannot decode date string " + std::string(text));
        }
        return date;
    });
    return strategy;
}

}  // namespace qz::DateDecodingStrategyClass
