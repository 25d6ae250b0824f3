// Reachability in a network of its own, with real events of the kernel. The program starts itself anew in
// namespaces, before any thread exists.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>

#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSURL.h"
#include "QZUtils/Download/QZReachability.h"

namespace qz::test {

constexpr auto R = kSCNetworkReachabilityFlagsReachable;
constexpr auto direct = kSCNetworkReachabilityFlagsIsDirect;

bool run(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

class Reachability : public testing::Test {
protected:
    void SetUp() override {
        if (std::getenv("QZ_OWN_NETWORK") == nullptr) {
            GTEST_SKIP() << "this machine allows no network namespaces";
        }
        ASSERT_TRUE(run(
            "ip link set lo up && ip link add qz0 type veth peer name qz1 && ip link set qz0 up && "
            "ip link set qz1 up && ip addr add 10.9.0.2/24 dev qz0 && ip route add default via 10.9.0.1"));
    }
    void TearDown() override {
        if (std::getenv("QZ_OWN_NETWORK") != nullptr) {
            EXPECT_TRUE(run("ip link del qz0"));
        }
    }
    static bool await(const std::function<bool()>& condition) {
        return NSRunLoop::mainRunLoop()->runUntil(std::chrono::steady_clock::now() + std::chrono::seconds(30),
                                                  condition);
    }
};

TEST_F(Reachability, TellsChangesInOrderAndTheLastState) {
    const auto internet = QZReachability::reachabilityForInternetConnection();
    ASSERT_TRUE(await([&] { return internet->reachabilityFlags() == R; }));
    std::vector<bool> heard;
    const auto token = NSNotificationCenter::defaultCenter()->addObserverForName(
        kQZReachabilityChangedNotification, internet, nullptr,
        [&](const auto&) { heard.push_back(internet->isReachable()); });
    ASSERT_TRUE(internet->startNotifier());
    ASSERT_TRUE(internet->startNotifier());
    std::vector<bool> expected;
    for (const auto* command : {"ip route del default", "ip route add default via 10.9.0.1",
                                "ip link set qz1 down", "ip link set qz1 up"}) {
        ASSERT_TRUE(run(command));
        expected.push_back(!expected.empty() && !expected.back());
        ASSERT_TRUE(await([&] { return heard.size() >= expected.size(); })) << command;
        EXPECT_EQ(heard, expected) << command;
    }
    std::string changes =
        "for i in $(seq 100); do echo route del default; echo route add default via 10.9.0.1; done";
    ASSERT_TRUE(run("(" + changes + "; echo route del default) | ip -batch -"));
    EXPECT_TRUE(await([&] { return !heard.back(); }));
    internet->stopNotifier();
    EXPECT_EQ(internet->reachabilityObject(), nullptr);
    NSNotificationCenter::defaultCenter()->removeObserver(token);
}

TEST_F(Reachability, ReadsWhatTheKernelWouldDo) {
    ASSERT_TRUE(await([] { return QZReachability::reachabilityForLocalWiFi()->isReachable(); }));
    const struct {
        const char* host;
        const char* letters;
    } cases[] = {{"10.9.0.7", "-R ------d"},
                 {"203.0.113.1", "-R -------"},
                 {"10.9.0.2", "-R -----ld"},
                 {"2001:db8::1", "-- -------"},
                 {"::ffff:10.9.0.7", "-R ------d"}};
    for (const auto& [host, letters] : cases) {
        EXPECT_EQ(QZReachability::reachabilityWithHostname(host)->currentReachabilityFlags(), letters)
            << host;
    }
    const auto url = QZReachability::reachabilityWithURL(NSURL::URLWithString("https://10.9.0.7/a"));
    EXPECT_EQ(url->reachabilityFlags(), R | direct);
    EXPECT_EQ(QZReachability::reachabilityWithHostname(nullptr), nullptr);
}

TEST(ReachabilityFlags, AreInterpreted) {
    const auto some = QZReachability::reachabilityForInternetConnection();
    EXPECT_FALSE(some->isReachableWithFlags(0x7));
    EXPECT_TRUE(some->isReachableWithFlags(0x3));
    EXPECT_TRUE(some->isReachableWithFlags(0x40002));
    some->setReachableOnWWAN(false);
    EXPECT_FALSE(some->isReachableWithFlags(0x40002));
}

}  // namespace qz::test

int main(int argc, char** argv) {
    if (std::getenv("QZ_OWN_NETWORK") == nullptr && std::system("unshare -Urn true 2>/dev/null") == 0) {
        ::setenv("QZ_OWN_NETWORK", "1", 1);
        std::vector<const char*> words{"unshare", "-Urn", "/proc/self/exe"};
        static char self[4096];
        if (::readlink("/proc/self/exe", self, sizeof self - 1) > 0) {
            words.back() = self;
            words.insert(words.end(), argv + 1, argv + argc);
            words.push_back(nullptr);
            ::execvp("unshare", const_cast<char**>(words.data()));
        }
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
