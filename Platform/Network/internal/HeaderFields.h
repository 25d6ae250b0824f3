// Names of HTTP header fields, which are the same whatever their case.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Foundation/NSDictionary.h"

namespace qz::internal {

[[nodiscard]] bool isSameField(std::string_view left, std::string_view right) noexcept;
/// The name under which the fields hold it; nullopt when they do not.
[[nodiscard]] std::optional<std::string> nameOfField(const NSDictionary& fields, std::string_view field);
[[nodiscard]] std::optional<std::string> valueOfField(const NSDictionary& fields, std::string_view field);
/// With the usual capitals, however it was written: "ETag", "Last-Modified", "WWW-Authenticate".
[[nodiscard]] std::string usualFieldName(std::string_view field);

}  // namespace qz::internal
