// The part of UIDevice(Info) that says what the machine is called.
#include <sys/utsname.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <limits>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSStringEncoding.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Device/internal/DeviceVersion.h"
#include "QZUtils/Device/internal/ModelNames.h"
#include "QZUtils/Extensions/UIDevice/UIDevice+Info.h"

namespace qz {

namespace {

/// The number that a text begins with, saturated; 0 where it begins with none.
std::int64_t leadingInteger(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(text.starts_with('+') ? 1 : 0);
    std::int64_t value = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc::result_out_of_range) {
        using Limits = std::numeric_limits<std::int64_t>;
        return isNegative ? Limits::min() : Limits::max();
    }
    return value;
}

}  // namespace

std::pair<std::int64_t, std::int64_t> internal::deviceVersion(std::string_view machine) {
    const auto comma = machine.find(',');
    if (comma == std::string_view::npos) {
        return {0, 0};
    }
    const auto digit = std::min(machine.find_first_of("0123456789"), comma);
    return {leadingInteger(machine.substr(digit, comma - digit)), leadingInteger(machine.substr(comma + 1))};
}

std::string UIDeviceClass::rawSystemInfoString() {
    utsname names{};
    return ::uname(&names) == 0 ? names.machine : "";
}

std::pair<std::int64_t, std::int64_t> UIDeviceClass::deviceVersion() {
    return internal::deviceVersion(rawSystemInfoString());
}

bool UIDeviceClass::isPhone() {
    return UIDevice::currentDevice()->userInterfaceIdiom() == UIUserInterfaceIdiom::Phone;
}

std::string platform(const Ref<UIDevice>& /*self*/) {
    const auto product = NSData::dataWithText(UIDevice::currentDevice()->hardwareProduct());
    auto text = stringWithDataEncoding(product, NSStringEncoding::ASCII);
    return text && !text->empty() ? *std::move(text) : UIDeviceClass::rawSystemInfoString();
}

std::optional<std::string> manualMarketingDeviceName(const Ref<UIDevice>& self) {
    const auto product = platform(self);
    const auto* const found = std::find_if(internal::modelNames.begin(), internal::modelNames.end(),
                                           [&](const auto& model) { return model.product == product; });
    return found == internal::modelNames.end() ? std::nullopt : std::optional<std::string>(found->name);
}

std::optional<std::string> marketingDeviceName(const Ref<UIDevice>& self) {
    if (const auto* simulated = std::getenv("SIMULATOR_DEVICE_NAME"); simulated && *simulated != '\0') {
        return std::string("Simulator ") + simulated;
    }
    const auto device = self ? self : UIDevice::currentDevice();
    const auto selector = Selector(stringWithFormat("_%@ForKey:", "deviceInfo"));
    return respondsToSelector(device, selector)
               ? unbox<std::string>(send<id>(device, selector, "marketing-name"))
               : std::nullopt;
}

std::string platformString(const Ref<UIDevice>& self) {
    static const auto& name = *new std::string([&] {
        auto known = manualMarketingDeviceName(self);
        known = known ? known : marketingDeviceName(self);
        return known ? *known : platform(self);
    }());
    return name;
}

}  // namespace qz
