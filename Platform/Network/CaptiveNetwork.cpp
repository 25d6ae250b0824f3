#include "Platform/Network/CaptiveNetwork.h"

#include <libmnl/libmnl.h>
#include <linux/genetlink.h>
#include <linux/nl80211.h>

#include <array>
#include <map>
#include <memory>
#include <optional>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSStringEncoding.h"
#include "Platform/Network/internal/KernelNetwork.h"

namespace qz {

namespace {

using Attributes = std::map<std::uint16_t, std::string_view>;

/// The attributes that lie one after the other in some bytes. What is cut short is left out.
Attributes attributesIn(std::string_view bytes) {
    Attributes attributes;
    const auto* attribute = reinterpret_cast<const nlattr*>(bytes.data());
    auto rest = bytes.size();
    while (::mnl_attr_ok(attribute, static_cast<int>(rest))) {
        attributes[::mnl_attr_get_type(attribute)] = {
            static_cast<const char*>(::mnl_attr_get_payload(attribute)),
            ::mnl_attr_get_payload_len(attribute)};
        const auto step = static_cast<std::size_t>(MNL_ALIGN(attribute->nla_len));
        if (step >= rest) {
            break;
        }
        rest -= step;
        attribute = ::mnl_attr_next(attribute);
    }
    return attributes;
}

std::string_view bytesOf(const Attributes& attributes, std::uint16_t type) {
    const auto found = attributes.find(type);
    return found == attributes.end() ? std::string_view() : found->second;
}

/// A number of the width that its attribute is known for.
template <class T>
std::optional<T> numberOf(const Attributes& attributes, std::uint16_t type) {
    const auto bytes = bytesOf(attributes, type);
    T value{};
    if (bytes.size() != sizeof(value)) {
        return std::nullopt;
    }
    bytes.copy(reinterpret_cast<char*>(&value), sizeof(value));
    return value;
}

std::string textOf(const Attributes& attributes, std::uint16_t type) {
    const auto bytes = bytesOf(attributes, type);
    return std::string(bytes.substr(0, bytes.find('\0')));
}

/// A generic netlink request, and its answers.
class Request {
public:
    Request(std::uint16_t family, std::uint8_t command, std::uint16_t flags) {
        message_ = ::mnl_nlmsg_put_header(bytes_.data());
        message_->nlmsg_type = family;
        message_->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
        message_->nlmsg_seq = 1;
        auto* header = static_cast<genlmsghdr*>(::mnl_nlmsg_put_extra_header(message_, sizeof(genlmsghdr)));
        header->cmd = command;
        header->version = 1;
    }

    void put(std::uint16_t type, const char* text) { ::mnl_attr_put_strz(message_, type, text); }
    void put(std::uint16_t type, std::uint32_t number) { ::mnl_attr_put_u32(message_, type, number); }

    /// Calls a function with the attributes of each answer.
    template <class F>
    void perform(F&& function) const {
        const auto answer =
            internal::kernel().genericNetlink(std::as_bytes(std::span(bytes_)).first(message_->nlmsg_len));
        if (!answer) {
            return;
        }
        constexpr std::size_t headers = MNL_NLMSG_HDRLEN + MNL_ALIGN(sizeof(genlmsghdr));
        for (const auto& message : *answer) {
            if (message.size() > headers) {
                function(attributesIn(
                    {reinterpret_cast<const char*>(message.data()) + headers, message.size() - headers}));
            }
        }
    }

private:
    alignas(nlmsghdr) std::array<char, 256> bytes_{};
    nlmsghdr* message_;
};

/// Families get their numbers as the kernel starts; nullopt where there is no wireless subsystem.
std::optional<std::uint16_t> wirelessFamily() {
    std::optional<std::uint16_t> family;
    Request request(GENL_ID_CTRL, CTRL_CMD_GETFAMILY, NLM_F_ACK);
    request.put(CTRL_ATTR_FAMILY_NAME, NL80211_GENL_NAME);
    request.perform([&](const Attributes& attributes) {
        family = numberOf<std::uint16_t>(attributes, CTRL_ATTR_FAMILY_ID);
    });
    return family;
}

struct Interface {
    std::string name;
    std::uint32_t index;
};

std::vector<Interface> wirelessInterfaces(std::uint16_t family) {
    std::vector<Interface> interfaces;
    Request(family, NL80211_CMD_GET_INTERFACE, NLM_F_DUMP).perform([&](const Attributes& attributes) {
        const auto index = numberOf<std::uint32_t>(attributes, NL80211_ATTR_IFINDEX);
        auto name = textOf(attributes, NL80211_ATTR_IFNAME);
        if (index && !name.empty()) {
            interfaces.push_back({std::move(name), *index});
        }
    });
    return interfaces;
}

/// The network's name among the information elements of its beacons (IEEE 802.11, 9.4.2): each is a type, a
/// length and as many bytes; the name has type 0.
std::string_view nameIn(std::string_view elements) {
    while (elements.size() >= 2) {
        const auto length = std::size_t{static_cast<unsigned char>(elements[1])};
        if (elements.size() - 2 < length) {
            break;
        }
        if (elements[0] == 0) {
            return elements.substr(2, length);
        }
        elements.remove_prefix(2 + length);
    }
    return {};
}

Ref<NSDictionary> networkOf(const Attributes& station) {
    const auto status = numberOf<std::uint32_t>(station, NL80211_BSS_STATUS);
    const auto address = bytesOf(station, NL80211_BSS_BSSID);
    const auto name = nameIn(bytesOf(station, NL80211_BSS_INFORMATION_ELEMENTS));
    const bool isJoined = status == NL80211_BSS_STATUS_ASSOCIATED || status == NL80211_BSS_STATUS_IBSS_JOINED;
    if (!isJoined || address.size() != 6 || name.empty()) {
        return nullptr;
    }
    std::string digits;
    for (const auto octet : address) {
        digits += (digits.empty() ? "" : ":") + stringWithFormat("%02x", static_cast<unsigned char>(octet));
    }
    const auto data = NSData::dataWithText(name);
    auto text = stringWithDataEncoding(data, NSStringEncoding::UTF8);
    text = text ? text : stringWithDataEncoding(data, NSStringEncoding::ISOLatin1);
    return NSDictionary::dictionary({
        {kCNNetworkInfoKeySSID, text.value_or("")},
        {kCNNetworkInfoKeySSIDData, data},
        {kCNNetworkInfoKeyBSSID, digits},
    });
}

}  // namespace

Ref<NSArray> CNCopySupportedInterfaces() {
    std::vector<id> names;
    if (const auto family = wirelessFamily()) {
        for (auto& interface : wirelessInterfaces(*family)) {
            names.emplace_back(std::move(interface.name));
        }
    }
    return names.empty() ? nullptr : NSArray::arrayWithObjects(std::move(names));
}

Ref<NSDictionary> CNCopyCurrentNetworkInfo(std::string_view interfaceName) {
    const auto family = wirelessFamily();
    const auto interfaces = family ? wirelessInterfaces(*family) : std::vector<Interface>();
    Ref<NSDictionary> network;
    for (const auto& interface : interfaces) {
        if (interface.name == interfaceName && !network) {
            Request request(*family, NL80211_CMD_GET_SCAN, NLM_F_DUMP);
            request.put(NL80211_ATTR_IFINDEX, interface.index);
            request.perform([&](const Attributes& attributes) {
                const auto found = networkOf(attributesIn(bytesOf(attributes, NL80211_ATTR_BSS)));
                network = network ? network : found;
            });
        }
    }
    return network;
}

}  // namespace qz
