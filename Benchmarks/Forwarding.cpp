// What a forwarded message costs beside a direct one, and an overridden method beside the original.
#include <benchmark/benchmark.h>

#include <vector>

#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Extensions/NSObject/NSObject+QZDynamicSubclassing.h"
#include "QZUtils/Extensions/NSObject/NSObject+Unwrap.h"
#include "QZUtils/Forwarding/QZForwarder.h"

namespace qz {

class Listener : public NSObject {
    QZ_OBJECT(Listener, NSObject)
public:
    int add(int amount) { return total_ += amount; }

protected:
    Listener() = default;

private:
    int total_ = 0;
};

QZ_DEFINE_CLASS(Listener, cls) {
    cls.method("add:", &Listener::add);
}

namespace {

void sendRepeatedly(benchmark::State& state, Receiver receiver) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(send<int>(receiver, "add:"_sel, 1));
    }
}

void directSend(benchmark::State& state) {
    sendRepeatedly(state, make<Listener>());
}
BENCHMARK(directSend);

void forwardedSend(benchmark::State& state) {
    const auto forwarder = QZForwarder::initWithRecipients(nullptr);
    std::vector<Ref<Listener>> listeners;
    for (int count = 0; count < state.range(0); ++count) {
        forwarder->addForwarderRecipient(listeners.emplace_back(make<Listener>()));
    }
    sendRepeatedly(state, forwarder);
}
BENCHMARK(forwardedSend)->Arg(1)->Arg(3);

void overriddenSend(benchmark::State& state) {
    const auto listener = make<Listener>();
    overrideSelectorImplementation(listener, "add:"_sel, "Plain",
                                   [](Listener& self, int amount) { return self.add(amount); });
    sendRepeatedly(state, listener);
}
BENCHMARK(overriddenSend);

void overriddenSendThatCallsTheInherited(benchmark::State& state) {
    const auto listener = make<Listener>();
    overrideSelectorIpmlementationProvider(
        listener, "add:"_sel, "Wrapping", [](Selector, const Implementation& inherited) -> Implementation {
            return [inherited](Listener& self, int amount) { return inherited.call<int>(self, amount); };
        });
    sendRepeatedly(state, listener);
}
BENCHMARK(overriddenSendThatCallsTheInherited);

void isSubclassed(benchmark::State& state) {
    const auto listener = make<Listener>();
    subsclassWithContext(listener, "Asking");
    for (auto _ : state) {
        benchmark::DoNotOptimize(isSubclassedWihtContext(listener, "Asking"));
    }
}
BENCHMARK(isSubclassed)->Threads(1)->Threads(2);

void unwrapString(benchmark::State& state) {
    const id text = "text";
    for (auto _ : state) {
        benchmark::DoNotOptimize(unwrapAs<NSString>(text));
    }
}
BENCHMARK(unwrapString);

}  // namespace
}  // namespace qz
