// What the kernel's routing tables say about an address.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "Platform/Network/SCNetworkReachability.h"

struct nlmsghdr;

namespace qz::internal {

class NetlinkSocket;
class SocketAddress;

/// One socket, which all handles share. From any thread.
class Routes {
public:
    /// The one that exists, or a new one.
    [[nodiscard]] static std::shared_ptr<Routes> shared();

    Routes();
    ~Routes();

    /// The flags of an address (SCNetworkReachability.h says which addresses stand for more than themselves);
    /// nullopt when the kernel does not answer.
    [[nodiscard]] std::optional<SCNetworkReachabilityFlags> flagsOf(const SocketAddress& address);

private:
    using Flags = SCNetworkReachabilityFlags;
    struct Link;

    [[nodiscard]] Flags read(const SocketAddress& address);
    [[nodiscard]] Flags internet(const SocketAddress& address);
    [[nodiscard]] Flags localNetwork();
    [[nodiscard]] Flags route(const SocketAddress& address);
    [[nodiscard]] std::optional<Link> link(unsigned index);
    [[nodiscard]] bool isWideArea(const Link& link);
    template <class Visitor>
    int ask(nlmsghdr& request, const Visitor& visit);

    std::mutex mutex_;  // guards what follows
    std::unique_ptr<NetlinkSocket> socket_;
    std::map<unsigned, bool> modems_;  // by the index of the link: whether its driver is one of a modem
};

}  // namespace qz::internal
