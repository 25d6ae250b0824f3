// What a handle of the reachability service is: an address or a name, and who wants to hear of changes.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Platform/Network/SCNetworkReachability.h"
#include "Platform/Network/internal/HostName.h"
#include "Platform/Network/internal/SocketAddress.h"

namespace qz::internal {

class Routes;

class ReachabilityTarget : public SCNetworkReachability {
public:
    using Flags = SCNetworkReachabilityFlags;

    [[nodiscard]] static Ref<ReachabilityTarget> make(const SocketAddress& address);
    [[nodiscard]] static Ref<ReachabilityTarget> make(const std::string& name);
    /// No handles are of another class.
    [[nodiscard]] static ReachabilityTarget& of(SCNetworkReachability& handle) {
        return static_cast<ReachabilityTarget&>(handle);
    }

    [[nodiscard]] std::optional<Flags> flags();
    [[nodiscard]] bool setCallback(SCNetworkReachabilityCallBack callback,
                                   const SCNetworkReachabilityContext& context);
    [[nodiscard]] bool setQueue(const std::optional<DispatchQueue>& queue);

    // For the watch.

    void networkChanged();
    /// When it has to be asked again; nullopt for never, or when it says so itself.
    std::optional<HostName::Clock::time_point> resolveIfDue();

protected:
    explicit ReachabilityTarget(const SocketAddress& address);
    explicit ReachabilityTarget(const std::string& name);
    void dealloc() override;

private:
    friend struct Final<ReachabilityTarget>;

    [[nodiscard]] bool joinOrLeaveWatch();
    void tellIfChanged();
    void deliver(Flags flags, std::uint64_t registration);

    const std::shared_ptr<Routes> routes_;
    const std::optional<SocketAddress> address_;  // or
    const std::shared_ptr<HostName> name_;
    std::mutex mutex_;  // guards what follows
    SCNetworkReachabilityCallBack callback_;
    SCNetworkReachabilityContext context_;
    std::optional<DispatchQueue> queue_;
    std::optional<Flags> told_;       // what the other side knows
    std::uint64_t registration_ = 0;  // callbacks of earlier ones are dropped
};

}  // namespace qz::internal
