// User defaults: what is kept and how it is read, by threads and processes at once, and stores that fail.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <set>
#include <stdexcept>
#include <thread>

#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Foundation/NSUserDefaults.h"
#include "QZUtils/Extensions/NSObject/NSObject+KVO.h"
#include "QZUtils/Storage/QZSharedPreferences.h"
#include "Siblings/QZUserDefaults.h"
#include "Tests/Diagnostics/Recorder.h"
#include "Tests/Storage/Support.h"

namespace qz::test {

using Defaults = StorageTest;

Ref<NSUserDefaults> suite(Text name = "suite") {
    return NSUserDefaults::initWithSuiteName(name);
}

TEST_F(Defaults, OutliveTheirObjects) {
    const std::pair<std::string, id> values[] = {
        {"text", "größer"},
        {"", "empty key"},
        {"key 'with' \"quotes\".and.dots", true},
        {"integer", INT64_MIN},
        {"double", 0.1},
        {"date", NSDate::dateWithTimeIntervalSince1970(1795421700)},
        {"data", NSData::dataWithText(std::string(100000, 'x'))},
        {"list", NSArray::arrayWithObjects({1, NSDictionary::dictionary({{"a", "b"}})})},
    };
    for (const auto& [key, value] : values) {
        suite()->setObjectForKey(value, key);
    }
    for (const auto& [key, value] : values) {
        EXPECT_EQ(suite()->objectForKey(key), value) << key;
    }
    EXPECT_EQ(suite()->dictionaryRepresentation()->count(), std::size(values));
    suite()->setObjectForKey(nullptr, "text");
    suite()->removeObjectForKey("");
    EXPECT_EQ(suite()->objectForKey("text"), nullptr);
    EXPECT_EQ(suite()->dictionaryRepresentation()->count(), std::size(values) - 2);
    EXPECT_EQ(suite("other")->objectForKey("integer"), nullptr);
}

TEST_F(Defaults, AreReadAsWhatIsAskedFor) {
    struct Case {
        id value;
        std::optional<std::string> text;
        bool truth;
        std::int64_t integer;
        double number;
    };
    const Case cases[] = {
        {nullptr, std::nullopt, false, 0, 0},
        {true, "1", true, 1, 1},
        {0, "0", false, 0, 0},
        {-2.75, "-2.75", true, -2, -2.75},
        {1e300, "1e+300", true, INT64_MAX, 1e300},
        {"YES", "YES", true, 0, 0},
        {"no", "no", false, 0, 0},
        {" +007.5 apples", " +007.5 apples", true, 7, 7.5},
        {"-99999999999999999999", "-99999999999999999999", true, INT64_MIN, -1e20},
        {"000", "000", false, 0, 0},
        {NSData::dataWithText("1"), std::nullopt, false, 0, 0},
        {NSArray::arrayWithObjects({1}), std::nullopt, false, 0, 0},
    };
    const auto defaults = suite();
    for (const auto& [value, text, truth, integer, number] : cases) {
        SCOPED_TRACE(descriptionOf(value));
        defaults->setObjectForKey(value, "key");
        EXPECT_EQ(defaults->stringForKey("key"), text);
        EXPECT_EQ(defaults->boolForKey("key"), truth);
        EXPECT_EQ(defaults->integerForKey("key"), integer);
        EXPECT_EQ(defaults->doubleForKey("key"), number);
    }
    EXPECT_EQ(id(defaults->arrayForKey("key")), cases[11].value);
    EXPECT_EQ(defaults->dictionaryForKey("key"), nullptr);
    EXPECT_FALSE(defaults->dataForKey("key"));
}

TEST_F(Defaults, FallBackToWhatWasRegistered) {
    const auto defaults = suite();
    defaults->registerDefaults(NSDictionary::dictionary({{"size", 12}, {"font", "serif"}}));
    defaults->registerDefaults(NSDictionary::dictionary({{"size", 14}}));
    EXPECT_EQ(suite()->integerForKey("size"), 14);
    defaults->setObjectForKey(9, "size");
    EXPECT_EQ(id(defaults->dictionaryRepresentation()),
              id(NSDictionary::dictionary({{"size", 9}, {"font", "serif"}})));
    defaults->removeObjectForKey("size");
    EXPECT_EQ(defaults->integerForKey("size"), 14);
}

TEST_F(Defaults, RefuseWhatIsNoPropertyList) {
    const auto defaults = suite();
    defaults->setObjectForKey("before", "key");
    for (const id& value : {id(NSNull::null()), id(NSArray::arrayWithObjects({defaults}))}) {
        EXPECT_THROW(defaults->setObjectForKey(value, "key"), NSException);
    }
    EXPECT_EQ(defaults->stringForKey("key"), "before");
}

TEST_F(Defaults, KeepEachSuiteInAPrivateFileOfItsOwn) {
    const char* const names[] = {"plain", "../../escape", "a/b", "a_b", "a%2Fb", ".hidden", "..", "", "ü"};
    (void)suite()->objectForKey("key");
    EXPECT_FALSE(std::filesystem::exists(stores()));  // reading leaves nothing behind
    std::vector<Ref<NSUserDefaults>> open;
    for (const auto* name : names) {
        open.push_back(suite(name));
        open.back()->setObjectForKey(name, "name");
    }
    std::set<std::string> files;
    for (const auto& file : std::filesystem::directory_iterator(stores())) {
        EXPECT_EQ(modeOf(file), 0600U) << file;
        if (file.path().string().ends_with(".sqlite")) {
            files.insert(file.path());
        }
    }
    EXPECT_EQ(files.size(), std::size(names));
    for (std::size_t index = 0; index < std::size(names); ++index) {
        EXPECT_EQ(open[index]->stringForKey("name"), names[index]);
    }
    EXPECT_EQ(modeOf(stores()), 0700U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home()), {}), 1);
}

TEST_F(Defaults, OfTheProgramAreTheSiblings) {
    NSUserDefaults::standardUserDefaults()->setObjectForKey("value", "key");
    EXPECT_EQ(QZUserDefaults::standardUserDefaults()->stringForKey("key"), "value");
    EXPECT_TRUE(std::filesystem::exists(stores() / "storage_tests.sqlite"));
}

// Transactions.

TEST_F(Defaults, TakeATransactionBackAsAWhole) {
    const auto defaults = suite();
    defaults->setObjectForKey(1, "key");
    const auto setAndThrow = [&] {
        defaults->setObjectForKey(2, "key");
        throw std::runtime_error("changed my mind");
    };
    EXPECT_THROW(defaults->performTransaction(setAndThrow), std::runtime_error);
    EXPECT_EQ(defaults->integerForKey("key"), 1);
    // Part of another one, it takes that back too, even where what it threw is caught.
    EXPECT_FALSE(defaults->performTransaction([&] {
        defaults->setObjectForKey(3, "other");
        EXPECT_THROW(defaults->performTransaction(setAndThrow), std::runtime_error);
        defaults->setObjectForKey(4, "other");
    }));
    EXPECT_EQ(defaults->objectForKey("other"), nullptr);
    EXPECT_TRUE(defaults->performTransaction([&] {
        defaults->setObjectForKey(5, "key");
        EXPECT_EQ(suite()->integerForKey("key"), 5);
    }));
    EXPECT_EQ(defaults->integerForKey("key"), 5);
}

void countUp(int times) {
    const auto defaults = suite("group");
    for (int count = 0; count < times; ++count) {
        EXPECT_TRUE(defaults->performTransaction(
            [&] { defaults->setObjectForKey(defaults->integerForKey("count") + 1, "count"); }));
    }
}

TEST_F(Defaults, LoseNothingBetweenThreads) {
    {
        std::vector<std::jthread> threads;
        for (int index = 0; index < 4; ++index) {
            threads.emplace_back([] { countUp(100); });
        }
    }
    EXPECT_EQ(suite("group")->integerForKey("count"), 400);
}

/// What each process of the next test does: it counts, and writes the preferences of a service of its own.
TEST(DefaultsProcess, DISABLED_Writes) {
    countUp(100);
    const auto preferences = QZSharedPreferences::init();
    for (int count = 1; count <= 50; ++count) {
        preferences->setValue(count, "count", std::getenv("QZ_TEST_SERVICE"));
    }
}

TEST_F(Defaults, LoseNothingBetweenProcesses) {
    const auto here = suite("group");
    const auto preferences = QZSharedPreferences::init();
    std::vector<pid_t> writers;
    std::array<std::string, 3> arguments{"storage_tests", "--gtest_also_run_disabled_tests",
                                         "--gtest_filter=DefaultsProcess.*"};
    for (const auto* service : {"daily", "weekly", "monthly"}) {
        ::setenv("QZ_TEST_SERVICE", service, 1);
        char* const argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
        writers.emplace_back();
        ASSERT_EQ(::posix_spawn(&writers.back(), "/proc/self/exe", nullptr, nullptr, argv, environ), 0);
    }
    countUp(100);  // there is no file yet: all of them may be the first
    for (const auto writer : writers) {
        int status = -1;
        ASSERT_EQ(::waitpid(writer, &status, 0), writer);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(here->integerForKey("count"), 400);
    for (const auto* service : {"daily", "weekly", "monthly"}) {
        EXPECT_EQ(preferences->valueForKey("count", service), 50) << service;
    }
}

TEST_F(Defaults, AreOutOfReachOfAForkedChild) {
    const auto defaults = suite();
    defaults->setObjectForKey("parent", "key");
    const auto child = ::fork();
    if (child == 0) {
        const bool found = defaults->objectForKey("key") != nullptr;
        defaults->setObjectForKey("child", "key");
        ::_exit(found ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(defaults->stringForKey("key"), "parent");
}

// Failures.

TEST_F(Defaults, FailQuietlyAndOnce) {
    const auto junk = std::string(5000, 'j');
    const std::pair<const char*, std::function<std::filesystem::path()>> cases[] = {
        {"no database", [&] { return stores() / "suite.sqlite"; }},
        {"a file for a directory", [&] { return stores(); }},
        {"a file for the configuration", [&] { return home() / "config"; }},
    };
    for (const auto& [name, junkPath] : cases) {
        SCOPED_TRACE(name);
        writeFile(junkPath(), junk);
        const Recorder lines(DDLog::sharedInstance(), LogLevel::Error);
        const auto defaults = suite();
        defaults->registerDefaults(NSDictionary::dictionary({{"registered", 1}}));
        for (int time = 0; time < 3; ++time) {
            EXPECT_EQ(defaults->objectForKey("key"), nullptr);
            defaults->setObjectForKey("value", "key");
            defaults->removeObjectForKey("key");
            EXPECT_FALSE(defaults->performTransaction([] {}));
        }
        EXPECT_EQ(defaults->dictionaryRepresentation()->count(), 1U);
        EXPECT_EQ(defaults->integerForKey("registered"), 1);
        DDLog::sharedInstance()->flush();
        EXPECT_THAT(lines.texts(), testing::ElementsAre(testing::HasSubstr("suite.sqlite")));
        EXPECT_EQ(contentsOf(junkPath()), junk);

        std::filesystem::remove_all(home() / "config");
        defaults->setObjectForKey("value", "key");  // the obstacle is gone
        EXPECT_EQ(defaults->stringForKey("key"), "value");
        std::filesystem::remove_all(home() / "config");
    }
}

// Observing.

TEST_F(Defaults, AnnounceChangesOfTheSuite) {
    const auto observed = suite();
    const auto other = suite();
    std::vector<std::pair<id, id>> changes;
    const auto observer = observeKeyPath(observed, "key", [&](const id&, const Ref<NSDictionary>& change) {
        changes.emplace_back(change->objectForKey("old"), change->objectForKey("new"));
    });
    const id nothing = NSNull::null();
    other->setObjectForKey(1, "key");
    other->setObjectForKey(2, "another");
    EXPECT_THAT(changes, testing::ElementsAre(std::pair(nothing, id(1))));
    changes.clear();
    other->performTransaction([&] {
        other->setObjectForKey(3, "key");
        EXPECT_TRUE(changes.empty());
    });
    EXPECT_THAT(changes, testing::ElementsAre(std::pair(id(1), id(3))));
}

}  // namespace qz::test
