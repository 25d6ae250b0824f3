// The keychain, in both places that can keep it.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Security/internal/KeychainService.h"
#include "Tests/Device/SecretService.h"
#include "Tests/Support/TemporaryDirectory.h"

namespace qz::test {
namespace {

using internal::KeychainItem;
using internal::KeychainService;

KeychainItem item(std::string account, std::string service, std::string_view value) {
    return {std::move(account), std::move(service), "afterwards", false, NSData::dataWithText(value)};
}

/// "service/account=value" of what is found.
std::vector<std::string> found(KeychainService& keychain, const internal::KeychainQuery& query,
                               OSStatus status = errSecSuccess) {
    std::vector<KeychainItem> items;
    EXPECT_EQ(keychain.find(query, items), status);
    std::vector<std::string> texts;
    for (const auto& one : items) {
        texts.push_back(one.service + "/" + one.account + "=" + std::string(one.value.text()));
    }
    return texts;
}

/// What holds wherever items are.
void checkContract(KeychainService& keychain) {
    using testing::ElementsAre;
    const std::string odd("a\0\xFF'b", 5);
    EXPECT_THAT(found(keychain, {}, errSecItemNotFound), ElementsAre());
    EXPECT_EQ(keychain.update({}, {}), errSecItemNotFound);
    EXPECT_EQ(keychain.remove({}), errSecItemNotFound);

    EXPECT_EQ(keychain.add(item("reader", "two", odd)), errSecSuccess);
    EXPECT_EQ(keychain.add(item("reader", "one", "1")), errSecSuccess);
    EXPECT_EQ(keychain.add(item("", "", "")), errSecSuccess);
    EXPECT_EQ(keychain.add(item("größer", "one", "3")), errSecSuccess);
    EXPECT_EQ(keychain.add(item("reader", "one", "again")), errSecDuplicateItem);
    EXPECT_THAT(found(keychain, {}), ElementsAre("/=", "one/größer=3", "one/reader=1", "two/reader=" + odd));
    EXPECT_THAT(found(keychain, {"reader", std::nullopt}), ElementsAre("one/reader=1", "two/reader=" + odd));
    EXPECT_THAT(found(keychain, {"", ""}), ElementsAre("/="));
    EXPECT_THAT(found(keychain, {"Reader", std::nullopt}, errSecItemNotFound), ElementsAre());

    EXPECT_EQ(keychain.update({"reader", std::nullopt}, {NSData::dataWithText("new"), std::nullopt, true}),
              errSecSuccess);
    EXPECT_THAT(found(keychain, {"reader", std::nullopt}), ElementsAre("one/reader=new", "two/reader=new"));
    std::vector<KeychainItem> items;
    EXPECT_EQ(keychain.find({"reader", "two"}, items), errSecSuccess);
    EXPECT_EQ(items.at(0).accessible, "afterwards");
    EXPECT_TRUE(items.at(0).isSynchronizable);

    EXPECT_EQ(keychain.remove({std::nullopt, "one"}), errSecSuccess);
    EXPECT_THAT(found(keychain, {}), ElementsAre("/=", "two/reader=new"));
    EXPECT_EQ(keychain.remove({}), errSecSuccess);
    EXPECT_EQ(keychain.remove({}), errSecItemNotFound);
}

mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

TEST(FileKeychain, KeepsTheContract) {
    const TemporaryDirectory home;
    checkContract(*internal::makeFileKeychain(home.path() / "a/b/items.sqlite"));
}

TEST(FileKeychain, IsTheUsersAlone) {
    const TemporaryDirectory home;
    const auto file = home.path() / "keychain/items.sqlite";
    const auto keychain = internal::makeFileKeychain(file);
    (void)found(*keychain, {}, errSecItemNotFound);
    EXPECT_FALSE(std::filesystem::exists(file.parent_path())) << "reading makes nothing";
    EXPECT_EQ(keychain->add(item("a", "s", "1")), errSecSuccess);
    EXPECT_EQ(modeOf(file), 0600);
    EXPECT_EQ(modeOf(file.parent_path()), 0700);
    ::chmod(file.c_str(), 0644);
    ::chmod(file.parent_path().c_str(), 0755);
    EXPECT_EQ(found(*keychain, {}).size(), 1U);
    EXPECT_EQ(modeOf(file), 0600);
    EXPECT_EQ(modeOf(file.parent_path()), 0700);
}

TEST(FileKeychain, SaysThatItCannot) {
    const TemporaryDirectory home;
    const auto junk = home.path() / "junk";
    std::ofstream(junk) << std::string(5000, 'j');
    for (const auto& path : {std::string(), junk.string(), (junk / "below").string(), home.path().string()}) {
        SCOPED_TRACE(path);
        const auto keychain = internal::makeFileKeychain(path);
        EXPECT_EQ(keychain->add(item("a", "s", "1")), errSecNotAvailable);
        (void)found(*keychain, {}, errSecNotAvailable);
    }
    EXPECT_EQ(contentOf(junk), std::string(5000, 'j'));
}

TEST(FileKeychain, AddsAnItemOnceForAllThreads) {
    const TemporaryDirectory home;
    std::atomic<int> added = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([&, i] {
            const auto keychain = internal::makeFileKeychain(home.path() / "k/items.sqlite");
            for (int round = 0; round < 10; ++round) {
                const auto name = std::to_string(round);
                const auto status = keychain->add(item("a", name, std::to_string(i)));
                added += status == errSecSuccess ? 1 : 0;
                EXPECT_TRUE(status == errSecSuccess || status == errSecDuplicateItem) << status;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(added, 10);
}

/// A process has one session bus to its end: each of these tests has a process of its own.
void inProcess(void (*block)()) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            block();
            std::_Exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(SecretServiceKeychain, KeepsTheContract) {
    inProcess([] {
        const SecretService service;
        const auto keychain = internal::makeSecretServiceKeychain();
        ASSERT_TRUE(keychain);
        checkContract(*keychain);
    });
}

TEST(SecretServiceKeychain, AsksNobodyToUnlock) {
    inProcess([] {
        const SecretService service;
        const auto keychain = internal::makeSecretServiceKeychain();
        ASSERT_TRUE(keychain);
        EXPECT_EQ(keychain->add(item("a", "s", "1")), errSecSuccess);
        service.lock();
        const auto start = std::chrono::steady_clock::now();
        (void)found(*keychain, {"a", "s"}, errSecInteractionNotAllowed);
        EXPECT_EQ(keychain->add(item("a", "t", "1")), errSecInteractionNotAllowed);
        EXPECT_EQ(keychain->update({"a", "s"}, {NSData::dataWithText("2"), {}, {}}),
                  errSecInteractionNotAllowed);
        EXPECT_EQ(keychain->remove({"a", "s"}), errSecInteractionNotAllowed);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    });
}

TEST(SecretServiceKeychain, SurvivesTheEndOfTheBus) {
    inProcess([] {
        auto service = std::make_unique<SecretService>();
        const auto keychain = internal::makeSecretServiceKeychain();
        ASSERT_TRUE(keychain);
        service.reset();
        (void)found(*keychain, {"a", "s"}, errSecNotAvailable);
        EXPECT_EQ(keychain->add(item("a", "t", "1")), errSecNotAvailable);
    });
}

TEST(SecretServiceKeychain, DoesNotWaitForOneThatHangs) {
    inProcess([] {
        const SecretService service;
        const auto keychain = internal::makeSecretServiceKeychain();
        ASSERT_TRUE(keychain);
        service.stop();
        const auto start = std::chrono::steady_clock::now();
        (void)found(*keychain, {"a", "s"}, errSecNotAvailable);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    });
}

TEST(SecretServiceKeychain, IsNotThereWithoutAService) {
    inProcess([] {
        const PrivateBus bus;
        EXPECT_FALSE(internal::makeSecretServiceKeychain());
    });
    inProcess([] {
        ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
        EXPECT_FALSE(internal::makeSecretServiceKeychain());
    });
}

TEST(Keychain, RefusesQueriesThatMakeNoSense) {
    const Ref<NSDictionary> queries[] = {
        nullptr,
        NSDictionary::dictionary({}),
        NSDictionary::dictionary({{kSecClass, "kSecClassKey"}}),
        NSDictionary::dictionary({{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, 7}}),
    };
    for (const auto& query : queries) {
        id result = "before";
        EXPECT_EQ(SecItemCopyMatching(query, &result), errSecParam);
        EXPECT_FALSE(result);
        EXPECT_EQ(SecItemAdd(query, &result), errSecParam);
        EXPECT_EQ(SecItemUpdate(query, NSDictionary::dictionary({})), errSecParam);
        EXPECT_EQ(SecItemDelete(query), errSecParam);
    }
}

}  // namespace
}  // namespace qz::test
