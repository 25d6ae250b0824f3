// CaptiveNetwork: the wireless networks that the machine is in.
//
//     const auto names = CNCopySupportedInterfaces();                    // ["wlp2s0"]
//     const auto network = CNCopyCurrentNetworkInfo("wlp2s0");
//     network->objectForKey(kCNNetworkInfoKeyBSSID)                      // "a0:b1:c2:d3:e4:f5"
//
// What the kernel's wireless subsystem says (nl80211, through generic netlink), without rights and without a
// network service. Some tens of microseconds a call, and no longer than two seconds. Safe from any thread.
#pragma once

#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSArray;
class NSDictionary;

/// The network's name as text: of bytes that are no UTF-8 each one stands for the Latin-1 character.
inline constexpr std::string_view kCNNetworkInfoKeySSID = "SSID";
/// The name's bytes, NSData.
inline constexpr std::string_view kCNNetworkInfoKeySSIDData = "SSIDDATA";
/// The access point's hardware address, in lower case.
inline constexpr std::string_view kCNNetworkInfoKeyBSSID = "BSSID";

/// The names of the wireless interfaces, in the kernel's order; null when there is none.
[[nodiscard]] QZ_EXPORT Ref<NSArray> CNCopySupportedInterfaces();
/// The network that an interface is in: these three keys. Null when it is in none or not wireless.
[[nodiscard]] QZ_EXPORT Ref<NSDictionary> CNCopyCurrentNetworkInfo(std::string_view interfaceName);

}  // namespace qz
