// qz xml: an XML file as dictionaries and arrays.
#include <CLI/CLI.hpp>

#include "Command.h"
#include "JSON.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/Markup/XMLReader.h"

namespace qz::tool {

void addXML(CLI::App& program) {
    auto* command = program.add_subcommand("xml", "Print an XML file as dictionaries and arrays, in JSON");
    const auto file = std::make_shared<std::string>();
    command->add_option("FILE", *file, "The file; - for standard input")->required();
    command->callback([file] {
        Ref<NSError> error;
        const auto dictionary = XMLReader::dictionaryForXMLData(contentOf(*file), &error);
        if (!dictionary) {
            throw Failure("\"" + *file + "\" is no XML document: " + error->localizedDescription());
        }
        printJSON(jsonOf(dictionary));
    });
}

}  // namespace qz::tool
