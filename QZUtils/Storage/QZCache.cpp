#include "QZUtils/Storage/QZCache.h"

#include <algorithm>
#include <chrono>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Foundation/MemoryPressure.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSNotification.h"
#include "Platform/Foundation/NSSet.h"
#include "Platform/Foundation/internal/KeyCopy.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Runtime/Raise.h"
#include "QZUtils/Extensions/NSObject/NSObject+Notification.h"

namespace qz {

namespace {

constexpr std::chrono::seconds evictionDelay{1};

}  // namespace

QZ_DEFINE_CLASS(QZCache, cls) {
    using Self = QZCache;
    cls.classMethod("sharedCache", [](Class& receiver) { return sharedCacheOf(receiver); });
    cls.property("count", &Self::count);
    cls.property("countLimit", &Self::countLimit, &Self::setCountLimit);
    cls.property("cleanerBusy", &Self::cleanerBusy, &Self::setCleanerBusy);
    cls.property("keepKeyFootprint", &Self::keepKeyFootprint, &Self::setKeepKeyFootprint);
    cls.property("keyFootprint", &Self::keyFootprint, &Self::setKeyFootprint);
    cls.property("objects", &Self::objects, &Self::setObjects);
    cls.property("keys", &Self::keys, &Self::setKeys);
    cls.method("setObject:forKey:", &Self::setObjectForKey);
    cls.method("objectForKey:", &Self::objectForKey);
    cls.method("removeObjectForKey:", &Self::removeObjectForKey);
    cls.method("removeObject:", &Self::removeObject);
    cls.method("removeAllObjects", &Self::removeAllObjects);
    cls.method("objectEnumerator", &Self::objectEnumerator);
    cls.method("keyEnumerator", &Self::keyEnumerator);
    cls.method("cleanup", &Self::cleanup);
    cls.method("onApplicationDidReceiveMemoryWarning:", &Self::onApplicationDidReceiveMemoryWarning);
}

Ref<QZCache> QZCache::sharedCacheOf(Class& receiver) {
    static const auto& shared = *new Ref<QZCache>(std::static_pointer_cast<QZCache>(receiver.makeInstance()));
    return shared;
}

QZCache::QZCache() : monitor_(monitorOf(this)) {}

void QZCache::start(std::uint64_t countLimit, bool cleansUpOnMemoryWarning) {
    countLimit_ = countLimit;
    if (cleansUpOnMemoryWarning) {
        MemoryPressure::watch();
        observe(*this, UIApplicationDidReceiveMemoryWarningNotification,
                Selector("onApplicationDidReceiveMemoryWarning:"));
    }
}

// Entries.

std::size_t QZCache::count() const {
    const std::lock_guard lock(*monitor_);
    return entries_.size();
}

void QZCache::setObjectForKey(const id& object, const id& forKey) {
    if (!object || !forKey) {
        raise(NSInvalidArgumentException, "a cache holds neither nil nor anything under it");
    }
    id replaced;  // dies last, outside of the lock: its end may reach for the cache
    const std::lock_guard lock(*monitor_);
    auto place = entries_.find(forKey);
    const bool isNew = place == entries_.end();
    if (isNew) {
        place = entries_.try_emplace(internal::copyOfKey(forKey)).first;
    }
    auto& entry = place->second;
    if (isNew) {
        entry.key = place->first;
        entry.number = ++lastNumber_;
    } else {
        written_.erase(entry.written);
        forgetHolder(entry);
        replaced = std::move(entry.object);
    }
    entry.object = object;
    entry.written = written_.insert(written_.end(), &entry);
    holders_.emplace(object.get(), &entry);
    cleanup();
}

id QZCache::objectForKey(const id& key) const {
    const std::lock_guard lock(*monitor_);
    const auto place = entries_.find(key);
    return place == entries_.end() ? id() : place->second.object;
}

void QZCache::removeObjectForKey(const id& key) {
    id removed;
    const std::lock_guard lock(*monitor_);
    if (const auto place = entries_.find(key); place != entries_.end()) {
        removed = take(place->second);
    }
}

void QZCache::removeObject(const id& object) {
    id removed;
    const std::lock_guard lock(*monitor_);
    const auto [begin, end] = holders_.equal_range(object.get());
    const auto last = std::max_element(begin, end, [](const auto& left, const auto& right) {
        return left.second->number < right.second->number;
    });
    if (last != end) {
        removed = take(*last->second);
    }
}

void QZCache::removeAllObjects() {
    std::unordered_map<id, Entry> removed;
    const std::lock_guard lock(*monitor_);
    written_.clear();
    holders_.clear();
    removed.swap(entries_);
}

/// Removes an entry and answers its object, which the caller lets go of outside of the lock.
id QZCache::take(Entry& entry) {
    written_.erase(entry.written);
    forgetHolder(entry);
    auto node = entries_.extract(entry.key);
    return std::move(node.mapped().object);
}

void QZCache::forgetHolder(const Entry& entry) {
    const auto [begin, end] = holders_.equal_range(entry.object.get());
    holders_.erase(std::find_if(begin, end, [&](const auto& holder) { return holder.second == &entry; }));
}

// Copies.

std::vector<const QZCache::Entry*> QZCache::entriesInOrder() const {
    std::vector<const Entry*> entries(written_.begin(), written_.end());
    std::sort(entries.begin(), entries.end(),
              [](const Entry* left, const Entry* right) { return left->number < right->number; });
    return entries;
}

Ref<NSArray> QZCache::objectEnumerator() const {
    return objects()->allValues();
}

Ref<NSArray> QZCache::keyEnumerator() const {
    return objects()->allKeys();
}

Ref<NSMutableDictionary> QZCache::objects() const {
    auto copy = NSMutableDictionary::dictionary();
    const std::lock_guard lock(*monitor_);
    for (const auto* entry : entriesInOrder()) {
        copy->setObjectForKey(entry->object, entry->key);
    }
    return copy;
}

void QZCache::setObjects(const Ref<NSMutableDictionary>& objects) {
    changing(*this, "objects", [&] {
        const std::lock_guard lock(*monitor_);
        removeAllObjects();
        if (objects) {
            for (const auto& [key, object] : *objects) {
                setObjectForKey(object, key);
            }
        }
    });
}

Ref<NSMutableArray> QZCache::keys() const {
    auto copy = NSMutableArray::array();
    const std::lock_guard lock(*monitor_);
    for (const auto* entry : written_) {
        copy->addObject(entry->key);
    }
    return copy;
}

void QZCache::setKeys(const Ref<NSMutableArray>& keys) {
    changing(*this, "keys", [&] {
        const std::lock_guard lock(*monitor_);
        for (std::size_t i = 0; keys && i < keys->count(); ++i) {
            if (const auto place = entries_.find(keys->objectAtIndex(i)); place != entries_.end()) {
                written_.splice(written_.end(), written_, place->second.written);
            }
        }
    });
}

// Eviction.

void QZCache::setCountLimit(std::uint64_t limit) {
    if (limit != countLimit_) {
        changing(*this, "countLimit", [&] { countLimit_ = limit; });
        cleanup();
    }
}

bool QZCache::cleanerBusy() const {
    const std::lock_guard lock(*monitor_);
    return cleanerBusy_;
}

void QZCache::setCleanerBusy(bool busy) {
    changing(*this, "cleanerBusy", [&] {
        const std::lock_guard lock(*monitor_);
        cleanerBusy_ = busy;
    });
}

void QZCache::cleanup() {
    {
        const std::lock_guard lock(*monitor_);
        if (cleanerBusy_ || entries_.size() <= countLimit_) {
            return;
        }
        setCleanerBusy(true);
    }
    DispatchQueue::global(DispatchPriority::background).after(evictionDelay, [self = refTo(*this)] {
        self->evict();
    });
}

void QZCache::evict() {
    std::vector<id> evicted;  // dies last, outside of the lock
    const std::lock_guard lock(*monitor_);
    while (!written_.empty() && written_.size() > countLimit_) {
        auto& oldest = *written_.front();
        if (keyFootprint_) {
            keyFootprint_->addObject(oldest.key);
        }
        evicted.push_back(take(oldest));
    }
    setCleanerBusy(false);
}

void QZCache::setKeepKeyFootprint(bool keeps) {
    if (keeps != keepKeyFootprint_) {
        setKeyFootprint(NSMutableSet::set());
    }
}

Ref<NSMutableSet> QZCache::keyFootprint() const {
    const std::lock_guard lock(*monitor_);
    return keyFootprint_;
}

void QZCache::setKeyFootprint(const Ref<NSMutableSet>& footprint) {
    changing(*this, "keyFootprint", [&] {
        const std::lock_guard lock(*monitor_);
        keyFootprint_ = footprint;
    });
}

void QZCache::onApplicationDidReceiveMemoryWarning(const Ref<NSNotification>&) {
    removeAllObjects();
}

}  // namespace qz
