// The object cache.
#include <gmock/gmock.h>

#include <thread>

#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/MemoryPressure.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSSet.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Observation/QZKeyPathBlockObserver.h"
#include "QZUtils/Storage/QZCache.h"

namespace qz::test {

id texts(std::initializer_list<id> items) {
    return NSArray::arrayWithObjects(items);
}

void write(const Ref<QZCache>& cache, std::initializer_list<const char*> keys) {
    for (const auto* key : keys) {
        cache->setObjectForKey(std::string(key) + "!", key);
    }
}

/// Waits until the eviction that is coming has run.
void waitForCleaner(const Ref<QZCache>& cache) {
    const auto loop = NSRunLoop::mainRunLoop();
    const auto observer = QZKeyPathBlockObserver::initWithObject(
        cache, "cleanerBusy", [loop](const auto&...) { loop->perform([] {}); });
    EXPECT_TRUE(loop->runUntil(std::chrono::steady_clock::now() + std::chrono::seconds(60),
                               [&] { return !cache->cleanerBusy(); }));
}

TEST(Cache, EvictsTheOldestWritesLater) {
    const auto cache = QZCache::initWithCountLimit(2, false);
    write(cache, {"a", "b"});
    EXPECT_FALSE(cache->cleanerBusy());
    write(cache, {"c", "a"});
    EXPECT_TRUE(cache->cleanerBusy());
    EXPECT_EQ(cache->objectForKey("b"), id("b!"));  // reading protects nothing
    EXPECT_EQ(id(cache->keys()), texts({"b", "c", "a"}));
    EXPECT_EQ(id(cache->keyEnumerator()), texts({"a", "b", "c"}));
    EXPECT_EQ(cache->count(), 3);
    cache->setKeepKeyFootprint(true);
    waitForCleaner(cache);
    EXPECT_EQ(id(cache->keys()), texts({"c", "a"}));
    EXPECT_FALSE(cache->keepKeyFootprint());
    EXPECT_EQ(id(cache->keyFootprint()->allObjects()), texts({"b"}));
    cache->setKeepKeyFootprint(false);
    EXPECT_EQ(cache->keyFootprint()->count(), 1);
    cache->setKeepKeyFootprint(true);
    EXPECT_EQ(cache->keyFootprint()->count(), 0);
    cache->setCountLimit(2);
    EXPECT_FALSE(cache->cleanerBusy());
    cache->setCountLimit(1);
    EXPECT_TRUE(cache->cleanerBusy());
    waitForCleaner(cache);
    EXPECT_EQ(id(cache->keys()), texts({"a"}));
    EXPECT_EQ(id(cache->objects()), id(NSDictionary::dictionary({{"a", "a!"}})));
}

TEST(Cache, RemovesWhatItIsTold) {
    const auto cache = QZCache::init();
    EXPECT_EQ(cache->countLimit(), 50);
    const id shared = NSString::string("same");
    cache->setObjectForKey(shared, "1");
    cache->setObjectForKey(shared, "2");
    cache->setObjectForKey(shared, "3");
    cache->setObjectForKey("other", "3");
    cache->setObjectForKey(shared, "1");            // written last, but its key came first
    cache->removeObject(NSString::string("same"));  // equal, but not this one
    EXPECT_EQ(cache->count(), 3);
    cache->removeObject(shared);
    EXPECT_EQ(id(cache->keys()), texts({"3", "1"}));
    cache->removeObjectForKey("none");
    cache->removeObjectForKey("3");
    EXPECT_EQ(id(cache->objectEnumerator()), texts({"same"}));
    EXPECT_ANY_THROW(cache->setObjectForKey(nullptr, "a"));
    EXPECT_ANY_THROW(cache->setObjectForKey("a", nullptr));
    cache->setObjects(NSMutableDictionary::dictionary({{"x", 1}, {"y", 2}}));
    cache->setKeys(NSMutableArray::arrayWithObjects({"y", "unknown", "x"}));
    EXPECT_EQ(id(cache->keys()), texts({"y", "x"}));
    EXPECT_EQ(QZCache::sharedCache(), QZCache::sharedCache());
}

TEST(Cache, KeepsItsKeysFromChanging) {
    const auto cache = QZCache::init();
    const auto key = NSMutableString::string("a");
    cache->setObjectForKey(1, key);
    key->appendString("b");
    EXPECT_EQ(cache->objectForKey("a"), id(1));
    EXPECT_EQ(id(cache->keys()), texts({"a"}));
    cache->removeObject(cache->objectForKey("a"));
    EXPECT_EQ(cache->count(), 0);
}

/// Reaches for the cache as it goes.
class Guest : public NSObject {
    QZ_OBJECT(Guest, NSObject)
public:
    std::weak_ptr<QZCache> cache;

protected:
    void dealloc() override {
        if (const auto host = cache.lock()) {
            host->removeObjectForKey("none");
            EXPECT_LE(host->count(), 1);
        }
        Super::dealloc();
    }
};

QZ_DEFINE_CLASS(Guest, cls) {
    static_cast<void>(cls);
}

TEST(Cache, LetsItsObjectsGoInPeace) {
    const auto cache = QZCache::initWithCountLimit(5, true);
    cache->setKeepKeyFootprint(true);
    for (const auto* how : {"replaced", "removed", "cleared", "warned"}) {
        auto guest = make<Guest>();
        guest->cache = cache;
        const std::weak_ptr<Guest> trace = guest;
        cache->setObjectForKey(guest, "key");
        guest.reset();
        EXPECT_FALSE(trace.expired());
        const std::string way = how;
        if (way == "replaced") {
            cache->setObjectForKey("next", "key");
        } else if (way == "removed") {
            cache->removeObjectForKey("key");
        } else if (way == "cleared") {
            cache->removeAllObjects();
        } else {
            NSNotificationCenter::defaultCenter()->postNotificationName(
                UIApplicationDidReceiveMemoryWarningNotification, nullptr);
            EXPECT_EQ(cache->count(), 0);
            EXPECT_TRUE(cache->keyFootprint());
        }
        EXPECT_TRUE(trace.expired()) << how;
    }
}

TEST(Cache, ServesThreads) {
    const auto cache = QZCache::initWithCountLimit(100, false);
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&, thread] {
                for (int i = 0; i < 2000; ++i) {
                    cache->setObjectForKey(i, (i * 7 + thread) % 300);
                    static_cast<void>(cache->objectForKey(i % 300));
                    if (i % 50 == 0) {
                        cache->removeObjectForKey(i % 300);
                    }
                }
            });
        }
    }
    EXPECT_EQ(cache->keys()->count(), cache->count());
    waitForCleaner(cache);
    EXPECT_LE(cache->count(), 100);
    EXPECT_EQ(cache->keys()->count(), cache->count());
}

}  // namespace qz::test
