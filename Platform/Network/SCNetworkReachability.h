// SCNetworkReachability: whether the kernel has a way to a host or an address, and whether that changes.
//
//     const auto target = SCNetworkReachabilityCreateWithName("library.example");
//     SCNetworkReachabilityFlags flags = 0;
//     if (SCNetworkReachabilityGetFlags(target, &flags)) { … }
//     SCNetworkReachabilitySetCallback(target, [](const auto&, auto now, const auto& info) { … }, {reader});
//     SCNetworkReachabilitySetDispatchQueue(target, DispatchQueue::serial("reader.network"));
//
// The answer is that of the kernel's routing tables: no packet is sent, so a server that is switched off is
// reachable as long as there is a route towards it. A route over a link without a carrier does not count.
//
// ADDRESSES stand for themselves, with three exceptions. 0.0.0.0 is the internet at large, over IPv4 or else
// over IPv6; [::] is the internet over IPv6; 169.254.0.0, the network of link-local addresses, is the local
// network: it is there when a link with a broadcast domain, no wide-area one, is up and has an IPv4 address.
//
// NAMES are resolved on a thread of the dispatch pool, never on the caller's. Until the first answer the
// flags cannot be read; that answer counts as a change. A name that has several addresses is as reachable as
// the first of them that is reachable. Names are resolved again when the network changes and once a minute,
// those without a callback when they are read; while a name server gives no answer the last addresses count.
//
// CALLBACKS come when a handle has a callback and a queue. Kernel messages that follow each other within 20
// milliseconds, 200 at most, are one change, and only other flags than the last ones told are told: every
// callback differs from the one before it, and the last one tells the state that lasts.
//
// COST. Reading the flags takes two questions to the kernel, some microseconds. The first handle with a
// callback and a queue starts one thread, which ends with the last one; without any there is none.
//
// Every function may be called from any thread and does nothing, or fails, for a null handle. What is asked
// is asked in the network namespace of the thread that made the first of the handles that are alive.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

struct sockaddr;

namespace qz {

namespace internal {
class ReachabilityTarget;
}

using SCNetworkReachabilityFlags = std::uint32_t;

// On Linux nothing is dialled on demand: the flags about connections to be made first are never set.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsTransientConnection = 0x1;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsReachable = 0x2;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsConnectionRequired = 0x4;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsConnectionOnTraffic = 0x8;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsInterventionRequired = 0x10;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsConnectionOnDemand = 0x20;
/// An address of this machine.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsIsLocalAddress = 0x10000;
/// No gateway lies on the way.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsIsDirect = 0x20000;
/// The link is one to a mobile network. PPP links are not: most of them run over wires.
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsIsWWAN = 0x40000;

/// A handle.
class QZ_EXPORT SCNetworkReachability : public NSObject {
    QZ_OBJECT(SCNetworkReachability, NSObject)

    friend class internal::ReachabilityTarget;
    SCNetworkReachability() = default;
};
using SCNetworkReachabilityRef = Ref<SCNetworkReachability>;

/// Called with the handle, the new flags and the context's info.
using SCNetworkReachabilityCallBack = std::function<void(
    const SCNetworkReachabilityRef& target, SCNetworkReachabilityFlags flags, const Ref<Object>& info)>;

/// What a callback is about. It is not held between callbacks, but during each; when it is gone there are no
/// more.
struct SCNetworkReachabilityContext {
    std::weak_ptr<Object> info;
};

/// Null for nil and the empty name. A numeric address is that address, "fe80::1%eth0" included.
[[nodiscard]] QZ_EXPORT SCNetworkReachabilityRef SCNetworkReachabilityCreateWithName(Text name);
/// A sockaddr_in or sockaddr_in6, as its family says; the port does not matter. Null for nil and for other
/// families.
[[nodiscard]] QZ_EXPORT SCNetworkReachabilityRef
SCNetworkReachabilityCreateWithAddress(const sockaddr* address);

/// False, and no flags, when a name is not resolved yet or the kernel does not answer.
[[nodiscard]] QZ_EXPORT bool SCNetworkReachabilityGetFlags(const SCNetworkReachabilityRef& target,
                                                           SCNetworkReachabilityFlags* flags);

/// Takes the place of an earlier callback; an empty one ends the callbacks. One that has begun may still be
/// running then, unless this is called on its queue.
[[nodiscard]] QZ_EXPORT bool SCNetworkReachabilitySetCallback(const SCNetworkReachabilityRef& target,
                                                              SCNetworkReachabilityCallBack callback,
                                                              const SCNetworkReachabilityContext& context);
/// The serial queue on which changes from now on are told; nullopt ends that. False, and without a queue,
/// when there is no callback or the system gives no socket or thread.
[[nodiscard]] QZ_EXPORT bool SCNetworkReachabilitySetDispatchQueue(const SCNetworkReachabilityRef& target,
                                                                   const std::optional<DispatchQueue>& queue);

}  // namespace qz
