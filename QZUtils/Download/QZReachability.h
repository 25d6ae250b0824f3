// QZReachability: whether a host, an address or the internet can be reached, and over which kind of link.
//
//     const auto internet = QZReachability::reachabilityForInternetConnection();
//     if (internet->currentReachabilityStatus() == NetworkStatus::ReachableViaWiFi) { … }
//     internet->setUnreachableBlock([](const auto&) { … });
//     internet->startNotifier();
//     …
//     internet->stopNotifier();
//
// The answer is that of the routes (Platform/Network/SCNetworkReachability.h says what that means, and which
// addresses stand for more than themselves): a server that is switched off is reachable. Whatever is not
// wireless wide area counts as "WiFi", cables included. A name that is not resolved yet cannot be read, and
// so is not reachable; the first answer is a change.
//
// A running notifier holds its object: it lives until stopNotifier(). The blocks run on
// reachabilitySerialQueue(), one change at a time and in order; then kQZReachabilityChangedNotification is
// posted on the main thread, which has to run its loop. A block that has begun may still be running when
// stopNotifier() returns.
//
// Every query asks the kernel anew, on the caller's thread, and takes some microseconds. Every operation is
// safe from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Export.h"
#include "Platform/Network/SCNetworkReachability.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSURL;

enum class NetworkStatus : std::uint8_t { NotReachable = 0, ReachableViaWWAN = 1, ReachableViaWiFi = 2 };

/// Posted by the default centre; the object is the reachability object.
inline constexpr std::string_view kQZReachabilityChangedNotification = "kReachabilityChangedNotification";

class QZ_EXPORT QZReachability : public NSObject {
    QZ_OBJECT(QZReachability, NSObject)
public:
    using Flags = SCNetworkReachabilityFlags;
    using Block = std::function<void(const Ref<QZReachability>& reachability)>;
    using FlagsBlock = std::function<void(const Ref<QZReachability>& reachability, Flags flags)>;

    // Making one. Null where the platform gives no handle: for nil, the empty name, and families other than
    // IPv4 and IPv6.

    template <class Self = QZReachability>
    [[nodiscard]] static Ref<Self> reachabilityWithHostname(Text hostname) {
        return withHandle<Self>(SCNetworkReachabilityCreateWithName(hostname));
    }
    /// A second spelling, for this class alone.
    [[nodiscard]] static Ref<QZReachability> reachabilityWithHostName(Text hostname);
    /// A sockaddr_in or sockaddr_in6, as its family says.
    template <class Self = QZReachability>
    [[nodiscard]] static Ref<Self> reachabilityWithAddress(const sockaddr* hostAddress) {
        return withHandle<Self>(SCNetworkReachabilityCreateWithAddress(hostAddress));
    }
    template <class Self = QZReachability>
    [[nodiscard]] static Ref<Self> reachabilityForInternetConnection() {
        return withHandle<Self>(handleForInternet());
    }
    /// The local network, wired or wireless.
    template <class Self = QZReachability>
    [[nodiscard]] static Ref<Self> reachabilityForLocalWiFi() {
        return withHandle<Self>(handleForLocalNetwork());
    }
    /// The URL's host. Null for nil and for URLs without a host.
    template <class Self = QZReachability>
    [[nodiscard]] static Ref<Self> reachabilityWithURL(const Ref<NSURL>& url) {
        return withHandle<Self>(handleForURL(url));
    }
    /// Whether it is a numeric IPv4 address in one of the forms of inet_aton(3), such as "127.1". False for
    /// nil.
    [[nodiscard]] static bool isIpAddress(Text host);
    template <class Self = QZReachability>
    [[nodiscard]] static Ref<Self> initWithReachabilityRef(const SCNetworkReachabilityRef& ref) {
        auto reachability = make<Self>();
        reachability->reachabilityRef_ = ref;
        return reachability;
    }

    // The present state. Where the flags cannot be read, everything is false.

    [[nodiscard]] bool isReachable() const;
    [[nodiscard]] bool isReachableWithFlags(Flags flags) const;
    /// Whatever reachableOnWWAN() says.
    [[nodiscard]] bool isReachableViaWWAN() const;
    [[nodiscard]] bool isReachableViaWiFi() const;
    [[nodiscard]] bool connectionRequired() const;
    [[nodiscard]] bool isConnectionRequired() const;
    [[nodiscard]] bool isConnectionOnDemand() const;
    [[nodiscard]] bool isInterventionRequired() const;
    [[nodiscard]] NetworkStatus currentReachabilityStatus() const;
    /// 0 when they cannot be read.
    [[nodiscard]] Flags reachabilityFlags() const;
    /// The status in the words of the main bundle: "WiFi", "Cellular", "No Connection".
    [[nodiscard]] std::string currentReachabilityString() const;
    /// A letter a flag, "-R -------".
    [[nodiscard]] std::string currentReachabilityFlags() const;

    // Changes.

    /// False when the system does not give what it takes; the object is stopped then. True when it is
    /// running.
    bool startNotifier();
    void stopNotifier();
    /// Calls the blocks and posts. Sent by the notifier, on its queue; subclasses may override the message.
    void reachabilityChanged(Flags flags);

    // Properties.

    /// Whether a wide-area link counts as reachable. True.
    [[nodiscard]] bool reachableOnWWAN() const;
    void setReachableOnWWAN(bool counts);
    [[nodiscard]] Block reachableBlock() const;
    void setReachableBlock(Block block);
    [[nodiscard]] Block unreachableBlock() const;
    void setUnreachableBlock(Block block);
    /// Called at every change, after one of the others.
    [[nodiscard]] FlagsBlock reachabilityBlock() const;
    void setReachabilityBlock(FlagsBlock block);
    [[nodiscard]] SCNetworkReachabilityRef reachabilityRef() const;
    [[nodiscard]] DispatchQueue reachabilitySerialQueue() const;
    /// The object itself while the notifier runs.
    [[nodiscard]] Ref<Object> reachabilityObject() const;

protected:
    QZReachability();
    void dealloc() override;

private:
    template <class Self>
    static Ref<Self> withHandle(const SCNetworkReachabilityRef& ref) {
        return ref ? initWithReachabilityRef<Self>(ref) : nullptr;
    }
    [[nodiscard]] static SCNetworkReachabilityRef handleForInternet();
    [[nodiscard]] static SCNetworkReachabilityRef handleForLocalNetwork();
    [[nodiscard]] static SCNetworkReachabilityRef handleForURL(const Ref<NSURL>& url);
    [[nodiscard]] bool has(Flags all) const;
    template <class T>
    [[nodiscard]] T get(const T& member) const;
    template <class T>
    void set(const char* key, T& member, T value);

    SCNetworkReachabilityRef reachabilityRef_;  // does not change once the object is made
    const DispatchQueue reachabilitySerialQueue_;
    std::mutex notifierMutex_;  // starting and stopping, one after the other
    mutable std::mutex mutex_;  // guards what follows
    bool reachableOnWWAN_ = true;
    Block reachableBlock_;
    Block unreachableBlock_;
    FlagsBlock reachabilityBlock_;
    Ref<Object> reachabilityObject_;
};

}  // namespace qz
