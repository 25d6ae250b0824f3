// qz localize: what a user would read.
#include <CLI/CLI.hpp>
#include <iostream>

#include "Command.h"
#include "QZUtils/Device/QZNSBundle.h"

namespace qz::tool {

void addLocalize(CLI::App& program) {
    struct Options {
        std::string key;
        std::string bundle;
        std::optional<std::uint64_t> number;
    };
    auto* command = program.add_subcommand(
        "localize", "Print the text of a key in the languages of the environment (LANGUAGE, LC_ALL, LANG)");
    const auto options = std::make_shared<Options>();
    command->add_option("KEY", options->key, "With or without \"QZ.iPad.\"")->required();
    command->add_option("--bundle", options->bundle, "Ask this bundle before the program's own")
        ->check(CLI::ExistingDirectory);
    command->add_option("--number", options->number, "Choose the plural form of a number");
    command->callback([options] {
        if (!options->bundle.empty()) {
            QZNSBundle::set_updatedResourcesBundle(NSBundle::bundleWithPath(options->bundle));
        }
        const auto text =
            options->number ? QZNSBundle::adjustedLocalizedPluralStringForKey(options->key, *options->number)
                            : QZNSBundle::localizedStringForKey(options->key);
        std::cout << text.value_or("") << std::endl;
    });
}

}  // namespace qz::tool
