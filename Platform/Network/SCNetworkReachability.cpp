#include "Platform/Network/SCNetworkReachability.h"

#include "Platform/Network/internal/ReachabilityTarget.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

using internal::ReachabilityTarget;

QZ_DEFINE_CLASS(SCNetworkReachability, cls) {
    static_cast<void>(cls);
}

SCNetworkReachabilityRef SCNetworkReachabilityCreateWithName(Text name) {
    return name.valueOr("").empty() ? nullptr : ReachabilityTarget::make(std::string(name.view()));
}

SCNetworkReachabilityRef SCNetworkReachabilityCreateWithAddress(const sockaddr* address) {
    const auto known = internal::SocketAddress::of(address);
    return known ? ReachabilityTarget::make(*known) : nullptr;
}

bool SCNetworkReachabilityGetFlags(const SCNetworkReachabilityRef& target,
                                   SCNetworkReachabilityFlags* flags) {
    const auto present = target ? ReachabilityTarget::of(*target).flags() : std::nullopt;
    if (present && flags != nullptr) {
        *flags = *present;
    }
    return present.has_value();
}

bool SCNetworkReachabilitySetCallback(const SCNetworkReachabilityRef& target,
                                      SCNetworkReachabilityCallBack callback,
                                      const SCNetworkReachabilityContext& context) {
    return target && ReachabilityTarget::of(*target).setCallback(std::move(callback), context);
}

bool SCNetworkReachabilitySetDispatchQueue(const SCNetworkReachabilityRef& target,
                                           const std::optional<DispatchQueue>& queue) {
    return target && ReachabilityTarget::of(*target).setQueue(queue);
}

}  // namespace qz
