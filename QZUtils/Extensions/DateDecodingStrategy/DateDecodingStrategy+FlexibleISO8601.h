// DateDecodingStrategy(FlexibleISO8601): dates of ISO 8601 in JSON, with whatever precision a service sends.
//
//     const auto document = nlohmann::json::parse(reply);
//     const auto date = DateDecodingStrategyClass::flexibleISO8601().decode(document.at("published"));
//
// or, as with other types of nlohmann-json, which finds from_json() below:
//
//     const auto date = document.at("published").get<Ref<NSDate>>();
//
// Both throw DecodingError: "Cannot decode date string …". Safe from any thread.
#pragma once

#include "Platform/Export.h"
#include "Platform/Foundation/DateDecodingStrategy.h"

namespace qz {

namespace DateDecodingStrategyClass {

/// Reads what QZDateFormatter::dateFromISO8601FormattedString() reads. Made once.
[[nodiscard]] QZ_EXPORT const DateDecodingStrategy& flexibleISO8601();

}  // namespace DateDecodingStrategyClass

template <JSONValue Value>
void from_json(const Value& value, Ref<NSDate>& date) {
    date = DateDecodingStrategyClass::flexibleISO8601().decode(value);
}

}  // namespace qz
