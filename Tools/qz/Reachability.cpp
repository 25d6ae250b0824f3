// qz reachability: whether there is a way to a host or the internet, now or from now on.
#include <CLI/CLI.hpp>
#include <chrono>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <stop_token>

#include "Command.h"
#include "Interruptions.h"
#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "QZUtils/Download/QZReachability.h"

namespace qz::tool {

namespace {

using Flags = SCNetworkReachabilityFlags;

/// How long a name server may take.
constexpr std::chrono::seconds patience{15};

struct Options {
    std::optional<std::string> host;
    bool watches = false;
    bool writesJSON = false;
};

/// What else is known of a way.
std::vector<std::string> wordsFor(Flags flags) {
    constexpr struct {
        Flags flag;
        const char* word;
    } table[] = {{kSCNetworkReachabilityFlagsIsWWAN, "mobile network"},
                 {kSCNetworkReachabilityFlagsConnectionRequired, "connection required"},
                 {kSCNetworkReachabilityFlagsTransientConnection, "transient connection"},
                 {kSCNetworkReachabilityFlagsInterventionRequired, "intervention required"},
                 {kSCNetworkReachabilityFlagsConnectionOnTraffic, "connection on traffic"},
                 {kSCNetworkReachabilityFlagsConnectionOnDemand, "connection on demand"},
                 {kSCNetworkReachabilityFlagsIsLocalAddress, "address of this machine"},
                 {kSCNetworkReachabilityFlagsIsDirect, "no gateway"}};
    std::vector<std::string> words;
    for (const auto& [flag, word] : table) {
        if ((flags & flag) != 0) {
            words.emplace_back(word);
        }
    }
    return words;
}

/// Prints states of a target, each once. On the main thread.
class States {
public:
    explicit States(const Options& options) : options_(options) {
        target_ = options.host ? QZReachability::reachabilityWithHostname(*options.host)
                               : QZReachability::reachabilityForInternetConnection();
        if (!target_) {
            throw Failure("the name of the host is empty", wrongUsage);
        }
        // The first answer of a name server is a change, too.
        target_->setReachabilityBlock([this](const auto& /*target*/, Flags flags) {
            DispatchQueue::main().async([this, flags] { take(flags); });
        });
        if (!target_->startNotifier()) {
            throw Failure("the system tells no changes of the network");
        }
        if (Flags flags = 0; SCNetworkReachabilityGetFlags(target_->reachabilityRef(), &flags)) {
            take(flags);
        }
    }
    ~States() { target_->stopNotifier(); }
    States(const States&) = delete;
    States& operator=(const States&) = delete;

    [[nodiscard]] bool isKnown() const { return printed_.has_value(); }

private:
    void take(Flags flags) {
        if (flags != printed_) {
            printed_ = flags;
            print(flags);
        }
    }
    void print(Flags flags) const {
        const auto name = options_.host.value_or("internet");
        const bool isReachable = target_->isReachableWithFlags(flags);
        const auto words = wordsFor(flags);
        if (options_.writesJSON) {
            const nlohmann::json said{
                {"target", name}, {"reachable", isReachable}, {"flags", flags}, {"words", words}};
            std::cout << said.dump() << std::endl;
            return;
        }
        std::cout << name << ": " << (isReachable ? "reachable" : "not reachable");
        for (const auto& word : words) {
            std::cout << ", " << word;
        }
        std::cout << std::endl;
    }

    const Options options_;
    Ref<QZReachability> target_;
    std::optional<Flags> printed_;
};

void tellOnce(const Options& options) {
    const States states(options);
    if (!NSRunLoop::mainRunLoop()->runUntil(std::chrono::steady_clock::now() + patience,
                                            [&] { return states.isKnown(); })) {
        throw Failure("\"" + *options.host + "\" could not be resolved in time");
    }
}

void watch(const Options& options) {
    Interruptions::block();
    std::stop_source stop;
    const Interruptions interruptions([stop]() mutable { stop.request_stop(); });
    const States states(options);
    NSRunLoop::mainRunLoop()->run(stop.get_token());
    throw Failure("interrupted", interrupted);
}

}  // namespace

void addReachability(CLI::App& program) {
    auto* command = program.add_subcommand(
        "reachability",
        "Say whether there is a way to a host: a route, whether or not the host is switched on");
    const auto options = std::make_shared<Options>();
    command->add_option("HOST", options->host, "A name or an address; the internet, if not said");
    command->add_flag("--watch", options->watches, "Say every change too, until Ctrl-C");
    command->add_flag("--json", options->writesJSON, "Say it as JSON, an object a line");
    command->callback([options] { options->watches ? watch(*options) : tellOnce(*options); });
}

}  // namespace qz::tool
