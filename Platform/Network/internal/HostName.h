// A host name and its addresses, which are found without anybody waiting.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Network/internal/SocketAddress.h"

namespace qz::internal {

/// From any thread.
class HostName : public std::enable_shared_from_this<HostName> {
public:
    using Clock = std::chrono::steady_clock;
    using Addresses = std::vector<SocketAddress>;

    /// The address of a number; no name server is asked.
    [[nodiscard]] static std::optional<SocketAddress> numeric(const std::string& text);

    explicit HostName(std::string name) : name_(std::move(name)) {}

    /// Called after every answer, on the thread that asked for it. To be set before the first resolve().
    void setAnswered(std::function<void()> block) { answered_ = std::move(block); }

    /// The best one first, none for a name that nobody has; nullopt until the first answer.
    [[nodiscard]] std::optional<Addresses> addresses() const;
    /// Asks, on a thread of the pool; while it is being asked, once more after that.
    void resolve();
    /// Asks if the last answer is too old. When that will be so again.
    Clock::time_point resolveIfDue();

private:
    void ask();
    [[nodiscard]] bool take(std::optional<Addresses> answer);

    const std::string name_;
    std::function<void()> answered_;
    mutable std::mutex mutex_;  // guards what follows
    std::optional<Addresses> addresses_;
    bool isAsking_ = false;
    bool asksAgain_ = false;
    Clock::time_point due_ = Clock::time_point::min();
    std::chrono::seconds pause_{0};  // after the last answers, which told nothing
};

}  // namespace qz::internal
