// Where the device is on the network, told by kernels that the test thinks up.
#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>
#include <net/if_arp.h>
#include <sys/socket.h>

#include <array>
#include <cstring>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Network/CaptiveNetwork.h"
#include "Platform/Network/internal/KernelNetwork.h"
#include "QZUtils/Extensions/UIDevice/UIDevice+Info.h"
#include "Tests/Device/Support.h"

namespace qz::test {
namespace {

using internal::LinkAddress;

constexpr std::uint16_t wireless = 31;

template <class T>
std::string raw(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

std::string attribute(std::uint16_t type, std::string payload) {
    const auto length = static_cast<std::uint16_t>(NLA_HDRLEN + payload.size());
    payload.resize((payload.size() + 3) / 4 * 4);
    return raw(length) + raw(type) + payload;
}

std::vector<std::byte> message(const std::string& attributes) {
    nlmsghdr header{};
    header.nlmsg_len = static_cast<std::uint32_t>(NLMSG_HDRLEN + GENL_HDRLEN + attributes.size());
    const auto bytes = raw(header) + raw(genlmsghdr{}) + attributes;
    const auto view = std::as_bytes(std::span(bytes));
    return {view.begin(), view.end()};
}

std::string interfaceAttributes(std::uint32_t index, const std::string& name) {
    return attribute(NL80211_ATTR_IFINDEX, raw(index)) + attribute(NL80211_ATTR_IFNAME, name + '\0');
}

std::string station(std::optional<std::uint32_t> status, const std::string& address,
                    const std::string& elements) {
    return attribute(NL80211_ATTR_BSS, attribute(NL80211_BSS_BSSID, address) +
                                           attribute(NL80211_BSS_INFORMATION_ELEMENTS, elements) +
                                           (status ? attribute(NL80211_BSS_STATUS, raw(*status)) : ""));
}

class NetworkTest : public testing::Test {
protected:
    ~NetworkTest() override { internal::replaceKernel(std::nullopt); }

    static void setLinks(const std::optional<std::vector<LinkAddress>>& links) {
        internal::replaceKernel(internal::Kernel{[links] { return links; }, nullptr});
    }
    /// A kernel that knows interfaces, and what the one with index 3 hears.
    static void setStations(const std::vector<std::string>& interfaces,
                            const std::vector<std::string>& stations) {
        internal::replaceKernel(internal::Kernel{
            nullptr, [=](auto request) -> internal::NetlinkAnswer {
                nlmsghdr header{};
                genlmsghdr command{};
                std::memcpy(&header, request.data(), sizeof(header));
                std::memcpy(&command, request.data() + NLMSG_HDRLEN, sizeof(command));
                std::vector<std::vector<std::byte>> answer;
                if (header.nlmsg_type == GENL_ID_CTRL) {
                    answer.push_back(message(attribute(CTRL_ATTR_FAMILY_ID, raw(wireless))));
                    return answer;
                }
                EXPECT_EQ(header.nlmsg_type, wireless);
                const bool isScan = command.cmd == NL80211_CMD_GET_SCAN;
                std::uint32_t index = 0;
                if (isScan) {
                    std::memcpy(&index, request.data() + NLMSG_HDRLEN + GENL_HDRLEN + NLA_HDRLEN,
                                sizeof(index));
                }
                for (const auto& one : !isScan      ? interfaces
                                       : index == 3 ? stations
                                                    : std::vector<std::string>()) {
                    answer.push_back(message(one));
                }
                return answer;
            }});
    }
};

TEST_F(NetworkTest, FindsHardwareAddresses) {
    const LinkAddress loopback{"lo", AF_PACKET, ARPHRD_LOOPBACK, {0, 0, 0, 0, 0, 0}};
    const LinkAddress wired{"eth0", AF_PACKET, ARPHRD_ETHER, {0xA0, 0xB1, 0xC2, 0xD3, 0xE4, 0x05}};
    const LinkAddress again{"eth0", AF_PACKET, ARPHRD_ETHER, {1, 2, 3, 4, 5, 6}};
    const LinkAddress tunnel{"en0", AF_PACKET, ARPHRD_TUNNEL, {9, 9, 9, 9}};
    const LinkAddress named{"en0", AF_PACKET, ARPHRD_ETHER, {0xFF, 0, 0, 0, 0, 1}};
    const LinkAddress internet{"eth1", AF_INET, ARPHRD_ETHER, {9, 9, 9, 9, 9, 9}};
    struct Case {
        std::optional<std::vector<LinkAddress>> links;
        const char* name;
        const char* address;  // "untouched" where the buffer is
    };
    const Case cases[] = {
        {{{loopback, wired}}, "eth0", "A0:B1:C2:D3:E4:05"},
        {{{wired, again}}, "eth0", "01:02:03:04:05:06"},
        {{{loopback, wired}}, "en0", "A0:B1:C2:D3:E4:05"},
        {{{wired, named}}, "en0", "FF:00:00:00:00:01"},
        {{{wired, tunnel}}, "en0", "untouched"},
        {{{loopback}}, "en0", "untouched"},
        {{{loopback, internet}}, "lo", "untouched"},
        {{{loopback, internet}}, "eth1", "untouched"},
        {{{wired}}, "eth", "untouched"},
        {std::nullopt, "eth0", "untouched"},
    };
    for (const auto& [links, name, address] : cases) {
        setLinks(links);
        std::array<char, 18> buffer{"untouched"};
        EXPECT_EQ(getMacAddress(buffer.data(), name), buffer.data());
        EXPECT_STREQ(buffer.data(), address);
    }
    setLinks({{loopback, wired}});
    EXPECT_EQ(macAddr(nullptr), "A0:B1:C2:D3:E4:05");
    setLinks(std::nullopt);
    EXPECT_EQ(macAddr(nullptr), "");
}

TEST_F(NetworkTest, KnowsTheNetworkThatItIsIn) {
    const std::string address = "\xA0\xB1\xC2\xD3\xE4\xF5";
    const std::vector<std::string> interfaces = {interfaceAttributes(2, "wlan0"),
                                                 interfaceAttributes(3, "wlan1"),
                                                 attribute(NL80211_ATTR_WIPHY, "only")};
    const std::string elements = std::string("\x01\x02zz\0\x04Home", 10) + "\x03\x01z";
    setStations(interfaces, {station({}, "\1\2\3\4\5\6", {"\0\5Other", 7}),
                             station(NL80211_BSS_STATUS_AUTHENTICATED, "\1\2\3\4\5\6", {"\0\5Other", 7}),
                             station(NL80211_BSS_STATUS_ASSOCIATED, address, elements)});
    EXPECT_EQ(id(CNCopySupportedInterfaces()), id(NSArray::arrayWithObjects({"wlan0", "wlan1"})));
    EXPECT_FALSE(CNCopyCurrentNetworkInfo("wlan0"));
    EXPECT_FALSE(CNCopyCurrentNetworkInfo("eth0"));
    EXPECT_EQ(UIDeviceClass::currentWifiSSID(), "Home");
    EXPECT_EQ(UIDeviceClass::currentWifiBSSID(), 0xA0B1C2D3E4F5U);
    EXPECT_EQ(
        id(UIDeviceClass::currentWifiInfo()),
        id(NSDictionary::dictionary(
            {{"SSID", "Home"}, {"SSIDDATA", NSData::dataWithText("Home")}, {"BSSID", "a0:b1:c2:d3:e4:f5"}})));
    setStations(interfaces, {station(NL80211_BSS_STATUS_ASSOCIATED, address, {"\0\2\xE4z", 4})});
    EXPECT_EQ(UIDeviceClass::currentWifiSSID(), "äz");
}

TEST_F(NetworkTest, IsInNoneWhenTheAnswerIsBroken) {
    const auto joined = station(NL80211_BSS_STATUS_ASSOCIATED, "\1\2\3\4\5\6", {"\0\4Home", 6});
    const std::string stations[] = {
        "",
        joined.substr(0, 3),
        joined.substr(0, joined.size() - 1),
        station(NL80211_BSS_STATUS_ASSOCIATED, "\1\2\3", {"\0\4Home", 6}),
        station(NL80211_BSS_STATUS_ASSOCIATED, "\1\2\3\4\5\6", {"\0\5Home", 6}),
        station(NL80211_BSS_STATUS_ASSOCIATED, "\1\2\3\4\5\6", {"\0\0", 2}),
        attribute(NL80211_ATTR_BSS, ""),
    };
    for (const auto& one : stations) {
        setStations({interfaceAttributes(3, "wlan0")}, {one});
        EXPECT_FALSE(UIDeviceClass::currentWifiInfo());
    }
    setStations({}, {});
    EXPECT_FALSE(UIDeviceClass::currentWifiSSID());
    internal::replaceKernel(internal::Kernel{nullptr, [](auto) { return std::nullopt; }});
    EXPECT_FALSE(CNCopySupportedInterfaces());
    EXPECT_EQ(UIDeviceClass::currentWifiBSSID(), 0U);
}

TEST_F(NetworkTest, AsksTheRealKernel) {
    const auto links = internal::kernel().linkAddresses();
    ASSERT_TRUE(links);
    for (const auto& link : *links) {
        EXPECT_EQ(link.family, AF_PACKET) << link.interfaceName;
    }
    // The controller of generic netlink describes itself on every machine.
    const auto name = attribute(CTRL_ATTR_FAMILY_NAME, std::string("nlctrl") + '\0');
    auto request = message(name);
    nlmsghdr header{};
    std::memcpy(&header, request.data(), sizeof(header));
    header.nlmsg_type = GENL_ID_CTRL;
    header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    const genlmsghdr command{CTRL_CMD_GETFAMILY, 1, 0};
    std::memcpy(request.data(), &header, sizeof(header));
    std::memcpy(request.data() + NLMSG_HDRLEN, &command, sizeof(command));
    const auto answer = internal::kernel().genericNetlink(request);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->size(), 1U);
}

}  // namespace
}  // namespace qz::test
