// Whether bytes are text.
#pragma once

#include <string_view>

namespace qz::internal {

/// Whether the bytes are well-formed UTF-8 (RFC 3629).
[[nodiscard]] bool isUTF8(std::string_view bytes) noexcept;

}  // namespace qz::internal
