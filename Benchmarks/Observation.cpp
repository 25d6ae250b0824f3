// What announcing a change costs, observed and not, and walking a weak array beside a plain vector.
#include <benchmark/benchmark.h>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "QZUtils/Extensions/NSObject/NSObject+KVO.h"
#include "QZUtils/Observation/WeakArray.h"

namespace qz {

class Gauge : public NSObject {
    QZ_OBJECT(Gauge, NSObject)
public:
    int level() const { return level_; }
    void setLevel(int level) {
        changing(*this, "level", [&] { level_ = level; });
    }

protected:
    Gauge() = default;

private:
    int level_ = 0;
};
QZ_DEFINE_CLASS(Gauge, cls) {
    cls.property("level", &Gauge::level, &Gauge::setLevel);
}

namespace {

void unobservedChange(benchmark::State& state) {
    const auto gauge = make<Gauge>();
    int level = 0;
    for (auto _ : state) {
        gauge->setLevel(++level);
        benchmark::DoNotOptimize(gauge->level());
    }
}
BENCHMARK(unobservedChange);

void observedChange(benchmark::State& state) {
    const auto gauge = make<Gauge>();
    std::vector<Ref<QZKeyPathBlockObserver>> observers;
    for (int count = 0; count < state.range(0); ++count) {
        observers.push_back(observeKeyPath(gauge, "level", [](const id&, const Ref<NSDictionary>& change) {
            benchmark::DoNotOptimize(change);
        }));
    }
    int level = 0;
    for (auto _ : state) {
        gauge->setLevel(++level);
    }
}
BENCHMARK(observedChange)->Arg(1)->Arg(10);

void weakArrayWalk(benchmark::State& state) {
    std::vector<std::shared_ptr<int>> owners;
    WeakArray<int> array;
    for (int number = 0; number < 1000; ++number) {
        owners.push_back(std::make_shared<int>(number));
        array.append(owners.back());
    }
    for (auto _ : state) {
        array.forEach([](const std::shared_ptr<int>& number) { benchmark::DoNotOptimize(*number); });
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(weakArrayWalk);

void weakVectorWalk(benchmark::State& state) {
    std::vector<std::shared_ptr<int>> owners;
    std::vector<std::weak_ptr<int>> array;
    for (int number = 0; number < 1000; ++number) {
        owners.push_back(std::make_shared<int>(number));
        array.emplace_back(owners.back());
    }
    for (auto _ : state) {
        for (const auto& slot : array) {
            if (const auto number = slot.lock()) {
                benchmark::DoNotOptimize(*number);
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(weakVectorWalk);

}  // namespace
}  // namespace qz
