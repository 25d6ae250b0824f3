// Reading the flags of an address and of the internet, beside `ip route get` and the network monitor of GLib.
//
// `ip` is one program that reads questions from a pipe (-batch), so that its start does not count. It answers
// about the route alone; the flags take a second question, about the link. GLib's monitor keeps the routes
// that it was once told of in memory and asks nobody: it does not know whether a link has a carrier.
#include <benchmark/benchmark.h>
#include <gio/gio.h>

#include <cstdlib>
#include <string>

#include "QZUtils/Download/QZReachability.h"

namespace {

constexpr int questionsAtOnce = 10000;

void flagsOfAnAddress(benchmark::State& state) {
    const auto target = qz::QZReachability::reachabilityWithHostname("192.0.2.1");
    for (auto _ : state) {
        benchmark::DoNotOptimize(target->reachabilityFlags());
    }
}

void flagsOfTheInternet(benchmark::State& state) {
    const auto target = qz::QZReachability::reachabilityForInternetConnection();
    for (auto _ : state) {
        benchmark::DoNotOptimize(target->reachabilityFlags());
    }
}

void ipRouteGet(benchmark::State& state) {
    const auto command = "yes 'route get 192.0.2.1' | head -n " + std::to_string(questionsAtOnce) +
                         " | ip -batch - > /dev/null";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("ip does not answer");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * questionsAtOnce);
}

void networkMonitorOfGLib(benchmark::State& state) {
    auto* const monitor = g_network_monitor_get_default();
    auto* const bytes = g_inet_address_new_from_string("192.0.2.1");
    auto* const address = g_inet_socket_address_new(bytes, 80);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            g_network_monitor_can_reach(monitor, G_SOCKET_CONNECTABLE(address), nullptr, nullptr));
    }
    g_object_unref(address);
    g_object_unref(bytes);
}

}  // namespace

BENCHMARK(flagsOfAnAddress)->UseRealTime();
BENCHMARK(flagsOfTheInternet)->UseRealTime();
BENCHMARK(ipRouteGet)->Iterations(3)->UseRealTime();
BENCHMARK(networkMonitorOfGLib)->UseRealTime();
