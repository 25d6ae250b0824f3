// What the system's files say of the machine. Each is read when it is asked for.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "Platform/Export.h"

namespace qz::internal {

/// What stands in front of the paths of system files: empty, unless a test has files of its own. To be set
/// while nothing else runs.
QZ_EXPORT void setSystemRoot(std::string root);

/// machine-id(5); nullopt where there is none, or not yet one.
[[nodiscard]] std::optional<std::array<std::byte, 16>> machineIdentifier();

/// What the firmware calls the machine: the product name of SMBIOS (DMI), or else the model of the device
/// tree, without the end of line or the zero that follows. Empty where neither is told.
[[nodiscard]] std::string firmwareProductName();

enum class Chassis { Other, Handset, Tablet };
/// What machine-info(5) or else SMBIOS says.
[[nodiscard]] Chassis chassis();

}  // namespace qz::internal
