// Numbers as zip archives have them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qz::internal {

/// Of eight bytes at most.
[[nodiscard]] inline std::uint64_t littleEndian(std::span<const std::byte> bytes) noexcept {
    std::uint64_t value = 0;
    unsigned shift = 0;
    for (const auto byte : bytes) {
        value |= std::to_integer<std::uint64_t>(byte) << shift;
        shift += 8;
    }
    return value;
}

inline void putLittleEndian(std::span<std::byte> bytes, std::uint64_t value) noexcept {
    for (auto& byte : bytes) {
        byte = static_cast<std::byte>(value);
        value >>= 8U;
    }
}

}  // namespace qz::internal
