// qz reachability: whether there is a way to a host or the internet.
#include <CLI/CLI.hpp>
#include <chrono>
#include <iostream>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "QZUtils/Download/QZReachability.h"

namespace qz::tool {

namespace {

/// How long a name server may take.
constexpr std::chrono::seconds patience{15};

void print(const QZReachability& target, const std::string& host, bool asJSON) {
    const auto name = host.empty() ? "internet" : host;
    if (asJSON) {
        std::cout << nlohmann::json{{"target", name},
                                    {"reachable", target.isReachable()},
                                    {"status", target.currentReachabilityString()},
                                    {"flags", target.reachabilityFlags()},
                                    {"letters", target.currentReachabilityFlags()}}
                         .dump()
                  << std::endl;
    } else {
        std::cout << name << ": " << target.currentReachabilityString() << " ("
                  << target.currentReachabilityFlags() << ")" << std::endl;
    }
}

void tell(const std::string& host, bool asJSON) {
    const auto target = host.empty() ? QZReachability::reachabilityForInternetConnection()
                                     : QZReachability::reachabilityWithHostname(host);
    if (!target) {
        throw Failure("\"" + host + "\" is no host name", wrongUsage);
    }
    SCNetworkReachabilityFlags flags = 0;
    // The answer of the name server is a change.
    target->setReachabilityBlock([](const auto&, auto) { NSRunLoop::mainRunLoop()->perform([] {}); });
    target->startNotifier();
    const bool isKnown = NSRunLoop::mainRunLoop()->runUntil(std::chrono::steady_clock::now() + patience, [&] {
        return SCNetworkReachabilityGetFlags(target->reachabilityRef(), &flags);
    });
    target->stopNotifier();
    if (!isKnown) {
        throw Failure("\"" + host + "\" could not be resolved in time");
    }
    print(*target, host, asJSON);
}

}  // namespace

void addReachability(CLI::App& program) {
    struct Options {
        std::string host;
        bool writesJSON = false;
    };
    auto* command = program.add_subcommand("reachability", "Say whether there is a way to a host");
    const auto options = std::make_shared<Options>();
    command->add_option("HOST", options->host, "A name or an address; the internet, if not said");
    command->add_flag("--json", options->writesJSON, "Say it as JSON");
    command->callback([options] { tell(options->host, options->writesJSON); });
}

}  // namespace qz::tool
