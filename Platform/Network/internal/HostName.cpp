#include "Platform/Network/internal/HostName.h"

#include <netdb.h>

#include <algorithm>

#include "Platform/Dispatch/DispatchQueue.h"

namespace qz::internal {

namespace {

// getaddrinfo() does not tell how long an answer is valid. A minute is a usual time for names that move.
constexpr std::chrono::seconds validity{60};
constexpr std::chrono::seconds firstPause{1};

/// What a look-up gives, in its order (RFC 6724); nullopt when nobody could be asked, or did not answer.
std::optional<HostName::Addresses> lookUp(const std::string& name, int flags) {
    addrinfo hints{};
    hints.ai_flags = flags;
    hints.ai_socktype = SOCK_STREAM;  // each address once
    addrinfo* list = nullptr;
    const int error = ::getaddrinfo(name.c_str(), nullptr, &hints, &list);
    if (error == EAI_AGAIN || error == EAI_MEMORY || error == EAI_SYSTEM) {
        return std::nullopt;
    }
    HostName::Addresses addresses;
    for (const auto* one = list; one != nullptr; one = one->ai_next) {
        if (const auto address = SocketAddress::of(one->ai_addr)) {
            addresses.push_back(*address);
        }
    }
    if (list != nullptr) {
        ::freeaddrinfo(list);
    }
    return addresses;
}

}  // namespace

std::optional<SocketAddress> HostName::numeric(const std::string& text) {
    const auto found = lookUp(text, AI_NUMERICHOST);
    return found && !found->empty() ? std::optional(found->front()) : std::nullopt;
}

std::optional<HostName::Addresses> HostName::addresses() const {
    const std::lock_guard lock(mutex_);
    return addresses_;
}

void HostName::resolve() {
    {
        const std::lock_guard lock(mutex_);
        if (isAsking_) {
            asksAgain_ = true;
            return;
        }
        isAsking_ = true;
    }
    DispatchQueue::global().async([self = shared_from_this()] { self->ask(); });
}

HostName::Clock::time_point HostName::resolveIfDue() {
    bool isDue = false;
    {
        const std::lock_guard lock(mutex_);
        isDue = !isAsking_ && due_ <= Clock::now();
        if (!isDue) {
            // Who is asking sets the time when the answer is there, and says so.
            return isAsking_ ? Clock::time_point::max() : due_;
        }
    }
    resolve();
    return Clock::time_point::max();
}

void HostName::ask() {
    bool asksAgain = true;
    while (asksAgain) {
        {
            const std::lock_guard lock(mutex_);
            asksAgain_ = false;
        }
        auto answer = lookUp(name_, 0);
        asksAgain = take(std::move(answer));
        answered_();
    }
}

/// Whether somebody wants to know it anew.
bool HostName::take(std::optional<Addresses> answer) {
    const std::lock_guard lock(mutex_);
    pause_ = answer ? std::chrono::seconds() : std::clamp(2 * pause_, firstPause, validity);
    due_ = Clock::now() + (answer ? validity : pause_);
    if (answer || !addresses_) {
        addresses_ = std::move(answer).value_or(Addresses());
    }
    isAsking_ = asksAgain_;
    return asksAgain_;
}

}  // namespace qz::internal
