// What HTTP statuses mean, for people.
#pragma once

#include <cstdint>
#include <string>

namespace qz::internal {

/// In the user's language where it is one of those that there are texts in, in English otherwise. A status
/// without a text of its own gets that of its class.
[[nodiscard]] std::string statusText(std::int64_t statusCode);

}  // namespace qz::internal
