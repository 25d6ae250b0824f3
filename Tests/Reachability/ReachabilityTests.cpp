// Reachability in a network of its own, with real events of the kernel. The program starts itself anew in
// namespaces, before any thread exists.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/if_arp.h>
#include <linux/if_tun.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sstream>
#include <thread>

#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSURL.h"
#include "QZUtils/Download/QZReachability.h"
#include "Tests/Support/TemporaryDirectory.h"

namespace qz::test {

using Flags = SCNetworkReachabilityFlags;

constexpr auto R = kSCNetworkReachabilityFlagsReachable;
constexpr auto direct = kSCNetworkReachabilityFlagsIsDirect;
constexpr auto local = kSCNetworkReachabilityFlagsIsLocalAddress;

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
    /// Asks again and again: the kernel and threads that end tell the main loop nothing.
    static bool await(const std::function<bool()>& condition) {
        const auto now = std::chrono::steady_clock::now;
        for (const auto end = now() + std::chrono::seconds(30); !condition();) {
            if (now() > end) {
                return false;
            }
            NSRunLoop::mainRunLoop()->runOnce(now() + std::chrono::milliseconds(5));
        }
        return true;
    }
};

/// The flags that a target's block is called with.
class Heard {
public:
    explicit Heard(const Ref<QZReachability>& target) : target_(target) {
        target->setReachabilityBlock([this](const auto&, Flags flags) {
            const std::lock_guard lock(mutex_);
            all_.push_back(flags);
        });
        EXPECT_TRUE(target->startNotifier());
    }
    ~Heard() {
        target_->stopNotifier();
        target_->reachabilitySerialQueue().sync([] {});  // a block that had begun is over
    }
    [[nodiscard]] std::vector<Flags> all() const {
        const std::lock_guard lock(mutex_);
        return all_;
    }

private:
    const Ref<QZReachability> target_;
    mutable std::mutex mutex_;
    std::vector<Flags> all_;
};

std::size_t numberOfWatchThreads() {
    std::size_t number = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm") >> std::ws, name);
        number += name.starts_with("qz-reachabilit") ? 1 : 0;  // 15 bytes of it are kept
    }
    return number;
}

/// Leaves room for one message in each socket that listens to the kernel's routing tables.
void makeReceiveBuffersTiny() {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        int family = 0;
        socklen_t size = sizeof family;
        if (::getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &family, &size) == 0 && family == AF_NETLINK) {
            const int room = 1;
            EXPECT_EQ(::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &room, sizeof room), 0);
        }
    }
}

std::size_t numberOfLostMessages() {
    std::ifstream table("/proc/self/net/netlink");
    std::size_t number = 0;
    std::string line;
    for (std::getline(table, line); std::getline(table, line);) {
        std::istringstream words(line);
        const std::vector<std::string> columns{std::istream_iterator<std::string>(words), {}};
        number += std::stoul(columns.at(8));
    }
    return number;
}

/// Turns the default route off and on a hundred times, and off.
bool makeRapidChanges() {
    return run(
        "(for i in $(seq 100); do echo route del default; echo route add default via 10.9.0.1; done; "
        "echo route del default) | ip -batch -");
}

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
    ASSERT_TRUE(makeRapidChanges());
    EXPECT_TRUE(await([&] { return !heard.back(); }));
    internet->stopNotifier();
    EXPECT_EQ(internet->reachabilityObject(), nullptr);
    NSNotificationCenter::defaultCenter()->removeObserver(token);
}

TEST_F(Reachability, TellsTheLastStateWhenMessagesAreLost) {
    const auto internet = QZReachability::reachabilityForInternetConnection();
    ASSERT_TRUE(await([&] { return internet->reachabilityFlags() == R; }));
    const Heard heard(internet);
    makeReceiveBuffersTiny();
    // Hundreds of messages in a few system calls. A thread that is awake may nevertheless read them all.
    for (int attempt = 0; attempt < 100 && numberOfLostMessages() == 0; ++attempt) {
        ASSERT_TRUE(run("for i in $(seq 250); do echo route add 10.10.$i.0/24 dev lo; done | ip -batch -"));
        ASSERT_TRUE(run("ip route flush table main"));
    }
    EXPECT_GT(numberOfLostMessages(), 0U);
    EXPECT_TRUE(await([&] { return heard.all() == std::vector<Flags>{0}; }));
    ASSERT_TRUE(run("ip route add 10.9.0.0/24 dev qz0 && ip route add default via 10.9.0.1"));
    EXPECT_TRUE(await([&] { return heard.all() == std::vector<Flags>{0, R}; }));
}

TEST_F(Reachability, TellsChangesOfAddresses) {
    const auto own = QZReachability::reachabilityWithHostname("10.9.0.9");
    ASSERT_TRUE(await([&] { return own->reachabilityFlags() == (R | direct); }));
    const Heard heard(own);
    std::vector<Flags> expected;
    for (const auto& [command, flags] :
         {std::pair("ip addr add 10.9.0.9/32 dev qz0", R | direct | local),
          std::pair("ip addr del 10.9.0.9/32 dev qz0", R | direct),
          std::pair("ip addr del 10.9.0.2/24 dev qz0", Flags{0}),
          std::pair("ip addr add 10.8.0.2/24 dev qz0 && ip route add default via 10.8.0.1", R)}) {
        ASSERT_TRUE(run(command));
        expected.push_back(flags);
        EXPECT_TRUE(await([&] { return heard.all().size() >= expected.size(); })) << command;
        EXPECT_EQ(heard.all(), expected) << command;
    }
}

TEST_F(Reachability, FollowsTheAddressOfAName) {
    const auto moveTo = [](const std::string& address) {
        return run("echo '" + address + " moving.example' > hosts && mount --bind hosts /etc/hosts");
    };
    const auto previous = std::filesystem::current_path();
    const TemporaryDirectory directory;
    std::filesystem::current_path(directory.path());
    ASSERT_TRUE(await([] {
        return QZReachability::reachabilityWithHostname("10.9.0.7")->reachabilityFlags() == (R | direct);
    }));
    ASSERT_TRUE(moveTo("10.9.0.7"));
    const auto moving = QZReachability::reachabilityWithHostname("moving.example");
    {
        const Heard heard(moving);
        EXPECT_TRUE(await([&] { return heard.all() == std::vector<Flags>{R | direct}; }));
        ASSERT_TRUE(moveTo("203.0.113.1"));
        ASSERT_TRUE(run("ip addr add 10.7.0.2/24 dev qz0"));  // another network, another answer
        EXPECT_TRUE(await([&] { return heard.all() == std::vector<Flags>{R | direct, R}; }));
    }
    EXPECT_TRUE(run("umount /etc/hosts; umount /etc/hosts"));
    std::filesystem::current_path(previous);
}

TEST_F(Reachability, KnowsMobileNetworks) {
    const int tunnel = ::open("/dev/net/tun", O_RDWR | O_CLOEXEC);
    const std::shared_ptr<void> closing(nullptr, [tunnel](void*) { ::close(tunnel); });
    ifreq request{};
    std::strcpy(request.ifr_name, "qzmobile");
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (tunnel < 0 || ::ioctl(tunnel, TUNSETIFF, &request) != 0) {
        GTEST_SKIP() << "this machine allows no tunnels";
    }
    ASSERT_EQ(::ioctl(tunnel, TUNSETLINK, ARPHRD_RAWIP), 0);
    ASSERT_TRUE(run("ip link set qzmobile up && ip route add 198.51.100.0/24 dev qzmobile"));
    const auto target = QZReachability::reachabilityWithHostname("198.51.100.1");
    ASSERT_TRUE(await([&] { return target->isReachable(); }));
    EXPECT_EQ(target->currentReachabilityFlags(), "WR ------d");
    EXPECT_EQ(target->currentReachabilityStatus(), NetworkStatus::ReachableViaWWAN);
    EXPECT_EQ(target->currentReachabilityString(), "Cellular");
    EXPECT_FALSE(target->isReachableViaWiFi());
    target->setReachableOnWWAN(false);
    EXPECT_TRUE(target->isReachableViaWWAN());
    EXPECT_EQ(target->currentReachabilityStatus(), NetworkStatus::NotReachable);
    EXPECT_EQ(target->currentReachabilityString(), "No Connection");
}

TEST_F(Reachability, HoldsItselfWhileItTellsAndEndsItsThread) {
    auto target = QZReachability::reachabilityForInternetConnection();
    const auto other = QZReachability::reachabilityForLocalWiFi();
    const std::weak_ptr<QZReachability> weak = target;
    ASSERT_TRUE(target->startNotifier());
    EXPECT_EQ(target->reachabilityObject(), target);
    ASSERT_TRUE(other->startNotifier());
    auto* const held = std::exchange(target, nullptr).get();
    EXPECT_TRUE(await([] { return numberOfWatchThreads() == 1; }));
    ASSERT_FALSE(weak.expired());
    std::thread([held] { held->stopNotifier(); }).join();  // releases the last reference
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(numberOfWatchThreads(), 1U);
    other->stopNotifier();
    EXPECT_TRUE(await([] { return numberOfWatchThreads() == 0; }));
    ASSERT_TRUE(other->startNotifier());
    EXPECT_TRUE(await([] { return numberOfWatchThreads() == 1; }));
    other->stopNotifier();
    EXPECT_TRUE(await([] { return numberOfWatchThreads() == 0; }));
}

TEST_F(Reachability, StopsWhileItTells) {
    std::atomic<int> ends = 0;
    constexpr int rounds = 40;
    for (int round = 0; round < rounds; ++round) {
        auto target = QZReachability::reachabilityForInternetConnection();
        target->setReachabilityBlock([end = std::shared_ptr<void>(nullptr, [&](void*) { ++ends; })](
                                         const auto& told, auto) { told->stopNotifier(); });
        ASSERT_TRUE(target->startNotifier());
        ASSERT_TRUE(run(round % 2 == 0 ? "ip route del default" : "ip route add default via 10.9.0.1"));
        // Some are stopped by their first change, from within; the others from here, about that time.
        if (round % 4 != 0) {
            const auto moment = std::chrono::steady_clock::now() + std::chrono::milliseconds(round / 2 + 5);
            EXPECT_FALSE(NSRunLoop::mainRunLoop()->runUntil(moment, [] { return false; }));
            target->stopNotifier();
        }
        const std::weak_ptr<QZReachability> weak = target;
        target.reset();
        EXPECT_TRUE(await([&] { return weak.expired(); })) << round;
    }
    EXPECT_TRUE(await([&] { return ends == rounds; }));
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
    EXPECT_EQ(url->currentReachabilityString(), "WiFi");
    EXPECT_THAT(url->description(), testing::MatchesRegex("<QZReachability: 0x[0-9a-f]+ \\(-R ------d\\)>"));
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
    if (std::getenv("QZ_OWN_NETWORK") == nullptr && std::system("unshare -Urnm true 2>/dev/null") == 0) {
        ::setenv("QZ_OWN_NETWORK", "1", 1);
        std::vector<const char*> words{"unshare", "-Urnm", "/proc/self/exe"};
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
