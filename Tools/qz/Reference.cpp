#include "Reference.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>

#include "QZUtils/Version.h"

namespace qz::tool {

namespace {

std::vector<const CLI::App*> commandsOf(const CLI::App& program) {
    return program.get_subcommands([](const CLI::App* command) { return !command->get_name().empty(); });
}

/// Without the hidden ones; with those of groups, which are nameless commands to the parser.
std::vector<const CLI::Option*> optionsOf(const CLI::App& app) {
    auto options = app.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
    for (const auto* group :
         app.get_subcommands([](const CLI::App* command) { return command->get_name().empty(); })) {
        std::ranges::copy_if(optionsOf(*group), std::back_inserter(options),
                             [&](const CLI::Option* option) { return option != group->get_help_ptr(); });
    }
    return options;
}

std::vector<std::string> wordsOf(const CLI::Option& option) {
    std::vector<std::string> words;
    for (const auto& name : option.get_snames()) {
        words.push_back('-' + name);
    }
    for (const auto& name : option.get_lnames()) {
        words.push_back("--" + name);
    }
    return words;
}

bool takesValue(const CLI::Option& option) {
    return option.get_expected_min() > 0 && !option.get_positional();
}

/// A text that roff shows as it stands.
std::string literal(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '\\') {
            result += "\\e";
        } else if (c == '-') {
            result += "\\-";
        } else if (result.empty() && (c == '.' || c == '\'')) {
            result += std::string("\\&") + c;
        } else {
            result += c == '\n' ? ' ' : c;
        }
    }
    return result;
}

std::string argument(const CLI::Option& option) {
    const bool isMany = option.get_expected_max() > 1;
    const auto name = "\\fI" + literal(option.get_single_name()) + "\\fR" + (isMany ? "..." : "");
    return option.get_required() ? name : '[' + name + ']';
}

std::string optionEntry(const CLI::Option& option) {
    std::string names;
    for (const auto& word : wordsOf(option)) {
        names += (names.empty() ? "" : ", ") + ("\\fB" + literal(word) + "\\fR");
    }
    if (takesValue(option)) {
        names += " \\fI" + literal(option.get_type_name()) + "\\fR";
    }
    return ".TP\n" + (option.get_positional() ? argument(option) : names) + '\n' +
           literal(option.get_description()) +
           (option.get_default_str().empty() ? "" : " (" + literal(option.get_default_str()) + ")") + ".\n";
}

std::string commandEntry(const CLI::App& command) {
    auto synopsis = "\\fBqz " + command.get_name() + "\\fR [\\fIoption\\fR...]";
    std::string entries;
    for (const auto* option : optionsOf(command)) {
        if (option->get_positional()) {
            synopsis += ' ' + argument(*option);
        }
        if (option->get_name() != "--help") {
            entries += optionEntry(*option);
        }
    }
    return ".SS " + command.get_name() + '\n' + synopsis + "\n.PP\n" + literal(command.get_description()) +
           ".\n" + entries;
}

}  // namespace

std::string manualPage(const CLI::App& program) {
    std::string page = ".TH QZ 1 \"\" \"QZUtils " + std::string(libraryVersion()) + "\"\n.SH NAME\nqz \\- " +
                       literal(program.get_description()) +
                       "\n.SH SYNOPSIS\n\\fBqz\\fR [\\fB\\-v\\fR] \\fIcommand\\fR [\\fIoption\\fR...]\n"
                       ".SH OPTIONS\n";
    for (const auto* option : optionsOf(program)) {
        page += optionEntry(*option);
    }
    page += ".SH COMMANDS\n";
    for (const auto* command : commandsOf(program)) {
        page += commandEntry(*command);
    }
    return page + ".SH EXIT STATUS\n" + literal(program.get_footer()) + '\n';
}

std::string bashCompletion(const CLI::App& program) {
    const auto words = [](const CLI::App& app) {
        std::string list;
        for (const auto* option : optionsOf(app)) {
            for (const auto& word : wordsOf(*option)) {
                list += (list.empty() ? "" : " ") + word;
            }
        }
        return list;
    };
    std::string names;
    std::string cases;
    for (const auto* command : commandsOf(program)) {
        names += (names.empty() ? "" : " ") + command->get_name();
        cases += "        " + command->get_name() + ") words='" + words(*command) + "' ;;\n";
    }
    return "# bash completion for qz\n"
           "_qz() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} command='' word words\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        if [[ $word != -* ]]; then\n"
           "            command=$word\n"
           "            break\n"
           "        fi\n"
           "    done\n"
           "    case $command in\n"
           "        '') words='" +
           words(program) + ' ' + names + "' ;;\n" + cases +
           "        *) words='' ;;\n"
           "    esac\n"
           "    if [[ -z $command || $current == -* ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    else\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "    fi\n"
           "}\n"
           "complete -o filenames -o bashdefault -F _qz qz\n";
}

}  // namespace qz::tool
