// The thread that waits for the kernel's word that links, addresses, routes or rules have changed.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "Platform/Foundation/internal/FileDescriptor.h"

namespace qz::internal {

class NetlinkSocket;
class ReachabilityTarget;

/// Runs while it has targets.
class NetworkWatch {
public:
    /// Has the target look whenever the network changes. False when the system gives no socket or thread.
    /// Changes after this are not missed.
    [[nodiscard]] static bool add(const std::shared_ptr<ReachabilityTarget>& target);
    static void remove(const ReachabilityTarget& target);
    /// Has the thread ask the targets anew when their names are due.
    static void wake();

private:
    using Clock = std::chrono::steady_clock;
    struct Registry;

    NetworkWatch(std::unique_ptr<NetlinkSocket> socket, FileDescriptor wakeUp);
    [[nodiscard]] static Registry& registry();
    [[nodiscard]] static std::shared_ptr<NetworkWatch> start();
    void signal() const;
    void run();
    [[nodiscard]] bool waitForChange(std::optional<Clock::time_point> until) const;
    void waitForEndOfBurst() const;
    [[nodiscard]] std::vector<std::shared_ptr<ReachabilityTarget>> targets() const;

    const std::unique_ptr<NetlinkSocket> socket_;
    const FileDescriptor wakeUp_;
    std::atomic<bool> isEnding_ = false;
    std::map<const ReachabilityTarget*, std::weak_ptr<ReachabilityTarget>>
        targets_;  // guarded by the registry
};

}  // namespace qz::internal
