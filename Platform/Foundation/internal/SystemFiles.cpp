#include "Platform/Foundation/internal/SystemFiles.h"

#include <charconv>
#include <string_view>

#include "Platform/Foundation/NSData+Files.h"

namespace qz::internal {

namespace {

std::string& systemRoot() {
    static auto& root = *new std::string;
    return root;
}

/// Up to the first end of line or zero.
std::string_view firstLine(std::string_view text) {
    return text.substr(0, text.find_first_of(std::string_view("\n\0", 2)));
}

std::string contentOf(std::string_view path) {
    const auto data = dataWithContentsOfFile(systemRoot() + std::string(path), nullptr);
    return data ? std::string(data->text()) : std::string();
}

/// The value of a line NAME=VALUE, without quotes.
std::string assignedValue(std::string_view text, std::string_view name) {
    while (!text.empty()) {
        auto line = firstLine(text);
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (line.starts_with(name) && line.substr(name.size()).starts_with('=')) {
            line.remove_prefix(name.size() + 1);
            if (line.size() >= 2 && (line.front() == '"' || line.front() == '\'') &&
                line.back() == line.front()) {
                line = line.substr(1, line.size() - 2);
            }
            return std::string(line);
        }
    }
    return "";
}

}  // namespace

void setSystemRoot(std::string root) {
    systemRoot() = std::move(root);
}

std::optional<std::array<std::byte, 16>> machineIdentifier() {
    const auto content = contentOf("/etc/machine-id");
    const auto digits = firstLine(content);
    std::array<std::byte, 16> identifier{};
    if (digits.size() != 2 * identifier.size()) {
        return std::nullopt;  // "uninitialized" on the first boot, for one
    }
    bool isAllZero = true;
    for (std::size_t i = 0; i < identifier.size(); ++i) {
        unsigned value = 0;
        const auto* first = digits.data() + 2 * i;
        if (std::from_chars(first, first + 2, value, 16).ptr != first + 2) {
            return std::nullopt;
        }
        identifier[i] = std::byte(value);
        isAllZero = isAllZero && value == 0;
    }
    return isAllZero ? std::nullopt : std::optional(identifier);
}

std::string firmwareProductName() {
    for (const auto* path : {"/sys/class/dmi/id/product_name", "/proc/device-tree/model"}) {
        const auto content = contentOf(path);
        if (const auto line = firstLine(content); !line.empty()) {
            return std::string(line);
        }
    }
    return "";
}

Chassis chassis() {
    const auto named = assignedValue(contentOf("/etc/machine-info"), "CHASSIS");
    // DSP0134 (SMBIOS), 7.4.1: 11 is "hand held", 30 a tablet.
    const auto type = named.empty() ? contentOf("/sys/class/dmi/id/chassis_type") : "";
    if (named == "handset" || firstLine(type) == "11") {
        return Chassis::Handset;
    }
    return named == "tablet" || firstLine(type) == "30" ? Chassis::Tablet : Chassis::Other;
}

}  // namespace qz::internal
