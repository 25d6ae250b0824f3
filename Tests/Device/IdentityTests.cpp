// The identifier of the device: what is found out once in a process, in processes.
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSUUID.h"
#include "Platform/Foundation/SearchPaths.h"
#include "Platform/Foundation/internal/SystemFiles.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "Platform/Security/Keychain.h"
#include "QZUtils/Crypto/RC4.h"
#include "QZUtils/Extensions/UIDevice/UIDevice+Info.h"
#include "Siblings/QZLog.h"
#include "Siblings/QZUserDefaults.h"
#include "Tests/Device/SecretService.h"
#include "Tests/Device/Support.h"
#include "Tests/Diagnostics/Recorder.h"

namespace qz::test {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

const std::string zeros(32, '0');

void addItem(const std::string& application, const std::string& identifier) {
    EXPECT_EQ(SecItemAdd(NSDictionary::dictionary({{kSecClass, kSecClassGenericPassword},
                                                   {kSecAttrAccount, "zxUDID"},
                                                   {kSecAttrService, application},
                                                   {kSecValueData, NSData::dataWithText(identifier)}}),
                         nullptr),
              errSecSuccess);
}

/// A step of a program: what it prints, if anything.
std::string perform(const std::string& step) {
    const auto device = UIDevice::currentDevice();
    const auto settings = QZUserDefaults::standardUserDefaults();
    const auto word = step.substr(0, step.find(' '));
    const auto rest = step.size() == word.size() ? "" : step.substr(word.size() + 1);
    if (word == "UDID") {
        return UDID(device);
    }
    if (word == "specific") {
        return appSpecificUDID(device);
    }
    if (word == "mine") {
        return kcThisAppUDID(device).value_or("nil");
    }
    if (word == "most") {
        return kcMostUsedUDID(device).value_or("nil");
    }
    if (word == "stored") {
        const auto stored = settings->objectForKey("zxUDID");
        return stored ? unbox<std::string>(stored).value_or("no text") : "nil";
    }
    if (word == "obsolete") {
        return settings->objectForKey("zxUDID_appUID") ? "there" : "gone";
    }
    if (word == "store") {
        settings->setObjectForKey(rest, "zxUDID");
        settings->setObjectForKey("old", "zxUDID_appUID");
    } else if (word == "dictionary") {
        settings->setObjectForKey(NSDictionary::dictionary({{"zxUDID", rest}}), "zxUDID");
    } else if (word == "numbers") {
        settings->setObjectForKey(NSDictionary::dictionary({{"zxUDID", 7}}), "zxUDID");
    } else if (word == "other") {
        addItem(rest.substr(0, rest.find('=')), rest.substr(rest.find('=') + 1));
    } else if (word == "set") {
        return setKcThisAppUDID(device, rest) ? "set" : "not set";
    } else if (word == "delete") {
        deleteUDIDForCurrentAppOnly(device, rest == "mine");
    } else if (word == "reset") {
        resetUDIDPersistentCache(device);
    } else if (word == "identity") {
        auto path = NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::Caches,
                                                        NSSearchPathDomainMask::User, true)[0];
        std::filesystem::create_directories(path);
        auto text = std::regex_replace(rest, std::regex("@"), std::string(1, '\0'));
        const std::string key = "vbnqa571kte63019xmLP4hw)#)&*qr";
        RC4Crypt(reinterpret_cast<const unsigned char*>(key.data()), 30,
                 reinterpret_cast<unsigned char*>(text.data()), static_cast<std::int64_t>(text.size()));
        std::ofstream(path + "/identity", std::ios::binary) << text;
    } else if (word == "threads") {
        std::vector<std::string> seen(8);
        std::vector<std::thread> threads;
        for (auto& one : seen) {
            threads.emplace_back([&one, &device] { one = UDID(device); });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        return std::set(seen.begin(), seen.end()).size() == 1 ? "one" : "several";
    } else {
        return "unknown step " + word;
    }
    return "";
}

/// Not a test: a program of the family, which the tests run.
TEST(Program, DISABLED_PerformsSteps) {
    NSBundle::setMainBundle(NSBundle::bundleWithPath(std::getenv("QZ_TEST_BUNDLE")));
    internal::setSystemRoot(std::getenv("QZ_TEST_ROOT"));
    std::ofstream output(std::getenv("QZ_TEST_OUTPUT"));
    const Recorder log(QZLog::sharedLog()->ddSyncLog());
    std::istringstream steps(std::getenv("QZ_TEST_STEPS"));
    for (std::string step; std::getline(steps, step, ';');) {
        if (const auto line = step == "log" ? "" : perform(step); !line.empty()) {
            output << line << '\n';
        }
        if (step == "log") {
            for (const auto& text : log.texts()) {
                output << text.substr(0, text.find('\n')) << '\n';
            }
        }
    }
}

class IdentityTest : public BundleTest {
protected:
    IdentityTest() {
        write("root/etc/machine-id", "0123456789abcdef0123456789abcdef\n");
        for (const auto* name : {"CACHE", "CONFIG", "DATA"}) {
            ::setenv(("XDG_" + std::string(name) + "_HOME").c_str(), at(std::string("home/") + name).c_str(),
                     1);
        }
        ::setenv("QZ_TEST_ROOT", at("root").c_str(), 1);
        ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
        ::unsetenv("XDG_RUNTIME_DIR");
    }
    ~IdentityTest() override {
        for (const auto* name : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
            ::unsetenv(name);
        }
    }

    /// The lines that a new process prints, which performs steps as an application.
    std::vector<std::string> run(const std::string& steps, const std::string& application = "org.one") {
        return linesOf(start(steps, application));
    }

    struct Running {
        pid_t process;
        std::string output;
    };
    Running start(const std::string& steps, const std::string& application) {
        write("apps/" + application + "/Info.plist", "{ CFBundleIdentifier = \"" + application + "\"; }");
        const auto output = at("output-" + std::to_string(++runs_));
        ::setenv("QZ_TEST_BUNDLE", at("apps/" + application).c_str(), 1);
        ::setenv("QZ_TEST_STEPS", steps.c_str(), 1);
        ::setenv("QZ_TEST_OUTPUT", output.c_str(), 1);
        // The name tells the applications' settings apart.
        const auto program = at("apps/" + application + "/" + application);
        if (!std::filesystem::exists(program)) {
            std::filesystem::create_symlink(std::filesystem::read_symlink("/proc/self/exe"), program);
        }
        std::vector<std::string> words = {program, "--gtest_filter=Program.*",
                                          "--gtest_also_run_disabled_tests", "--gtest_brief=1"};
        std::vector<char*> arguments;
        for (auto& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions{};
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        pid_t process = -1;
        EXPECT_EQ(::posix_spawn(&process, program.c_str(), &actions, nullptr, arguments.data(), environ), 0);
        ::posix_spawn_file_actions_destroy(&actions);
        return {process, output};
    }
    static std::vector<std::string> linesOf(const Running& running) {
        int status = -1;
        EXPECT_EQ(::waitpid(running.process, &status, 0), running.process);
        EXPECT_EQ(status, 0);
        std::ifstream stream(running.output);
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        return lines;
    }

private:
    int runs_ = 0;
};

TEST_F(IdentityTest, IsMadeOnceAndKeptInBothStores) {
    const auto first = run("threads;UDID;stored;mine;most;specific");
    ASSERT_EQ(first.size(), 6U);
    EXPECT_EQ(first[0], "one");
    EXPECT_THAT(first[1], MatchesRegex("[0-9A-F]{32}[0-9a-f]{8}"));
    EXPECT_THAT(first, ElementsAre("one", first[1], first[1], first[1], first[1], first[1] + "_org.one"));
    EXPECT_THAT(run("UDID"), ElementsAre(first[1]));
    EXPECT_THAT(run("UDID;stored;mine", "org.two"), ElementsAre(first[1], first[1], first[1]))
        << "an application that is installed later";
    std::filesystem::remove_all(at("home/CONFIG"));
    EXPECT_THAT(run("UDID;stored"), ElementsAre(first[1], first[1])) << "one that is installed anew";
    std::filesystem::remove_all(at("home/DATA"));
    EXPECT_THAT(run("UDID;mine"), ElementsAre(first[1], first[1])) << "a keychain that was lost";
}

TEST_F(IdentityTest, WithoutAMachineIdentifierIsRandom) {
    std::filesystem::remove(at("root/etc/machine-id"));
    const auto identifier = run("UDID");
    ASSERT_EQ(identifier.size(), 1U);
    EXPECT_THAT(identifier[0], MatchesRegex("[0-9a-f]{40}"));
}

TEST_F(IdentityTest, FollowsTheStores) {
    struct Case {
        const char* what;
        std::string steps;
        std::vector<std::string> lines;
    };
    const std::string zero = zeros + "12345678";
    const Case cases[] = {
        {"settings first", "store S;set K;UDID;mine;obsolete", {"set", "S", "S", "gone"}},
        {"then its own item", "other b=B;other c=B;set K;UDID;stored", {"set", "K", "K"}},
        {"then the most used", "other b=A;other c=B;other d=A;UDID;stored;mine", {"A", "A", "A"}},
        {"equally used", "other b=B;other c=A;UDID", {"A"}},
        {"an older form", "dictionary D;UDID;stored;mine", {"D", "D", "D"}},
        {"an older form without a text", "numbers;set K;UDID;stored", {"set", "K", "K"}},
        {"zeros in the settings", "store " + zero + ";UDID;mine;stored", {zero, "nil", zero}},
        {"zeros in the settings, not over others", "store " + zero + ";set K;UDID;mine", {"set", zero, "K"}},
        {"zeros in the keychain",
         "other b=" + zero + ";other c=" + zero + ";other d=B;set " + zero + ";mine;most",
         {"set", "nil", "B"}},
        {"nothing in the keychain", "other b=;other c=\xFF;most;mine", {"nil", "nil"}},
        {"deleting one's own", "set K;other b=B;delete mine;mine;most", {"set", "nil", "B"}},
        {"deleting all", "set K;other b=B;delete all;mine;most", {"set", "nil", "nil"}},
        {"an update", "set K;set L;mine", {"set", "set", "L"}},
    };
    for (const auto& one : cases) {
        std::filesystem::remove_all(at("home"));
        EXPECT_EQ(run(one.steps), one.lines) << one.what;
    }
}

TEST_F(IdentityTest, SaysWhatItDoes) {
    EXPECT_THAT(run("dictionary D;UDID;log"),
                testing::AllOf(testing::Contains(testing::StartsWith("open UDID migrating from ")),
                               testing::Contains("D")));
    EXPECT_THAT(run("UDID;log"), testing::Contains(testing::StartsWith("UDID keychain item for this app: ")));
    EXPECT_THAT(run("delete all;delete all;log"), ElementsAre("Unable delete UDID cache"));
    std::filesystem::remove_all(at("home/DATA"));
    write("home/DATA", "no directory");
    const auto lines = run("UDID;log");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], "D");
    EXPECT_THAT(lines, testing::Contains("Unable to save UDID to key chain"));
}

TEST_F(IdentityTest, IsForgottenForTheNextProcess) {
    const auto lines = run("identity old;UDID;specific;reset;UDID;specific;stored;mine");
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_THAT(lines, ElementsAre(lines[0], "old", lines[0], "old", "nil", "nil"));
    EXPECT_FALSE(std::filesystem::exists(at("home/CACHE/org.one/identity")));
    const auto next = run("UDID;specific");
    ASSERT_EQ(next.size(), 2U);
    EXPECT_NE(next[0], lines[0]);
    EXPECT_EQ(next[1], next[0] + "_org.one");
}

TEST_F(IdentityTest, OfAnOlderVersionEndsAtAZero) {
    const std::pair<const char*, const char*> cases[] = {{"left", "left"},
                                                         {"left@over", "left"},
                                                         {"@left", "S_org.one"},
                                                         {"l\xC3\xB6st", "S_org.one"},
                                                         {"", "S_org.one"}};
    for (const auto& [content, identity] : cases) {
        EXPECT_THAT(run(std::string("store S;identity ") + content + ";specific"), ElementsAre(identity))
            << content;
    }
}

TEST_F(IdentityTest, IsOneForProgramsThatStartAtOnce) {
    for (const bool isOneApplication : {true, false}) {
        for (int round = 0; round < 5; ++round) {
            std::filesystem::remove_all(at("home"));
            std::vector<Running> programs;
            for (int i = 0; i < 6; ++i) {
                programs.push_back(start("UDID", "org." + (isOneApplication ? "one" : std::to_string(i))));
            }
            std::set<std::string> identifiers;
            for (const auto& program : programs) {
                const auto lines = linesOf(program);
                identifiers.insert(lines.begin(), lines.end());
            }
            EXPECT_EQ(identifiers.size(), 1U) << isOneApplication;
        }
    }
}

TEST_F(IdentityTest, IsInTheSecretServiceWhereThereIsOne) {
    const SecretService service;
    const auto data = std::string(std::getenv("XDG_DATA_HOME"));
    const auto first = run("UDID;mine");
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(first[0], first[1]);
    EXPECT_FALSE(std::filesystem::exists(data + "/QZUtils/Keychain/items.sqlite"));
    std::filesystem::remove_all(at("home/CONFIG"));
    service.lock();
    const auto locked = run("mine;set K;UDID;stored;log");
    ASSERT_GT(locked.size(), 4U);
    EXPECT_THAT(std::vector(locked.begin(), locked.begin() + 2), ElementsAre("nil", "not set"));
    EXPECT_THAT(locked[2], MatchesRegex("[0-9A-F]{32}[0-9a-f]{8}"));
    EXPECT_EQ(locked[3], locked[2]);
    EXPECT_THAT(locked, testing::Contains("Unable to save UDID to key chain"));
}

}  // namespace
}  // namespace qz::test
