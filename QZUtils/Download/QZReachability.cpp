#include "QZUtils/Download/QZReachability.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <array>
#include <utility>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Runtime/Send.h"

namespace qz {

namespace {

using Flags = SCNetworkReachabilityFlags;

constexpr Flags transientConnection = kSCNetworkReachabilityFlagsTransientConnection;
constexpr Flags reachable = kSCNetworkReachabilityFlagsReachable;
constexpr Flags connectionNeeded = kSCNetworkReachabilityFlagsConnectionRequired;
constexpr Flags onTraffic = kSCNetworkReachabilityFlagsConnectionOnTraffic;
constexpr Flags interventionNeeded = kSCNetworkReachabilityFlagsInterventionRequired;
constexpr Flags onDemand = kSCNetworkReachabilityFlagsConnectionOnDemand;
constexpr Flags wideArea = kSCNetworkReachabilityFlagsIsWWAN;

SCNetworkReachabilityRef handleForIPv4(in_addr_t address, in_port_t port) {
    sockaddr_in socket{};
    socket.sin_family = AF_INET;
    socket.sin_port = port;
    socket.sin_addr.s_addr = address;
    return SCNetworkReachabilityCreateWithAddress(reinterpret_cast<const sockaddr*>(&socket));
}

void ReachabilityCallback(const SCNetworkReachabilityRef& /*target*/, Flags flags, const Ref<Object>& info) {
    send(*info, "reachabilityChanged:"_sel, flags);
}

std::string lettersOf(Flags flags) {
    const auto letter = [flags](Flags flag, char sign) { return (flags & flag) != 0 ? sign : '-'; };
    return stringWithFormat("%c%c %c%c%c%c%c%c%c", letter(wideArea, 'W'), letter(reachable, 'R'),
                            letter(connectionNeeded, 'c'), letter(transientConnection, 't'),
                            letter(interventionNeeded, 'i'), letter(onTraffic, 'C'), letter(onDemand, 'D'),
                            letter(kSCNetworkReachabilityFlagsIsLocalAddress, 'l'),
                            letter(kSCNetworkReachabilityFlagsIsDirect, 'd'));
}

}  // namespace

QZ_DEFINE_CLASS(QZReachability, cls) {
    using Self = QZReachability;
    cls.classMethod("reachabilityWithHostname:",
                    [](Class&, Text hostname) { return reachabilityWithHostname(hostname); });
    cls.classMethod("reachabilityWithHostName:",
                    [](Class&, Text hostname) { return reachabilityWithHostName(hostname); });
    cls.classMethod("reachabilityWithAddress:",
                    [](Class&, const sockaddr* address) { return reachabilityWithAddress(address); });
    cls.classMethod("reachabilityForInternetConnection",
                    [](Class&) { return reachabilityForInternetConnection(); });
    cls.classMethod("reachabilityForLocalWiFi", [](Class&) { return reachabilityForLocalWiFi(); });
    cls.classMethod("reachabilityWithURL:",
                    [](Class&, const Ref<NSURL>& url) { return reachabilityWithURL(url); });
    cls.classMethod("isIpAddress:", [](Class&, Text host) { return isIpAddress(host); });
    cls.method("isReachable", &Self::isReachable);
    cls.method("isReachableWithFlags:", &Self::isReachableWithFlags);
    cls.method("isReachableViaWWAN", &Self::isReachableViaWWAN);
    cls.method("isReachableViaWiFi", &Self::isReachableViaWiFi);
    cls.method("connectionRequired", &Self::connectionRequired);
    cls.method("isConnectionRequired", &Self::isConnectionRequired);
    cls.method("isConnectionOnDemand", &Self::isConnectionOnDemand);
    cls.method("isInterventionRequired", &Self::isInterventionRequired);
    cls.method("currentReachabilityStatus",
               [](const Self& self) { return static_cast<std::int64_t>(self.currentReachabilityStatus()); });
    cls.method("reachabilityFlags", &Self::reachabilityFlags);
    cls.method("currentReachabilityString", &Self::currentReachabilityString);
    cls.method("currentReachabilityFlags", &Self::currentReachabilityFlags);
    cls.method("startNotifier", &Self::startNotifier);
    cls.method("stopNotifier", &Self::stopNotifier);
    cls.method("reachabilityChanged:", &Self::reachabilityChanged);
    cls.method("description", [](const Self& self) {
        return stringWithFormat("<%@: %p (%@)>", self.isa().name(), static_cast<const void*>(&self),
                                self.currentReachabilityFlags());
    });
    cls.property("reachableOnWWAN", &Self::reachableOnWWAN, &Self::setReachableOnWWAN);
    cls.property("reachableBlock", &Self::reachableBlock, &Self::setReachableBlock);
    cls.property("unreachableBlock", &Self::unreachableBlock, &Self::setUnreachableBlock);
    cls.property("reachabilityBlock", &Self::reachabilityBlock, &Self::setReachabilityBlock);
    cls.property("reachabilityRef", &Self::reachabilityRef);
    cls.property("reachabilitySerialQueue", &Self::reachabilitySerialQueue);
    cls.property("reachabilityObject", &Self::reachabilityObject);
}

QZReachability::QZReachability() : reachabilitySerialQueue_(DispatchQueue::serial("QZReachability")) {}

void QZReachability::dealloc() {
    stopNotifier();
    Super::dealloc();
}

// Making one.

Ref<QZReachability> QZReachability::reachabilityWithHostName(Text hostname) {
    return reachabilityWithHostname(hostname);
}

SCNetworkReachabilityRef QZReachability::handleForInternet() {
    return handleForIPv4(htonl(INADDR_ANY), 0);
}

SCNetworkReachabilityRef QZReachability::handleForLocalNetwork() {
    return handleForIPv4(htonl(0xA9FE0000), 0);  // 169.254.0.0
}

SCNetworkReachabilityRef QZReachability::handleForURL(const Ref<NSURL>& url) {
    const auto host = url ? url->host() : std::nullopt;
    if (!isIpAddress(host)) {
        return SCNetworkReachabilityCreateWithName(host);
    }
    const auto port = url->port().value_or(url->scheme() == "https" ? 443 : 80);
    return handleForIPv4(::inet_addr(host->c_str()), htons(static_cast<in_port_t>(port)));
}

bool QZReachability::isIpAddress(Text host) {
    in_addr address;
    return host && ::inet_aton(host.toString()->c_str(), &address) == 1;
}

// The present state.

QZReachability::Flags QZReachability::reachabilityFlags() const {
    Flags flags = 0;
    return SCNetworkReachabilityGetFlags(reachabilityRef_, &flags) ? flags : 0;
}

bool QZReachability::has(Flags all) const {
    return (reachabilityFlags() & all) == all;
}

bool QZReachability::isReachableWithFlags(Flags flags) const {
    constexpr auto dialled = connectionNeeded | transientConnection;
    if ((flags & reachable) == 0 || (flags & dialled) == dialled) {
        return false;
    }
    return (flags & wideArea) == 0 || reachableOnWWAN();
}

bool QZReachability::isReachable() const {
    return isReachableWithFlags(reachabilityFlags());
}

bool QZReachability::isReachableViaWWAN() const {
    return has(reachable | wideArea);
}

bool QZReachability::isReachableViaWiFi() const {
    return (reachabilityFlags() & (reachable | wideArea)) == reachable;
}

bool QZReachability::connectionRequired() const {
    return has(connectionNeeded);
}

bool QZReachability::isConnectionRequired() const {
    return connectionRequired();
}

bool QZReachability::isConnectionOnDemand() const {
    const auto flags = reachabilityFlags();
    return (flags & connectionNeeded) != 0 && (flags & (onTraffic | onDemand)) != 0;
}

bool QZReachability::isInterventionRequired() const {
    return has(connectionNeeded | interventionNeeded);
}

NetworkStatus QZReachability::currentReachabilityStatus() const {
    if (!isReachable()) {
        return NetworkStatus::NotReachable;
    }
    return isReachableViaWiFi() ? NetworkStatus::ReachableViaWiFi : NetworkStatus::ReachableViaWWAN;
}

std::string QZReachability::currentReachabilityString() const {
    static constexpr std::array keys{"No Connection", "Cellular", "WiFi"};
    const auto* key = keys[static_cast<std::size_t>(currentReachabilityStatus())];
    return NSBundle::mainBundle()->localizedStringForKey(key, "", nullptr);
}

std::string QZReachability::currentReachabilityFlags() const {
    return lettersOf(reachabilityFlags());
}

// Changes.

bool QZReachability::startNotifier() {
    const std::lock_guard lock(notifierMutex_);
    if (reachabilityObject().get() == this) {
        return true;
    }
    const auto self = ref();
    // The handle does not hold the object; the object holds itself.
    if (!SCNetworkReachabilitySetCallback(reachabilityRef_, ReachabilityCallback, {self})) {
        return false;
    }
    if (!SCNetworkReachabilitySetDispatchQueue(reachabilityRef_, reachabilitySerialQueue_)) {
        static_cast<void>(SCNetworkReachabilitySetCallback(reachabilityRef_, nullptr, {}));
        return false;
    }
    set("reachabilityObject", reachabilityObject_, self);
    return true;
}

void QZReachability::stopNotifier() {
    Ref<Object> self;  // released after the locks: it may be the last reference
    const std::lock_guard lock(notifierMutex_);
    static_cast<void>(SCNetworkReachabilitySetCallback(reachabilityRef_, nullptr, {}));
    static_cast<void>(SCNetworkReachabilitySetDispatchQueue(reachabilityRef_, std::nullopt));
    self = reachabilityObject();
    if (self) {
        set("reachabilityObject", reachabilityObject_, Ref<Object>());
    }
}

void QZReachability::reachabilityChanged(Flags flags) {
    const auto self = refTo(*this);
    if (const auto block = isReachableWithFlags(flags) ? reachableBlock() : unreachableBlock()) {
        block(self);
    }
    if (const auto block = reachabilityBlock()) {
        block(self, flags);
    }
    DispatchQueue::main().async([self] {
        NSNotificationCenter::defaultCenter()->postNotificationName(kQZReachabilityChangedNotification, self);
    });
}

// Properties.

template <class T>
T QZReachability::get(const T& member) const {
    const std::lock_guard lock(mutex_);
    return member;
}

template <class T>
void QZReachability::set(const char* key, T& member, T value) {
    changing(*this, key, [&] {
        const std::lock_guard lock(mutex_);
        std::swap(member, value);  // the old one is released after the lock
    });
}

bool QZReachability::reachableOnWWAN() const {
    return get(reachableOnWWAN_);
}

void QZReachability::setReachableOnWWAN(bool counts) {
    set("reachableOnWWAN", reachableOnWWAN_, counts);
}

QZReachability::Block QZReachability::reachableBlock() const {
    return get(reachableBlock_);
}

void QZReachability::setReachableBlock(Block block) {
    set("reachableBlock", reachableBlock_, std::move(block));
}

QZReachability::Block QZReachability::unreachableBlock() const {
    return get(unreachableBlock_);
}

void QZReachability::setUnreachableBlock(Block block) {
    set("unreachableBlock", unreachableBlock_, std::move(block));
}

QZReachability::FlagsBlock QZReachability::reachabilityBlock() const {
    return get(reachabilityBlock_);
}

void QZReachability::setReachabilityBlock(FlagsBlock block) {
    set("reachabilityBlock", reachabilityBlock_, std::move(block));
}

SCNetworkReachabilityRef QZReachability::reachabilityRef() const {
    return reachabilityRef_;
}

DispatchQueue QZReachability::reachabilitySerialQueue() const {
    return reachabilitySerialQueue_;
}

Ref<Object> QZReachability::reachabilityObject() const {
    return get(reachabilityObject_);
}

}  // namespace qz
