// The synchronised map beside a shared lock around a standard map, read from both cores.
#include <benchmark/benchmark.h>

#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "QZUtils/Concurrency/QZSynchronizedMapTable.h"

namespace qz {
namespace {

constexpr int entries = 1000;

std::vector<id> makeKeys() {
    std::vector<id> keys;
    keys.reserve(entries);
    for (int number = 0; number < entries; ++number) {
        keys.emplace_back("/library/issue-" + std::to_string(number));
    }
    return keys;
}

const std::vector<id>& keys() {
    static const auto made = makeKeys();
    return made;
}

void synchronizedMapReads(benchmark::State& state) {
    static const auto table = [] {
        using enum NSPointerFunctionsOptions;
        auto made = QZSynchronizedMapTable::initWithKeyOptions(CopyIn, StrongMemory, "benchmark");
        for (const auto& key : keys()) {
            made->setObjectForKey(1, key);
        }
        return made;
    }();
    std::size_t index = static_cast<std::size_t>(state.thread_index()) * entries / 2;
    for (auto _ : state) {
        benchmark::DoNotOptimize(table->objectForKey(keys()[index++ % entries]));
    }
}
BENCHMARK(synchronizedMapReads)->Threads(1)->Threads(2);

/// The same keys and values, compared and held alike.
void sharedMutexMapReads(benchmark::State& state) {
    struct Guarded {
        std::shared_mutex mutex;
        std::unordered_map<id, id> map;
    };
    static auto& table = *[] {
        auto* made = new Guarded;
        for (const auto& key : keys()) {
            made->map.emplace(key, 1);
        }
        return made;
    }();
    std::size_t index = static_cast<std::size_t>(state.thread_index()) * entries / 2;
    for (auto _ : state) {
        const std::shared_lock lock(table.mutex);
        const auto found = table.map.find(keys()[index++ % entries]);
        benchmark::DoNotOptimize(id(found->second));
    }
}
BENCHMARK(sharedMutexMapReads)->Threads(1)->Threads(2);

}  // namespace
}  // namespace qz
