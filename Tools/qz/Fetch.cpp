// qz fetch: downloads a file from the first of several mirrors that has it.
#include <pthread.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "Command.h"
#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"
#include "QZUtils/Download/QZDownload.h"
#include "QZUtils/Observation/QZKeyPathBlockObserver.h"

namespace qz::tool {

namespace {

struct Options {
    std::string output;
    std::vector<std::string> urls;
    std::int64_t length = -1;
    bool keepsNothing = false;
    bool isQuiet = false;
    bool writesJSON = false;
    double saveInterval = 10;
};

/// The first Ctrl-C, or a polite request to end, cancels the download; the second one ends the program.
class Interruptions {
public:
    explicit Interruptions(std::function<void()> onFirst) {
        // This thread alone takes the signals: the others were started with them blocked.
        std::thread([onFirst = std::move(onFirst)] {
            const auto signals = taken();
            int number = 0;
            ::sigwait(&signals, &number);
            DispatchQueue::main().async(onFirst);
            ::sigwait(&signals, &number);
            ::_exit(interrupted);
        }).detach();
    }
    static void block() {
        const auto signals = taken();
        ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    }

private:
    static sigset_t taken() {
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGINT);
        ::sigaddset(&signals, SIGTERM);
        return signals;
    }
};

/// One line on standard error that is written over and over, if that is a terminal.
class ProgressLine {
public:
    explicit ProgressLine(bool isWanted) : isShown_(isWanted && ::isatty(STDERR_FILENO) == 1) {}
    ~ProgressLine() {
        if (isShown_ && width_ != 0) {
            std::cerr << '\r' << std::string(width_, ' ') << '\r' << std::flush;
        }
    }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(const NSProgress& progress) {
        if (!isShown_) {
            return;
        }
        const auto line = stringWithFormat("%3.0f%%  %@", 100 * progress.fractionCompleted(),
                                           progress.localizedAdditionalDescription());
        const auto width = std::max(width_, line.size());
        std::cerr << '\r' << line << std::string(width - line.size(), ' ') << std::flush;
        width_ = width;
    }

private:
    const bool isShown_;
    std::size_t width_ = 0;
};

Ref<NSURL> loadableURL(const std::string& text) {
    auto url = NSURL::URLWithString(text);
    const auto scheme = url ? url->scheme().value_or("") : "";
    if (scheme != "http" && scheme != "https" && scheme != "file") {
        throw Failure("\"" + text + "\" is not a URL that can be fetched", wrongUsage);
    }
    return url;
}

std::string sizeOf(std::uint64_t bytes) {
    return stringWithFormat("%llu bytes", bytes);
}

/// Why the download ended without a word, which its contract allows.
std::string reasonOfSilence(const QZDownload& download) {
    if (download.fileLength() == 0) {
        return "the server's file is empty";
    }
    return "the transfer ended before the file was complete (" + sizeOf(download.currentLength()) + " of " +
           sizeOf(download.fileLength()) + ")";
}

void report(const QZDownload& download, const Options& options) {
    if (options.writesJSON) {
        std::cout << nlohmann::json{{"file", *download.filePath()},
                                    {"bytes", download.fileLength()},
                                    {"url", download.url().value_or("")}}
                         .dump()
                  << std::endl;
    }
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
    const auto download = QZDownload::initWithExpectedTotalLength(options.length);
    download->setDeleteFileOnError(options.keepsNothing);
    download->setResumeDataSaveInterval(options.saveInterval);
    bool isInterrupted = false;
    const Interruptions interruptions([&] {
        isInterrupted = true;
        download->cancel();
    });
    const auto loop = NSRunLoop::mainRunLoop();
    const auto wake = [loop](const auto&...) { loop->perform([] {}); };
    const auto activity = QZKeyPathBlockObserver::initWithObject(download, "active", wake);
    Ref<QZPromise> promise;
    {
        ProgressLine line(!options.isQuiet);
        download->setProgressBlock([&](const auto& self) { line.show(*self->progress()); });
        promise = download->downloadTo(path, options.urls);
        while (download->isActive()) {
            loop->runOnce();
        }
        download->setProgressBlock(nullptr);
    }
    if (promise->isFulfilled()) {
        if (!std::filesystem::exists(path)) {
            throw Failure("the file has arrived, but could not be stored as \"" + options.output + "\"");
        }
        report(*download, options);
        return;
    }
    if (isInterrupted) {
        const auto record = *download->resumeDataPath();
        throw Failure(std::filesystem::exists(record)
                          ? "interrupted; the same command goes on from " + sizeOf(download->currentLength())
                          : "interrupted",
                      interrupted);
    }
    const auto error = promise->error();
    throw Failure(error ? error->localizedDescription() : reasonOfSilence(*download));
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
    command->add_flag("-q,--quiet", options->isQuiet, "Show no progress");
    command->add_flag("--json", options->writesJSON, "Say what was fetched, as JSON");
    command->add_option("URL", options->urls, "Mirrors, in the order in which they are tried")->required();
    command->callback([options] { fetch(*options); });
}

}  // namespace qz::tool
