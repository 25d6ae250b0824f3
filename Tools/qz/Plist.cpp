// qz plist: property lists from one form into another.
#include <CLI/CLI.hpp>
#include <iostream>

#include "Command.h"
#include "JSON.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"

namespace qz::tool {

namespace {

void convert(const std::string& file, const std::string& form) {
    Ref<NSError> error;
    const auto list = NSPropertyListSerialization::propertyListWithData(
        contentOf(file), NSPropertyListReadOptions::Immutable, nullptr, &error);
    if (!list) {
        throw Failure("\"" + file + "\" is no property list: " + error->localizedDescription());
    }
    if (form == "json") {
        printJSON(jsonOf(list));
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
