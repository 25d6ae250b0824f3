#include "Platform/Network/internal/NetlinkSocket.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace qz::internal {

namespace {

/// What the kernel fills at most for one recv() of a dump.
constexpr std::size_t bufferSize = std::size_t{32} * 1024;
using Buffer = std::array<char, bufferSize>;

int visitMessage(const nlmsghdr* message, void* context) {
    (*static_cast<const NetlinkSocket::Visitor*>(context))(*message);
    return MNL_CB_OK;
}

}  // namespace

std::unique_ptr<NetlinkSocket> NetlinkSocket::open(unsigned groups) {
    auto* const socket = mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC);
    if (socket == nullptr) {
        return nullptr;
    }
    std::unique_ptr<NetlinkSocket> made(new NetlinkSocket(socket));
    return mnl_socket_bind(socket, groups, MNL_SOCKET_AUTOPID) == 0 ? std::move(made) : nullptr;
}

NetlinkSocket::~NetlinkSocket() {
    mnl_socket_close(socket_);
}

std::optional<int> NetlinkSocket::ask(nlmsghdr& request, const Visitor& visit) {
    request.nlmsg_seq = ++sequence_;
    if (mnl_socket_sendto(socket_, &request, request.nlmsg_len) < 0) {
        return std::nullopt;
    }
    alignas(nlmsghdr) Buffer buffer;
    const bool isDump = (request.nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP;
    for (;;) {
        // The kernel has answered when the request is sent: this does not wait.
        const auto size = mnl_socket_recvfrom(socket_, buffer.data(), buffer.size());
        if (size < 0 && errno == EINTR) {
            continue;
        }
        const auto status =
            size < 0 ? MNL_CB_ERROR
                     : mnl_cb_run(buffer.data(), static_cast<std::size_t>(size), request.nlmsg_seq,
                                  mnl_socket_get_portid(socket_), visitMessage, const_cast<Visitor*>(&visit));
        if (status == MNL_CB_ERROR) {
            // An answer to another question, or a dump during which something changed.
            const bool isUseless = size < 0 || errno == EPROTO || errno == EINTR;
            return isUseless ? std::nullopt : std::optional(errno);
        }
        if (status == MNL_CB_STOP || !isDump) {
            return 0;
        }
    }
}

bool NetlinkSocket::drain() {
    Buffer buffer;
    for (bool found = false;; found = true) {
        // What a message says is of no use: it may be followed by others, or be followed by lost ones
        // (ENOBUFS). Whoever was woken asks for the present state.
        if (::recv(descriptor(), buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_TRUNC) < 0 &&
            errno != EINTR && errno != ENOBUFS) {
            return found;
        }
    }
}

}  // namespace qz::internal
