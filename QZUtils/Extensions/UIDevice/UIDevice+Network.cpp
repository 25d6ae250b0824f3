// The part of UIDevice(Info) that says where the device is on the network.
#include <net/if_arp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSStringEncoding.h"
#include "Platform/Network/CaptiveNetwork.h"
#include "Platform/Network/internal/KernelNetwork.h"
#include "QZUtils/Extensions/UIDevice/UIDevice+Info.h"

namespace qz {

namespace {

constexpr std::string_view firstInterface = "en0";
constexpr std::size_t octetCount = 6;
constexpr std::size_t bufferSize = 3 * octetCount;

bool isEthernet(const internal::LinkAddress& link) {
    return link.family == AF_PACKET && link.type == ARPHRD_ETHER;
}

/// The last entry of Ethernet type with the name; null where there is none.
const internal::LinkAddress* linkNamed(std::string_view name,
                                       const std::vector<internal::LinkAddress>& links) {
    const auto hasName = [&](const internal::LinkAddress& link) { return link.interfaceName == name; };
    if (name == firstInterface && std::none_of(links.begin(), links.end(), hasName)) {
        const auto first = std::find_if(links.begin(), links.end(), isEthernet);
        return first == links.end() ? nullptr : &*first;
    }
    const auto last = std::find_if(links.rbegin(), links.rend(), [&](const internal::LinkAddress& link) {
        return hasName(link) && isEthernet(link);
    });
    return last == links.rend() ? nullptr : &*last;
}

std::optional<std::string> entryOfWifi(std::string_view key) {
    const auto network = UIDeviceClass::currentWifiInfo();
    return network ? unbox<std::string>(network->objectForKey(key)) : std::nullopt;
}

}  // namespace

char* getMacAddress(char* buffer, const char* interfaceName) {
    const auto links = internal::kernel().linkAddresses();
    const auto* const link = links ? linkNamed(interfaceName, *links) : nullptr;
    if (!link) {
        return buffer;
    }
    std::fill_n(buffer, bufferSize, '\0');
    constexpr std::string_view digits = "0123456789ABCDEF";
    auto* end = buffer;
    for (std::size_t i = 0; i < std::min(link->address.size(), octetCount); ++i) {
        if (i > 0) {
            *end++ = ':';
        }
        *end++ = digits[link->address[i] >> 4U];
        *end++ = digits[link->address[i] & 0xFU];
    }
    return buffer;
}

std::string macAddr(const Ref<UIDevice>& /*self*/) {
    std::array<char, bufferSize> buffer{};
    const auto address = NSData::dataWithText(getMacAddress(buffer.data(), firstInterface.data()));
    return stringWithDataEncoding(address, NSStringEncoding::MacOSRoman).value_or("");
}

Ref<NSDictionary> UIDeviceClass::currentWifiInfo() {
    const auto names = CNCopySupportedInterfaces();
    if (!names) {
        return nullptr;
    }
    for (const auto& name : *names) {
        auto network = CNCopyCurrentNetworkInfo(unbox<std::string>(name).value_or(""));
        if (network && network->objectForKey(kCNNetworkInfoKeySSID)) {
            return network;
        }
    }
    return nullptr;
}

std::optional<std::string> UIDeviceClass::currentWifiSSID() {
    return entryOfWifi(kCNNetworkInfoKeySSID);
}

std::uint64_t UIDeviceClass::currentWifiBSSID() {
    const auto text = entryOfWifi(kCNNetworkInfoKeyBSSID).value_or("");
    std::array<unsigned char, octetCount> octets{};
    // Octets that cannot be read stay 0, which is what callers expect of a text that is cut short.
    (void)std::sscanf(text.c_str(), "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx", &octets[0], &octets[1],
                      &octets[2],  // NOLINT
                      &octets[3], &octets[4], &octets[5]);
    std::uint64_t number = 0;
    for (const auto octet : octets) {
        number = number << 8U | octet;
    }
    return number;
}

}  // namespace qz
