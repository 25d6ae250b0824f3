#include "JSON.h"

#include <glib.h>

#include <iostream>
#include <memory>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/PropertyListUID.h"

namespace qz::tool {

namespace {

std::string base64(const NSData& data) {
    const auto bytes = data.text();
    const std::unique_ptr<char, decltype(&g_free)> text(
        g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()), &g_free);
    return text.get();
}

}  // namespace

nlohmann::json jsonOf(const id& value) {
    if (const auto dictionary = value.as<NSDictionary>()) {
        auto object = nlohmann::json::object();
        for (const auto& [key, entry] : *dictionary) {
            object[unbox<std::string>(key).value_or("")] = jsonOf(entry);
        }
        return object;
    }
    if (const auto array = value.as<NSArray>()) {
        auto list = nlohmann::json::array();
        for (const auto& entry : *array) {
            list.push_back(jsonOf(entry));
        }
        return list;
    }
    if (const auto reference = value.as<PropertyListUID>()) {
        return {{"CF$UID", reference->value()}};
    }
    if (const auto data = unbox<NSData>(value)) {
        return base64(*data);
    }
    if (const auto number = value.as<NSNumber>()) {
        return std::visit([](auto plain) { return nlohmann::json(plain); }, number->value());
    }
    return descriptionOf(value);
}

void printJSON(const nlohmann::json& json) {
    std::cout << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
}

}  // namespace qz::tool
