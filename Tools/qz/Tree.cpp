// qz tree: an XML file as an indented tree.
#include <CLI/CLI.hpp>
#include <iostream>
#include <sstream>

#include "Command.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Text/NSXMLParser.h"
#include "QZUtils/Markup/SPXML.h"

namespace qz::tool {

namespace {

/// The words of a text with one blank between them.
std::string onOneLine(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

/// `issue id='7': Daily`, and the children below it. A document is no deeper than its parser allows.
void print(SPNode& node, std::size_t depth) {
    std::cout << std::string(2 * depth, ' ') << node.name();
    if (node.hasAttributes()) {
        for (const auto& [name, value] : *node.allAttributes()) {
            std::cout << ' ' << descriptionOf(name) << "='" << descriptionOf(value) << "'";
        }
    }
    const auto text = onOneLine(node.stringValue());
    std::cout << (text.empty() ? "" : ": ") << text << '\n';
    for (const auto& child : node.childs()) {
        print(*child, depth + 1);
    }
}

/// A file with an error in it is shown up to the error.
void show(const std::string& file, bool asXML) {
    const auto parser = NSXMLParser::initWithData(contentOf(file));
    const auto document = SPXML::initWithXMLParser(parser);
    if (const auto top = document ? document->FirstNode() : nullptr) {
        if (asXML) {
            std::cout << *SPXML::xmlWithNode(top)->description() << '\n';
        } else {
            print(*top, 0);
        }
        std::cout << std::flush;
    }
    if (const auto& error = parser->parserError()) {
        throw Failure("\"" + file + "\" is no XML document: " + error->localizedDescription());
    }
}

}  // namespace

void addTree(CLI::App& program) {
    struct Options {
        std::string file;
        bool asXML = false;
    };
    auto* command = program.add_subcommand("tree", "Print an XML file as an indented tree");
    const auto options = std::make_shared<Options>();
    command->add_option("FILE", options->file, "The file; - for standard input")->required();
    command->add_flag("--xml", options->asXML, "Write the tree as XML");
    command->callback([options] { show(options->file, options->asXML); });
}

}  // namespace qz::tool
