// Posting notifications beside a plain vector of functions and beside Boost.Signals2, and registering and
// removing many observers.
#include <benchmark/benchmark.h>

#include <boost/signals2.hpp>
#include <functional>
#include <vector>

#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

class Listener : public NSObject {
    QZ_OBJECT(Listener, NSObject)
public:
    void heard(const Ref<NSNotification>& notification) { benchmark::DoNotOptimize(notification.get()); }

protected:
    Listener() = default;
};
QZ_DEFINE_CLASS(Listener, cls) {
    cls.method("heard:", &Listener::heard);
}

void postToBlocks(benchmark::State& state) {
    const auto center = NSNotificationCenter::init();
    for (int i = 0; i < state.range(0); ++i) {
        center->addObserverForName("A", nullptr, nullptr,
                                   [](const auto& notification) { benchmark::DoNotOptimize(&notification); });
    }
    for (auto _ : state) {
        center->postNotificationName("A", nullptr);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(postToBlocks)->Arg(1)->Arg(10)->Arg(1000);

void postToSelectors(benchmark::State& state) {
    const auto center = NSNotificationCenter::init();
    std::vector<Ref<Listener>> listeners;
    for (int i = 0; i < state.range(0); ++i) {
        listeners.push_back(make<Listener>());
        center->addObserver(listeners.back(), "heard:"_sel, "A", nullptr);
    }
    for (auto _ : state) {
        center->postNotificationName("A", nullptr);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(postToSelectors)->Arg(1)->Arg(10)->Arg(1000);

void callFunctions(benchmark::State& state) {
    std::vector<std::function<void(const Ref<NSNotification>&)>> functions(
        static_cast<std::size_t>(state.range(0)),
        [](const auto& notification) { benchmark::DoNotOptimize(&notification); });
    const auto notification = NSNotification::notificationWithName("A", nullptr);
    for (auto _ : state) {
        for (const auto& function : functions) {
            function(notification);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(callFunctions)->Arg(1)->Arg(10)->Arg(1000);

void emitSignals2(benchmark::State& state) {
    boost::signals2::signal<void(const Ref<NSNotification>&)> signal;
    for (int i = 0; i < state.range(0); ++i) {
        signal.connect([](const auto& notification) { benchmark::DoNotOptimize(&notification); });
    }
    const auto notification = NSNotification::notificationWithName("A", nullptr);
    for (auto _ : state) {
        signal(notification);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(emitSignals2)->Arg(1)->Arg(10)->Arg(1000);

/// Time for each observer, which has to stay the same.
void registerAndRemove(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        const auto center = NSNotificationCenter::init();
        std::vector<id> tokens;
        tokens.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            tokens.push_back(center->addObserverForName("A", nullptr, nullptr, [](const auto&) {}));
        }
        for (const auto& token : tokens) {
            center->removeObserver(token);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(registerAndRemove)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace qz
