#include "Platform/Network/internal/KernelNetwork.h"

#include <ifaddrs.h>
#include <libmnl/libmnl.h>
#include <linux/if_packet.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace qz::internal {

namespace {

/// The kernel answers at once or not at all.
constexpr int patienceInMilliseconds = 2000;

std::optional<std::vector<LinkAddress>> readLinkAddresses() {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return std::nullopt;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(list, ::freeifaddrs);
    std::vector<LinkAddress> addresses;
    for (const auto* entry = list; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_PACKET) {
            continue;
        }
        sockaddr_ll link{};
        std::memcpy(&link, entry->ifa_addr, sizeof(link));
        const auto length = std::min<std::size_t>(link.sll_halen, sizeof(link.sll_addr));
        addresses.push_back(
            {entry->ifa_name, link.sll_family, link.sll_hatype, {link.sll_addr, link.sll_addr + length}});
    }
    return addresses;
}

class NetlinkSocket {
public:
    NetlinkSocket() : socket_(::mnl_socket_open2(NETLINK_GENERIC, SOCK_CLOEXEC)) {
        if (socket_ && ::mnl_socket_bind(socket_, 0, MNL_SOCKET_AUTOPID) != 0) {
            ::mnl_socket_close(std::exchange(socket_, nullptr));
        }
    }
    NetlinkSocket(const NetlinkSocket&) = delete;
    NetlinkSocket& operator=(const NetlinkSocket&) = delete;
    ~NetlinkSocket() {
        if (socket_) {
            ::mnl_socket_close(socket_);
        }
    }

    [[nodiscard]] bool send(std::span<const std::byte> request) {
        return socket_ && ::mnl_socket_sendto(socket_, request.data(), request.size()) >= 0;
    }

    /// Fills the buffer with the messages that come next: their length, or nothing.
    [[nodiscard]] std::size_t receive(std::span<std::byte> buffer) {
        pollfd readiness{::mnl_socket_get_fd(socket_), POLLIN, 0};
        if (::poll(&readiness, 1, patienceInMilliseconds) != 1) {
            return 0;
        }
        const auto length = ::mnl_socket_recvfrom(socket_, buffer.data(), buffer.size());
        return length > 0 ? static_cast<std::size_t>(length) : 0;
    }

private:
    mnl_socket* socket_;
};

NetlinkAnswer askGenericNetlink(std::span<const std::byte> request) {
    NetlinkSocket socket;
    if (!socket.send(request)) {
        return std::nullopt;
    }
    std::vector<std::vector<std::byte>> messages;
    // Lists of networks come in parts as large as this.
    std::vector<std::byte> buffer(std::size_t{64} * 1024);
    while (const auto length = socket.receive(buffer)) {
        auto rest = static_cast<int>(length);
        for (const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
             ::mnl_nlmsg_ok(message, rest); message = ::mnl_nlmsg_next(message, &rest)) {
            if (message->nlmsg_type == NLMSG_ERROR) {
                const auto* error = static_cast<const nlmsgerr*>(::mnl_nlmsg_get_payload(message));
                return error->error == 0 ? NetlinkAnswer(messages) : std::nullopt;
            }
            if (message->nlmsg_type == NLMSG_DONE) {
                return messages;
            }
            const auto* bytes = reinterpret_cast<const std::byte*>(message);
            messages.emplace_back(bytes, bytes + message->nlmsg_len);
        }
    }
    return std::nullopt;
}

Kernel& current() {
    static auto& kernel = *new Kernel{readLinkAddresses, askGenericNetlink};
    return kernel;
}

}  // namespace

const Kernel& kernel() {
    return current();
}

void replaceKernel(std::optional<Kernel> kernel) {
    current() = kernel ? *std::move(kernel) : Kernel{readLinkAddresses, askGenericNetlink};
}

}  // namespace qz::internal
