// qz unzip: the files of an archive.
#include <regex.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>
#include <vector>

#include "Command.h"
#include "PatternTime.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/QZUnzip/QZUnzip.h"
#include "Terminal.h"

namespace qz::tool {

namespace {

struct Options {
    std::string archive;
    std::string directory = ".";
    bool keepsExisting = false;
    std::string password;
    std::string only;
    bool writesJSON = false;
};

/// Which entries are wanted, by a POSIX pattern as `qz cat --regex` takes it.
class Selection {
public:
    explicit Selection(const std::string& pattern) {
        const PatternTime limit;
        if (::regcomp(&compiled_, pattern.c_str(), REG_NOSUB) != 0) {
            throw Failure("\"" + pattern + "\" is no pattern", wrongUsage);
        }
    }
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;
    ~Selection() { ::regfree(&compiled_); }

    std::optional<std::string> operator()(const std::string& name) {
        const PatternTime limit;
        if (::regexec(&compiled_, name.c_str(), 0, nullptr, 0) != 0) {
            return std::nullopt;
        }
        isMatched_ = true;
        return name;
    }
    [[nodiscard]] bool isMatched() const noexcept { return isMatched_; }

private:
    regex_t compiled_{};
    bool isMatched_ = false;
};

void printJSON(const std::vector<std::string>& entries, const std::vector<std::string>& problems) {
    const nlohmann::ordered_json report{{"entries", entries}, {"problems", problems}};
    using Dump = nlohmann::ordered_json;
    std::cout << report.dump(-1, ' ', false, Dump::error_handler_t::replace)
              << '\n';  // paths may be any bytes
}

void unzip(const Options& options) {
    std::optional<Selection> selection;
    if (!options.only.empty()) {
        selection.emplace(options.only);
    }
    std::vector<std::string> entries;
    const auto filter = [&](const std::string& name) {
        auto place = selection ? (*selection)(name) : std::optional(name);
        if (place && options.writesJSON) {
            entries.push_back(name);
        }
        return place;
    };
    const auto outcome = QZUnzip::unzip({.archive = options.archive,
                                         .directory = options.directory,
                                         .overwrite = !options.keepsExisting,
                                         .password = options.password,
                                         .filter = filter});
    if (outcome.error) {
        throw Failure("\"" + options.archive + "\": " + outcome.error->localizedDescription());
    }
    if (options.writesJSON) {
        printJSON(entries, outcome.warnings);
    }
    if (!outcome.warnings.empty()) {
        throw Failure(firstOf(outcome.warnings.front(), outcome.warnings.size()));
    }
    if (!outcome.isComplete()) {
        throw Failure("\"" + options.archive + "\": its list of entries is damaged");
    }
    if (selection && !selection->isMatched()) {
        throw Failure("no entry of \"" + options.archive + "\" matches \"" + options.only + "\"");
    }
}

}  // namespace

void addUnzip(CLI::App& program) {
    auto* command = program.add_subcommand("unzip", "Extract the files of a zip archive");
    const auto options = std::make_shared<Options>();
    command->add_option("-d,--directory", options->directory, "Where they go")->capture_default_str();
    command->add_flag("-n,--no-overwrite", options->keepsExisting, "Keep files that exist");
    command->add_option("-P,--password", options->password, "The password of encrypted entries (ASCII)");
    command->add_option("--only", options->only,
                        "Extract those whose names this pattern (POSIX, basic) matches anywhere");
    command->add_flag("--json", options->writesJSON,
                      "Print an object: the entries that were to be extracted, and the problems met");
    command->add_option("ARCHIVE", options->archive, "The archive")->required();
    command->callback([options] { unzip(*options); });
}

}  // namespace qz::tool
