// QZCache: objects in memory by key, as many as a limit says, the most recently written ones.
//
//     const auto pages = QZCache::initWithCountLimit(100, true);
//     pages->setObjectForKey(page, number);
//     pages->objectForKey(number);
//
// What exceeds the limit is evicted a second later on a background queue, the oldest write first, so that a
// burst of writes costs one pass; until then the cache holds more. Reading does not change an entry's place.
// A cache can empty itself when memory runs short (Platform/Foundation/MemoryPressure.h).
//
// Every operation takes constant time but for those that say otherwise. They may be called from any thread
// and take turns on the object's monitor (Platform/Runtime/Monitor.h), which is recursive.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <unordered_map>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Monitor.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSArray;
class NSMutableArray;
class NSMutableDictionary;
class NSMutableSet;
class NSNotification;

class QZ_EXPORT QZCache : public NSObject {
    QZ_OBJECT(QZCache, NSObject)
public:
    static constexpr std::uint64_t defaultCountLimit = 50;

    /// The one of the process, made by the class that is asked first. Also a class message.
    template <class Self = QZCache>
    [[nodiscard]] static Ref<QZCache> sharedCache() {
        return sharedCacheOf(Self::cls());
    }
    template <class Self = QZCache>
    [[nodiscard]] static Ref<Self> init() {
        return initWithCountLimit<Self>(defaultCountLimit, false);
    }
    template <class Self = QZCache>
    [[nodiscard]] static Ref<Self> initWithCountLimit(std::uint64_t countLimit,
                                                      bool memoryWarningCleanupEnabled) {
        auto cache = make<Self>();
        cache->start(countLimit, memoryWarningCleanupEnabled);
        return cache;
    }

    [[nodiscard]] std::size_t count() const;
    /// How many entries an eviction leaves. A smaller limit begins one.
    [[nodiscard]] std::uint64_t countLimit() const noexcept { return countLimit_; }
    void setCountLimit(std::uint64_t limit);

    /// Writes an entry, under a copy of the key. Raises NSInvalidArgumentException for nil.
    void setObjectForKey(const id& object, const id& forKey);
    /// Nil when there is none.
    [[nodiscard]] id objectForKey(const id& key) const;
    void removeObjectForKey(const id& key);
    /// Removes one entry of this very object: of several the one whose key came last.
    void removeObject(const id& object);
    /// The key footprint stays as it is.
    void removeAllObjects();

    /// Copies, in the order in which the keys came: later changes of the cache do not reach them.
    [[nodiscard]] Ref<NSArray> objectEnumerator() const;
    [[nodiscard]] Ref<NSArray> keyEnumerator() const;
    /// Copies too, to be looked at; setting them replaces the contents, whose keys come in that order.
    [[nodiscard]] Ref<NSMutableDictionary> objects() const;
    void setObjects(const Ref<NSMutableDictionary>& objects);
    /// The order of writing, the most recent one last. Setting it changes nothing else: keys that it lacks or
    /// has beyond those of the cache do not count.
    [[nodiscard]] Ref<NSMutableArray> keys() const;
    void setKeys(const Ref<NSMutableArray>& keys);

    /// Whether an eviction is coming or under way.
    [[nodiscard]] bool cleanerBusy() const;
    void setCleanerBusy(bool busy);
    /// Begins an eviction in a second, unless there is nothing to evict or one is coming already.
    void cleanup();

    /// Always false. The setter does not store its value, and callers rely on what follows: true begins a new
    /// footprint each time, and false leaves the one there is.
    [[nodiscard]] bool keepKeyFootprint() const noexcept { return keepKeyFootprint_; }
    void setKeepKeyFootprint(bool keeps);
    /// The keys that were evicted; null until somebody wants to know. For one thread at a time.
    [[nodiscard]] Ref<NSMutableSet> keyFootprint() const;
    void setKeyFootprint(const Ref<NSMutableSet>& footprint);

    void onApplicationDidReceiveMemoryWarning(const Ref<NSNotification>& notification);

protected:
    QZCache();

private:
    struct Entry {
        id key;
        id object;
        std::uint64_t number;  // in the order in which keys came
        std::list<Entry*>::iterator written;
    };

    [[nodiscard]] static Ref<QZCache> sharedCacheOf(Class& receiver);
    void start(std::uint64_t countLimit, bool cleansUpOnMemoryWarning);
    void evict();
    [[nodiscard]] id take(Entry& entry);
    void forgetHolder(const Entry& entry);
    [[nodiscard]] std::vector<const Entry*> entriesInOrder() const;

    const Monitor monitor_;  // the object's own; guards what follows but for the limit
    std::atomic<std::uint64_t> countLimit_{defaultCountLimit};
    const bool keepKeyFootprint_ = false;
    bool cleanerBusy_ = false;
    Ref<NSMutableSet> keyFootprint_;
    std::unordered_map<id, Entry> entries_;
    std::list<Entry*> written_;                               // oldest first
    std::unordered_multimap<const Object*, Entry*> holders_;  // by the object held
    std::uint64_t lastNumber_ = 0;
};

}  // namespace qz
