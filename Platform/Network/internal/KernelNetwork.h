// What the kernel says of the machine's network, behind functions that a test can replace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Platform/Export.h"

namespace qz::internal {

/// An entry of the list of interfaces (getifaddrs(3)) that has a link-layer address.
struct LinkAddress {
    std::string interfaceName;
    std::uint16_t family = 0;  // AF_PACKET
    std::uint16_t type = 0;    // ARPHRD_…
    std::vector<std::uint8_t> address;
};

/// The messages that answer a netlink request, as they came, without the one that ends them; nullopt on
/// failure.
using NetlinkAnswer = std::optional<std::vector<std::vector<std::byte>>>;

struct Kernel {
    /// Nullopt when the list cannot be read.
    std::function<std::optional<std::vector<LinkAddress>>()> linkAddresses;
    /// Sends a generic netlink request.
    std::function<NetlinkAnswer(std::span<const std::byte> request)> genericNetlink;
};

/// The kernel itself, unless it was replaced.
[[nodiscard]] QZ_EXPORT const Kernel& kernel();
/// To be called while nothing else runs. Nullopt goes back to the kernel itself.
QZ_EXPORT void replaceKernel(std::optional<Kernel> kernel);

}  // namespace qz::internal
