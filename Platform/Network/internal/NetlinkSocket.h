// A routing socket of the kernel (rtnetlink(7)), by libmnl.
#pragma once

#include <libmnl/libmnl.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace qz::internal {

class NetlinkSocket {
public:
    /// Bound to the groups of a mask; null, with errno, when the system gives none.
    [[nodiscard]] static std::unique_ptr<NetlinkSocket> open(unsigned groups);
    NetlinkSocket(const NetlinkSocket&) = delete;
    NetlinkSocket& operator=(const NetlinkSocket&) = delete;
    ~NetlinkSocket();

    using Visitor = std::function<void(const nlmsghdr& message)>;
    /// Sends a request and has the visitor see what it is answered with. The answer's status: 0, or the errno
    /// with which the kernel refuses; nullopt when there was none that is of use, and the socket should be
    /// replaced.
    [[nodiscard]] std::optional<int> ask(nlmsghdr& request, const Visitor& visit);

    /// Takes all messages that have arrived, without waiting. Whether anything was there; messages that were
    /// lost count.
    [[nodiscard]] bool drain();

    [[nodiscard]] int descriptor() const { return mnl_socket_get_fd(socket_); }

private:
    explicit NetlinkSocket(mnl_socket* socket) : socket_(socket) {}

    mnl_socket* const socket_;
    std::uint32_t sequence_ = 0;
};

}  // namespace qz::internal
