// qz inflate: a raw DEFLATE stream into what was compressed.
#include <CLI/CLI.hpp>
#include <iostream>
#include <iterator>

#include "Command.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/Extensions/NSData/NSData+Inflated.h"

namespace qz::tool {

void addInflate(CLI::App& program) {
    auto* command = program.add_subcommand(
        "inflate", "Decompress a raw DEFLATE stream (RFC 1951) from standard input to standard output");
    command->callback([] {
        Ref<NSError> error;
        const auto given = NSData::dataWithText(std::string(std::istreambuf_iterator(std::cin), {}));
        const auto data = inflated(given, &error);
        if (!data) {
            throw Failure("this cannot be inflated: " + error->localizedDescription());
        }
        if (!(std::cout << data->text() << std::flush)) {
            throw Failure("the output cannot be written");
        }
    });
}

}  // namespace qz::tool
