// The synchronised collections, from one thread and from many.
#include <gmock/gmock.h>

#include <atomic>
#include <latch>
#include <thread>

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/Class.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Concurrency/QZSynchronizedMapTable.h"
#include "QZUtils/Concurrency/QZSynchronizedMutableArray.h"

namespace qz::test {

using enum NSPointerFunctionsOptions;

std::string joined(const QZSynchronizedMutableArray& array) {
    std::string text;
    for (std::size_t index = 0; index < array.count(); ++index) {
        text += descriptionOf(array.objectAtIndex(index));
    }
    return text;
}

TEST(SynchronizedArray, OperationsSeeWhatTheThreadWroteBefore) {
    const auto array = QZSynchronizedMutableArray::initWithLabel(nullptr);
    EXPECT_EQ(array->synchronizer()->label(), "QZSynchronizedCollection");
    EXPECT_EQ(QZSynchronizedMutableArray::initWithLabel("")->synchronizer()->label(), "");
    EXPECT_EQ(array->count(), 0U);
    EXPECT_FALSE(array->firstObject());
    EXPECT_FALSE(array->lastObject());

    array->addObject("a");
    EXPECT_EQ(array->count(), 1U);
    array->addObject("b");
    array->setObjectAtIndex("x", 0);
    EXPECT_EQ(joined(*array), "xab");
    (*array)[1] = id("y");
    EXPECT_EQ(joined(*array), "xyab");
    (*array)[4] = (*array)[0];
    EXPECT_EQ(joined(*array), "xyabx");
    array->removeObject("x");
    EXPECT_EQ(joined(*array), "yab");
    EXPECT_EQ(array->firstObject(), id("y"));
    EXPECT_EQ(array->lastObject(), id("b"));
    EXPECT_EQ(array->collection()->count(), 3U);

    EXPECT_THROW(static_cast<void>(array->objectAtIndex(3)), NSException);
    EXPECT_THROW(array->setObjectAtIndex("z", 4), NSException);
    EXPECT_THROW(array->setObjectAtIndex(nullptr, 0), NSException);
    EXPECT_EQ(joined(*array), "yab");
}

TEST(SynchronizedArrayDeathTest, MisuseOfAnAsynchronousWriteEndsTheProgramWithItsReason) {
    const auto misuse = [] {
        const auto array = QZSynchronizedMutableArray::initWithLabel("shelf");
        array->addObject(nullptr);
        static_cast<void>(array->count());
    };
    EXPECT_DEATH(misuse(), "shelf.*a container cannot hold nil");
}

TEST(SynchronizedCollections, AnswerTheirMessagesAndRaiseForOthers) {
    const auto array = QZSynchronizedMutableArray::initWithLabel("messages");
    send(array, "addObject:"_sel, id("a"));
    send(array, "setObject:atIndexedSubscript:"_sel, id("b"), std::size_t{0});
    EXPECT_EQ(send<id>(array, "objectAtIndexedSubscript:"_sel, 0), id("b"));
    const auto table = QZSynchronizedMapTable::initWithKeyOptions(StrongMemory, StrongMemory, "messages");
    send(table, "setObject:forKeyedSubscript:"_sel, id(1), id("k"));
    EXPECT_EQ(send<id>(table, "objectForKeyedSubscript:"_sel, id("k")), id(1));
    for (const auto selector : {"insertObject:atIndex:"_sel, "removeAllObjects"_sel}) {
        EXPECT_THROW(send(array, selector), NSException) << selector.name();
        EXPECT_THROW(send(table, selector), NSException) << selector.name();
    }
    EXPECT_FALSE(array->isKindOfClass(NSObject::cls()));
}

TEST(SynchronizedArray, ManyThreadsLoseNothing) {
    const auto array = QZSynchronizedMutableArray::initWithLabel("many");
    constexpr int writers = 3;
    constexpr int rounds = 200;
    std::atomic<bool> stop{false};
    std::jthread reader([&] {
        while (!stop) {
            // The insertion overlaps these reads by contract: an element is whole or absent.
            if (const auto last = array->lastObject()) {
                EXPECT_TRUE(unbox<int>(last).has_value());
            }
            static_cast<void>(array->count());
        }
    });
    {
        std::vector<std::jthread> threads;
        for (int writer = 0; writer < writers; ++writer) {
            threads.emplace_back([&, writer] {
                for (int round = 0; round < rounds; ++round) {
                    array->addObject(writer * rounds + round);
                    array->setObjectAtIndex(-1, 0);
                }
            });
        }
    }
    EXPECT_EQ(array->count(), 2U * writers * rounds);
    array->removeObject(-1);
    ASSERT_EQ(array->count(), static_cast<std::size_t>(writers * rounds));
    stop = true;
    // Each writer's elements stand in the order in which it added them.
    std::vector<int> last(writers, -1);
    for (const auto& item : *array->collection()) {
        const int number = unbox<int>(item).value();
        auto& previous = last[static_cast<std::size_t>(number / rounds)];
        EXPECT_LT(previous, number);
        previous = number;
    }
}

TEST(SynchronizedMap, KeysAreCopiedAndWeakValuesVanish) {
    // As the registry of live downloads uses it.
    const auto table = QZSynchronizedMapTable::initWithKeyOptions(CopyIn, WeakMemory, "downloads");
    EXPECT_EQ(table->synchronizer()->label(), "downloads");
    const auto key = NSMutableArray::arrayWithObjects({"path"});
    id value = NSString::string("download");
    table->setObjectForKey(value, key);
    EXPECT_EQ(table->count(), 1U);  // the write has run, and copied the key
    key->addObject("changed later");
    EXPECT_EQ(table->objectForKey(NSArray::arrayWithObjects({"path"})), id("download"));
    EXPECT_FALSE(table->objectForKey(key));
    EXPECT_EQ(table->count(), 1U);
    value = nullptr;
    EXPECT_FALSE(table->objectForKey(NSArray::arrayWithObjects({"path"})));
    EXPECT_EQ(table->count(), 0U);
    // An entry that died is replaced like one that lives.
    value = 5;
    table->setObjectForKey(value, NSArray::arrayWithObjects({"path"}));
    EXPECT_EQ(table->count(), 1U);
    EXPECT_THROW(static_cast<void>(QZSynchronizedMapTable::initWithKeyOptions(
                     StrongMemory, static_cast<NSPointerFunctionsOptions>(7), nullptr)),
                 NSException);
}

TEST(SynchronizedMap, HoldsAsAsked) {
    struct Case {
        NSPointerFunctionsOptions keys, values;
        std::size_t afterKeyDied, afterValueDied;
    };
    for (const auto& [keys, values, afterKeyDied, afterValueDied] :
         {Case{StrongMemory, StrongMemory, 2, 2}, Case{WeakMemory, StrongMemory, 1, 1},
          Case{StrongMemory, WeakMemory, 2, 1}, Case{WeakMemory, WeakMemory, 1, 0}}) {
        const auto table = QZSynchronizedMapTable::initWithKeyOptions(keys, values, nullptr);
        id dyingKey = "dying key";
        id dyingValue = "dying value";
        const id livingKey = "living key";
        const id livingValue = "living value";
        table->setObjectForKey(livingValue, dyingKey);
        (*table)[livingKey] = dyingValue;
        EXPECT_EQ(table->count(), 2U);
        dyingKey = nullptr;
        EXPECT_EQ(table->count(), afterKeyDied);
        dyingValue = nullptr;
        EXPECT_EQ(table->count(), afterValueDied);
        table->removeObjectForKey("living key");
        table->removeObjectForKey("never there");
        EXPECT_FALSE(table->objectForKey(livingKey));
    }
}

TEST(SynchronizedMap, DeadEntriesDoNotPileUp) {
    const auto table = NSMapTable::mapTableWithKeyOptions(CopyIn, WeakMemory);
    const id living = "living";
    for (int round = 0; round < 10000; ++round) {
        table->setObjectForKey(round % 1000 == 0 ? living : id(round), round);
    }
    EXPECT_EQ(table->count(), 10U);
    EXPECT_EQ(table->allKeys()->count(), 10U);
    EXPECT_EQ(table->objectForKey(9000), living);
}

TEST(SynchronizedMap, ReadersWritersAndDyingValues) {
    const auto table = QZSynchronizedMapTable::initWithKeyOptions(CopyIn, WeakMemory, "stress");
    std::atomic<bool> stop{false};
    std::vector<std::jthread> readers;
    for (int reader = 0; reader < 2; ++reader) {
        readers.emplace_back([&] {
            while (!stop) {
                for (int key = 0; key < 10; ++key) {
                    if (const auto value = table->objectForKey(key)) {
                        EXPECT_EQ(unbox<int>(value).value() % 10, key);
                    }
                }
                EXPECT_LE(table->count(), 10U);
            }
        });
    }
    std::vector<id> living(10);
    for (int round = 0; round < 2000; ++round) {
        const auto index = static_cast<std::size_t>(round % 10);
        living[index] = round;  // the value that was there dies while others read
        table->setObjectForKey(living[index], round % 10);
        if (round % 7 == 0) {
            table->removeObjectForKey(round % 10);
        }
    }
    stop = true;
}

}  // namespace qz::test
