// What a message costs beside the calls that C++ offers, and what objects weigh.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <functional>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/NSInvocation.h"
#include "Platform/Runtime/Send.h"

namespace qz {

class Counter : public NSObject {
    QZ_OBJECT(Counter, NSObject)
public:
    [[gnu::noinline]] int add(int amount) { return total_ += amount; }
    virtual int addVirtually(int amount) { return total_ += amount; }
    void keep(const Ref<Object>& object) { benchmark::DoNotOptimize(object); }

protected:
    Counter() = default;

private:
    int total_ = 0;
};

QZ_DEFINE_CLASS(Counter, cls) {
    cls.method("add:", &Counter::add);
    cls.method("keep:", &Counter::keep);
}

namespace {

void cachedSend(benchmark::State& state) {
    const auto counter = make<Counter>();
    for (auto _ : state) {
        benchmark::DoNotOptimize(send<int>(counter, "add:"_sel, 1));
    }
}
BENCHMARK(cachedSend);

void cachedSendFromTwoThreads(benchmark::State& state) {
    const auto counter = make<Counter>();
    for (auto _ : state) {
        benchmark::DoNotOptimize(send<int>(counter, "add:"_sel, 1));
    }
}
BENCHMARK(cachedSendFromTwoThreads)->Threads(2);

void virtualCall(benchmark::State& state) {
    const auto counter = make<Counter>();
    auto* object = counter.get();
    benchmark::DoNotOptimize(object);
    for (auto _ : state) {
        benchmark::DoNotOptimize(object->addVirtually(1));
    }
}
BENCHMARK(virtualCall);

void standardFunction(benchmark::State& state) {
    const auto counter = make<Counter>();
    std::function<int(int)> function = [&](int amount) { return counter->add(amount); };
    benchmark::DoNotOptimize(function);
    for (auto _ : state) {
        benchmark::DoNotOptimize(function(1));
    }
}
BENCHMARK(standardFunction);

void convertedSend(benchmark::State& state) {
    const auto counter = make<Counter>();
    for (auto _ : state) {
        benchmark::DoNotOptimize(send<long>(counter, "add:"_sel, 1L));
    }
}
BENCHMARK(convertedSend);

void derivedArgumentSend(benchmark::State& state) {
    const auto counter = make<Counter>();
    for (auto _ : state) {
        send(counter, "keep:"_sel, counter);
    }
}
BENCHMARK(derivedArgumentSend);

void respondsToMissingSelector(benchmark::State& state) {
    const auto counter = make<Counter>();
    for (auto _ : state) {
        benchmark::DoNotOptimize(counter->respondsToSelector("fly"_sel));
    }
}
BENCHMARK(respondsToMissingSelector);

void dictionaryLookUp(benchmark::State& state) {
    const auto dictionary = NSMutableDictionary::dictionary();
    for (int number = 0; number < 1000; ++number) {
        dictionary->setObjectForKey(number, "key" + std::to_string(number));
    }
    const id key = "key500";
    for (auto _ : state) {
        benchmark::DoNotOptimize(dictionary->objectForKey(key));
    }
}
BENCHMARK(dictionaryLookUp);

/// Bytes that the allocator hands out for one object made by `factory`.
template <class F>
void weigh(benchmark::State& state, F factory) {
    constexpr std::size_t count = 10000;
    std::vector<Ref<Object>> objects;
    objects.reserve(count);
    for (auto _ : state) {
        objects.clear();
        const auto before = mallinfo2().uordblks;
        for (std::size_t index = 0; index < count; ++index) {
            objects.push_back(factory());
        }
        state.counters["bytes"] = static_cast<double>(mallinfo2().uordblks - before) / count;
    }
}
BENCHMARK_CAPTURE(weigh, object, [] { return make<Counter>(); })->Iterations(1);
BENCHMARK_CAPTURE(weigh, number, [] { return NSNumber::number(std::int64_t{5}); })->Iterations(1);

}  // namespace
}  // namespace qz
