// The command table as a manual page and as a completion for bash, so that neither can forget an option.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace qz::tool {

/// In the man macros of roff, section 1.
[[nodiscard]] std::string manualPage(const CLI::App& program);
/// To be sourced by bash, or found by bash-completion under the program's name.
[[nodiscard]] std::string bashCompletion(const CLI::App& program);

}  // namespace qz::tool
