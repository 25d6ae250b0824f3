// qz plist: property lists from one form into another.
#include <glib.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
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

/// Dates become ISO 8601 texts, data base64, references {"CF$UID": n}.
nlohmann::json json(const id& value) {
    if (const auto dictionary = value.as<NSDictionary>()) {
        auto object = nlohmann::json::object();
        for (const auto& [key, entry] : *dictionary) {
            object[unbox<std::string>(key).value_or("")] = json(entry);
        }
        return object;
    }
    if (const auto array = value.as<NSArray>()) {
        auto list = nlohmann::json::array();
        for (const auto& entry : *array) {
            list.push_back(json(entry));
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

void convert(const std::string& file, const std::string& form) {
    Ref<NSError> error;
    const auto list = NSPropertyListSerialization::propertyListWithData(
        contentOf(file), NSPropertyListReadOptions::Immutable, nullptr, &error);
    if (!list) {
        throw Failure("\"" + file + "\" is no property list: " + error->localizedDescription());
    }
    if (form == "json") {
        std::cout << json(list).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
        return;
    }
    const auto format = form == "xml" ? NSPropertyListFormat::XML : NSPropertyListFormat::Binary;
    const auto data = NSPropertyListSerialization::dataWithPropertyList(list, format, &error);
    if (!data) {
        throw Failure("this form cannot hold the list: " + error->localizedDescription());
    }
    std::cout << data->text() << std::flush;
}

}  // namespace

void addPlist(CLI::App& program) {
    struct Options {
        std::string file;
        std::string form = "xml";
    };
    auto* command = program.add_subcommand(
        "plist", "Convert a property list (binary, XML or the old text form) and print it");
    const auto options = std::make_shared<Options>();
    command->add_option("FILE", options->file, "The file; - for standard input")->required();
    command->add_option("--to", options->form, "The form to print it in")
        ->check(CLI::IsMember({"xml", "binary", "json"}))
        ->capture_default_str();
    command->callback([options] { convert(options->file, options->form); });
}

}  // namespace qz::tool
