#include "Platform/Network/internal/SocketAddress.h"

#include <cstring>

namespace qz::internal {

std::optional<SocketAddress> SocketAddress::of(const sockaddr* address) {
    SocketAddress made;
    if (address != nullptr && address->sa_family == AF_INET) {
        made.family_ = AF_INET;
        std::memcpy(made.octets_.data(), &reinterpret_cast<const sockaddr_in*>(address)->sin_addr,
                    sizeof(in_addr));
        return made;
    }
    if (address == nullptr || address->sa_family != AF_INET6) {
        return std::nullopt;
    }
    sockaddr_in6 wide;
    std::memcpy(&wide, address, sizeof wide);
    if (IN6_IS_ADDR_V4MAPPED(&wide.sin6_addr)) {
        made.family_ = AF_INET;
        std::memcpy(made.octets_.data(), &wide.sin6_addr.s6_addr[12], sizeof(in_addr));
    } else {
        made.family_ = AF_INET6;
        std::memcpy(made.octets_.data(), &wide.sin6_addr, sizeof(in6_addr));
        made.scope_ = wide.sin6_scope_id;
    }
    return made;
}

}  // namespace qz::internal
