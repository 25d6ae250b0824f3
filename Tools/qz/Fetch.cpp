// qz fetch: downloads a file from the first of several mirrors that has it.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <stop_token>

#include "Command.h"
#include "Interruptions.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSProgress.h"
#include "Platform/Foundation/NSURL.h"
#include "QZUtils/Delivery/QZDelivery.h"
#include "QZUtils/Download/QZDownload.h"
#include "Terminal.h"

namespace qz::tool {

namespace {

struct Options {
    std::string output;
    std::string directory;
    std::string password;
    std::vector<std::string> urls;
    std::int64_t length = -1;
    bool keepsNothing = false;
    bool isQuiet = false;
    bool writesJSON = false;
    double saveInterval = 10;
};

Ref<NSURL> loadableURL(const std::string& text) {
    auto url = NSURL::URLWithString(text);
    const auto scheme = url ? url->scheme().value_or("") : "";
    if (scheme != "http" && scheme != "https" && scheme != "file") {
        throw Failure("\"" + text + "\" is not a URL that can be fetched", wrongUsage);
    }
    return url;
}

void report(const QZDownload& download, const Options& options) {
    if (!options.writesJSON) {
        return;
    }
    nlohmann::json said{{"file", *download.filePath()},
                        {"bytes", download.fileLength()},
                        {"url", download.url() ? nlohmann::json(*download.url()) : nlohmann::json()}};
    if (!options.directory.empty()) {
        said["directory"] = options.directory;
    }
    std::cout << said.dump() << std::endl;
}

Failure failureOf(const NSError& error) {
    auto line = error.localizedDescription();
    if (const auto warnings = error.userInfo()->objectForKey(QZDeliveryWarningsKey).as<NSArray>()) {
        line += ": " + firstOf(unbox<std::string>(warnings->firstObject()).value_or(""), warnings->count());
    }
    return Failure(line);
}

void fetch(Options options) {
    for (const auto& url : options.urls) {
        const auto address = loadableURL(url);
        if (options.output.empty()) {
            options.output = address->lastPathComponent();
        }
    }
    if (options.output.empty() || options.output == "/") {
        throw Failure("the URL has no name for the file: say one with -o", wrongUsage);
    }
    const auto path = std::filesystem::absolute(options.output).lexically_normal().string();
    if (std::filesystem::is_directory(path)) {
        throw Failure("\"" + options.output + "\" is a directory", wrongUsage);
    }

    Interruptions::block();
    std::stop_source stop;
    const Interruptions interruptions([&] { stop.request_stop(); });
    Ref<QZDownload> download;
    Ref<QZPromise> promise;
    {
        std::optional<ProgressLine> line;
        if (!options.isQuiet) {
            line.emplace(std::filesystem::path(path).filename(),
                         [&] { return download ? download->progress() : nullptr; });
        }
        promise = deliver({.file = path,
                           .mirrors = options.urls,
                           .length = options.length,
                           .directory = options.directory,
                           .password = options.password,
                           .stop = stop.get_token(),
                           .configure = [&](const Ref<QZDownload>& started) {
                               download = started;
                               download->setDeleteFileOnError(options.keepsNothing);
                               download->setResumeDataSaveInterval(options.saveInterval);
                           }});
        (void)promise->wait();
    }
    if (promise->isFulfilled()) {
        report(*download, options);
        return;
    }
    if (stop.stop_requested()) {
        const auto record = *download->resumeDataPath();
        throw Failure(std::filesystem::exists(record)
                          ? stringWithFormat("interrupted; the same command goes on from %llu bytes",
                                             download->currentLength())
                          : "interrupted",
                      interrupted);
    }
    throw failureOf(*promise->error());
}

}  // namespace

void addFetch(CLI::App& program) {
    auto* command = program.add_subcommand(
        "fetch", "Download a file from the first mirror that has it, going on where an earlier try stopped");
    const auto options = std::make_shared<Options>();
    command->add_option("-o,--output", options->output,
                        "Where the file goes; the last part of the first URL, if not said");
    command
        ->add_option("--length", options->length,
                     "Bytes of the file, if known: a file of that length is complete")
        ->check(CLI::NonNegativeNumber);
    command->add_flag("--no-resume", options->keepsNothing,
                      "Keep nothing to go on from, and do not go on from what was kept");
    command
        ->add_option(
            "--save-interval", options->saveInterval,
            "Seconds between two notes of what has arrived, in case the program is killed; 0 for none")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    command->add_option("--extract", options->directory,
                        "Extract the file, a zip archive, to this directory when it has arrived");
    command->add_option("-P,--password", options->password, "The password of encrypted entries (ASCII)")
        ->needs("--extract");
    command->add_flag("-q,--quiet", options->isQuiet, "Show no progress");
    command->add_flag("--json", options->writesJSON, "Say what was fetched, as JSON");
    command->add_option("URL", options->urls, "Mirrors, in the order in which they are tried")->required();
    command->callback([options] { fetch(*options); });
}

}  // namespace qz::tool
