// The cache beside a mutex around a list and a hash map, on one thread and on two; and a burst of writes.
#include <benchmark/benchmark.h>

#include <list>
#include <mutex>
#include <unordered_map>

#include "QZUtils/Storage/QZCache.h"

namespace {

constexpr std::int64_t numberOfKeys = 1000;

/// What one would write by hand: reads and writes by key, the least recently used one goes.
class PlainCache {
public:
    void set(std::int64_t key, const qz::id& object) {
        const std::lock_guard lock(mutex_);
        if (const auto place = places_.find(key); place != places_.end()) {
            place->second->second = object;
            order_.splice(order_.end(), order_, place->second);
            return;
        }
        order_.emplace_back(key, object);
        places_.emplace(key, std::prev(order_.end()));
        if (order_.size() > numberOfKeys) {
            places_.erase(order_.front().first);
            order_.pop_front();
        }
    }
    qz::id get(std::int64_t key) {
        const std::lock_guard lock(mutex_);
        const auto place = places_.find(key);
        return place == places_.end() ? qz::id() : place->second->second;
    }

private:
    using Order = std::list<std::pair<std::int64_t, qz::id>>;
    std::mutex mutex_;
    Order order_;
    std::unordered_map<std::int64_t, Order::iterator> places_;
};

const std::vector<qz::id>& keys() {
    static const auto made = [] {
        std::vector<qz::id> all;
        for (std::int64_t i = 0; i < numberOfKeys; ++i) {
            all.emplace_back(i);
        }
        return all;
    }();
    return made;
}

void setAndGet(benchmark::State& state) {
    static const auto cache = qz::QZCache::initWithCountLimit(numberOfKeys, false);
    std::size_t i = 0;
    for (auto _ : state) {
        const auto& key = keys()[++i % keys().size()];
        cache->setObjectForKey(key, key);
        benchmark::DoNotOptimize(cache->objectForKey(key));
    }
}
BENCHMARK(setAndGet)->ThreadRange(1, 2);

void plainSetAndGet(benchmark::State& state) {
    static PlainCache cache;
    std::int64_t i = 0;
    for (auto _ : state) {
        const auto key = ++i % numberOfKeys;
        cache.set(key, keys()[static_cast<std::size_t>(key)]);
        benchmark::DoNotOptimize(cache.get(key));
    }
}
BENCHMARK(plainSetAndGet)->ThreadRange(1, 2);

/// A million new keys; the one pass that evicts them comes later.
void burst(benchmark::State& state) {
    for (auto _ : state) {
        const auto cache = qz::QZCache::initWithCountLimit(numberOfKeys, false);
        for (std::int64_t i = 0; i < 1'000'000; ++i) {
            cache->setObjectForKey(keys()[0], i);
        }
        cache->removeAllObjects();
    }
    state.SetItemsProcessed(state.iterations() * 1'000'000);
}
BENCHMARK(burst)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
