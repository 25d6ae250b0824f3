#include "Platform/Network/internal/Routes.h"

#include <arpa/inet.h>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <set>
#include <span>
#include <string>
#include <string_view>

#include "Platform/Network/internal/NetlinkSocket.h"
#include "Platform/Network/internal/SocketAddress.h"

namespace qz::internal {

namespace {

// The kernel takes the unspecified address for the machine itself. A way to the internet is a way to an
// address that no local network has: the root name server a.root-servers.net (root-servers.org).
constexpr const char* internetIPv4 = "198.41.0.4";
constexpr const char* internetIPv6 = "2001:503:ba3e::2:30";
constexpr std::uint32_t linkLocalNetwork = 0xA9FE0000;  // 169.254.0.0, RFC 3927

/// The kernel does not answer.
struct Silence {};

/// A request under construction.
class Request {
public:
    template <class Header>
    Request(std::uint16_t type, std::uint16_t flags, const Header& header)
        : message_(*mnl_nlmsg_put_header(&bytes_)) {
        message_.nlmsg_type = type;
        message_.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
        *static_cast<Header*>(mnl_nlmsg_put_extra_header(&message_, sizeof(Header))) = header;
    }
    void put(std::uint16_t type, std::span<const std::byte> value) {
        mnl_attr_put(&message_, type, value.size(), value.data());
    }
    void put(std::uint16_t type, std::uint32_t value) { mnl_attr_put_u32(&message_, type, value); }
    [[nodiscard]] nlmsghdr& message() noexcept { return message_; }

private:
    alignas(nlmsghdr) std::array<std::byte, 256> bytes_{};
    nlmsghdr& message_;
};

SocketAddress parse(int family, const char* text) {
    sockaddr_in6 wide{};
    sockaddr_in narrow{};
    narrow.sin_family = AF_INET;
    wide.sin6_family = AF_INET6;
    ::inet_pton(family, text, family == AF_INET ? static_cast<void*>(&narrow.sin_addr) : &wide.sin6_addr);
    return *SocketAddress::of(family == AF_INET ? reinterpret_cast<const sockaddr*>(&narrow)
                                                : reinterpret_cast<const sockaddr*>(&wide));
}

bool isUnspecified(const SocketAddress& address) {
    return std::ranges::all_of(address.bytes(), [](auto byte) { return byte == std::byte{}; });
}

bool isLinkLocalNetwork(const SocketAddress& address) {
    std::uint32_t number = 0;
    if (address.family() == AF_INET) {
        std::memcpy(&number, address.bytes().data(), sizeof number);
    }
    return ntohl(number) == linkLocalNetwork;
}

/// Drivers of modems that look like network cards say so by the type of their device.
bool isModem(const std::string& name) {
    std::ifstream properties("/sys/class/net/" + name + "/uevent");
    for (std::string line; std::getline(properties, line);) {
        if (line == "DEVTYPE=wwan") {
            return true;
        }
    }
    return false;
}

template <class Visitor>
int visitAttribute(const nlattr* attribute, void* visitor) {
    (*static_cast<const Visitor*>(visitor))(*attribute, mnl_attr_get_type(attribute));
    return MNL_CB_OK;
}

/// Calls `visit(attribute, type)` for those of a message.
template <class Visitor>
void forEachAttribute(const nlmsghdr& message, std::size_t headerSize, const Visitor& visit) {
    mnl_attr_parse(&message, static_cast<unsigned>(headerSize), visitAttribute<Visitor>,
                   const_cast<Visitor*>(&visit));
}

std::string kindIn(const nlattr& linkInformation) {
    std::string kind;
    const auto visit = [&](const nlattr& attribute, auto type) {
        if (type == IFLA_INFO_KIND) {
            kind = mnl_attr_get_str(&attribute);
        }
    };
    mnl_attr_parse_nested(&linkInformation, visitAttribute<decltype(visit)>,
                          const_cast<void*>(static_cast<const void*>(&visit)));
    return kind;
}

}  // namespace

struct Routes::Link {
    explicit Link(const nlmsghdr& message) {
        const auto& header = *static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&message));
        index = static_cast<unsigned>(header.ifi_index);
        flags = header.ifi_flags;
        type = header.ifi_type;
        forEachAttribute(message, sizeof header, [&](const nlattr& attribute, auto which) {
            if (which == IFLA_IFNAME) {
                name = mnl_attr_get_str(&attribute);
            } else if (which == IFLA_LINKINFO) {
                kind = kindIn(attribute);
            }
        });
    }
    /// Up, and with a carrier.
    [[nodiscard]] bool isRunning() const { return (flags & IFF_UP) != 0 && (flags & IFF_RUNNING) != 0; }
    [[nodiscard]] bool isLoopback() const { return (flags & IFF_LOOPBACK) != 0; }
    [[nodiscard]] bool hasBroadcast() const { return (flags & IFF_BROADCAST) != 0; }

    unsigned index;
    unsigned flags;
    unsigned type;
    std::string name;
    std::string kind;
};

std::shared_ptr<Routes> Routes::shared() {
    static auto& mutex = *new std::mutex;
    static auto& present = *new std::weak_ptr<Routes>;
    const std::lock_guard lock(mutex);
    auto routes = present.lock();
    if (!routes) {
        routes = std::make_shared<Routes>();
        present = routes;
    }
    return routes;
}

Routes::Routes() : socket_(NetlinkSocket::open(0)) {}
Routes::~Routes() = default;

std::optional<Routes::Flags> Routes::flagsOf(const SocketAddress& address) {
    const std::lock_guard lock(mutex_);
    try {
        return read(address);
    } catch (const Silence&) {
        return std::nullopt;
    }
}

Routes::Flags Routes::read(const SocketAddress& address) {
    if (isUnspecified(address)) {
        return internet(address);
    }
    return isLinkLocalNetwork(address) ? localNetwork() : route(address);
}

Routes::Flags Routes::internet(const SocketAddress& address) {
    const auto narrow = address.family() == AF_INET ? route(parse(AF_INET, internetIPv4)) : 0;
    return narrow != 0 ? narrow : route(parse(AF_INET6, internetIPv6));
}

Routes::Flags Routes::localNetwork() {
    std::set<unsigned> addressed;
    ifaddrmsg addresses{};
    addresses.ifa_family = AF_INET;
    const auto takeAddress = [&](const nlmsghdr& message) {
        addressed.insert(static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(&message))->ifa_index);
    };
    Request whichAddresses(RTM_GETADDR, NLM_F_DUMP, addresses);
    bool isThere = false;
    const auto takeLink = [&](const nlmsghdr& message) {
        const Link link(message);
        isThere = isThere || (link.isRunning() && link.hasBroadcast() && !link.isLoopback() &&
                              !isWideArea(link) && addressed.contains(link.index));
    };
    Request whichLinks(RTM_GETLINK, NLM_F_DUMP, ifinfomsg{});
    if (ask(whichAddresses.message(), takeAddress) != 0 || ask(whichLinks.message(), takeLink) != 0) {
        throw Silence();
    }
    return isThere ? kSCNetworkReachabilityFlagsReachable | kSCNetworkReachabilityFlagsIsDirect : 0;
}

Routes::Flags Routes::route(const SocketAddress& address) {
    rtmsg header{};
    header.rtm_family = static_cast<unsigned char>(address.family());
    header.rtm_dst_len = static_cast<unsigned char>(address.bytes().size() * 8);
    Request request(RTM_GETROUTE, 0, header);
    request.put(RTA_DST, address.bytes());
    if (address.scope() != 0) {
        request.put(RTA_OIF, address.scope());
    }
    unsigned char kind = RTN_UNSPEC;
    unsigned device = 0;
    bool hasGateway = false;
    const int error = ask(request.message(), [&](const nlmsghdr& message) {
        const auto& found = *static_cast<const rtmsg*>(mnl_nlmsg_get_payload(&message));
        kind = found.rtm_type;
        forEachAttribute(message, sizeof found, [&](const nlattr& attribute, auto type) {
            if (type == RTA_OIF) {
                device = mnl_attr_get_u32(&attribute);
            }
            hasGateway = hasGateway || type == RTA_GATEWAY || type == RTA_VIA;
        });
    });
    if (error != 0) {
        return 0;  // the kernel's word for "no route": its number depends on the table's entry
    }
    if (kind == RTN_LOCAL) {
        return kSCNetworkReachabilityFlagsReachable | kSCNetworkReachabilityFlagsIsLocalAddress |
               kSCNetworkReachabilityFlagsIsDirect;
    }
    const bool leadsSomewhere =
        kind == RTN_UNICAST || kind == RTN_BROADCAST || kind == RTN_MULTICAST || kind == RTN_ANYCAST;
    const auto link = leadsSomewhere ? this->link(device) : std::nullopt;
    if (!link || !link->isRunning()) {
        return 0;
    }
    return kSCNetworkReachabilityFlagsReachable | (hasGateway ? 0 : kSCNetworkReachabilityFlagsIsDirect) |
           (isWideArea(*link) ? kSCNetworkReachabilityFlagsIsWWAN : 0);
}

bool Routes::isWideArea(const Link& link) {
    if (link.type == ARPHRD_RAWIP || link.kind == "wwan" || link.kind == "rmnet") {
        return true;
    }
    // Modems that look like network cards have no kind. What a device is does not change, and sysfs is slow.
    if (!link.kind.empty() || link.isLoopback()) {
        return false;
    }
    const auto [place, isNew] = modems_.try_emplace(link.index, false);
    if (isNew) {
        place->second = isModem(link.name);
    }
    return place->second;
}

std::optional<Routes::Link> Routes::link(unsigned index) {
    ifinfomsg header{};
    header.ifi_index = static_cast<int>(index);
    Request request(RTM_GETLINK, 0, header);
    // The counters of the traffic would be most of the answer.
    request.put(IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
    std::optional<Link> link;
    const int error = ask(request.message(), [&](const nlmsghdr& message) { link.emplace(message); });
    return error == 0 ? link : std::nullopt;  // it may have gone since
}

/// 0, or what the kernel refuses the request with. A socket that fails is replaced once.
template <class Visitor>
int Routes::ask(nlmsghdr& request, const Visitor& visit) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!socket_) {
            socket_ = NetlinkSocket::open(0);
        }
        if (const auto status = socket_ ? socket_->ask(request, visit) : std::nullopt) {
            return *status;
        }
        socket_.reset();
    }
    throw Silence();
}

}  // namespace qz::internal
