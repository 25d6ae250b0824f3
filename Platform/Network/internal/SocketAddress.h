// An IPv4 or IPv6 address of a socket.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <optional>
#include <span>

namespace qz::internal {

class SocketAddress {
public:
    /// Nullopt for nil and for other families.
    [[nodiscard]] static std::optional<SocketAddress> of(const sockaddr* address);

    /// AF_INET or AF_INET6. An IPv4 address in the clothes of an IPv6 one is an IPv4 address.
    [[nodiscard]] sa_family_t family() const noexcept { return family_; }
    /// In network byte order, 4 or 16.
    [[nodiscard]] std::span<const std::byte> bytes() const noexcept {
        return std::as_bytes(std::span(octets_))
            .first(family_ == AF_INET ? sizeof(in_addr) : sizeof(in6_addr));
    }
    /// The interface that a link-local address belongs to, 0 when it does not say.
    [[nodiscard]] unsigned scope() const noexcept { return scope_; }

    [[nodiscard]] bool operator==(const SocketAddress&) const = default;

private:
    SocketAddress() = default;

    sa_family_t family_ = AF_UNSPEC;
    std::array<unsigned char, sizeof(in6_addr)> octets_{};
    unsigned scope_ = 0;
};

}  // namespace qz::internal
