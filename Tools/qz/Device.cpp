// qz device: which device this is.
#include <CLI/CLI.hpp>
#include <iostream>

#include "Command.h"
#include "JSON.h"
#include "Platform/Foundation/Format.h"
#include "QZUtils/Extensions/UIDevice/UIDevice+Info.h"

namespace qz::tool {

namespace {

void describe(bool asJSON) {
    const auto device = UIDevice::currentDevice();
    const auto ssid = UIDeviceClass::currentWifiSSID();
    std::string bssid;
    if (const auto number = UIDeviceClass::currentWifiBSSID(); number != 0) {
        bssid = stringWithFormat("%012llx", static_cast<unsigned long long>(number));
    }
    const std::pair<const char*, std::optional<std::string>> lines[] = {
        {"identifier", UDID(device)},
        {"model", platformString(device)},
        {"product", platform(device)},
        {"machine", UIDeviceClass::rawSystemInfoString()},
        {"mac", macAddr(device)},
        {"ssid", ssid},
        {"bssid", bssid},
    };
    if (asJSON) {
        auto object = nlohmann::json::object();
        for (const auto& [name, value] : lines) {
            object[name] = value && !value->empty() ? nlohmann::json(*value) : nlohmann::json();
        }
        printJSON(object);
        return;
    }
    for (const auto& [name, value] : lines) {
        if (value && !value->empty()) {
            std::cout << name << ": " << *value << '\n';
        }
    }
    std::cout << std::flush;
}

}  // namespace

void addDevice(CLI::App& program) {
    struct Options {
        bool asJSON = false;
    };
    auto* command = program.add_subcommand(
        "device",
        "Print the device's identifier, which is made and kept if there is none, its model and network");
    const auto options = std::make_shared<Options>();
    command->add_flag("--json", options->asJSON, "Print a JSON object; null for what is not known");
    command->callback([options] { describe(options->asJSON); });
}

}  // namespace qz::tool
