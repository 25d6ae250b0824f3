// qz cat: one entry of an archive.
#include <CLI/CLI.hpp>
#include <iostream>

#include "Command.h"
#include "PatternTime.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/QZUnzip/QZUnzip.h"

namespace qz::tool {

namespace {

struct Options {
    std::string archive;
    std::string name;
    bool isPattern = false;
    std::string password;
};

void print(const Options& options) {
    Ref<NSError> error;
    bool isThere = true;
    if (options.isPattern) {
        const PatternTime limit;
        isThere = QZUnzip::checkFilePassword(options.name, options.archive, options.password, true, &error);
    }
    const auto contents =
        isThere ? QZUnzip::extractDataFromFilePassword(options.name, options.archive, options.password,
                                                       options.isPattern, &error)
                : std::nullopt;
    if (!contents) {
        throw Failure("\"" + options.name + "\" in \"" + options.archive +
                      "\": " + error->localizedDescription());
    }
    std::cout << contents->text() << std::flush;
}

}  // namespace

void addCat(CLI::App& program) {
    auto* command = program.add_subcommand("cat", "Print one entry of a zip archive");
    const auto options = std::make_shared<Options>();
    command->add_flag("--regex", options->isPattern,
                      "NAME is a pattern (POSIX, basic): the first entry that it matches anywhere");
    command->add_option("-P,--password", options->password, "The password of encrypted entries (ASCII)");
    command->add_option("ARCHIVE", options->archive, "The archive")->required();
    command->add_option("NAME", options->name, "The entry, in whatever case")->required();
    command->callback([options] { print(*options); });
}

}  // namespace qz::tool
