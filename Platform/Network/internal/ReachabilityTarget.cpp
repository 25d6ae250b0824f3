#include "Platform/Network/internal/ReachabilityTarget.h"

#include <utility>

#include "Platform/Network/internal/NetworkWatch.h"
#include "Platform/Network/internal/Routes.h"

namespace qz::internal {

namespace {

bool wasGiven(const std::weak_ptr<Object>& info) {
    const std::weak_ptr<Object> none;
    return info.owner_before(none) || none.owner_before(info);
}

}  // namespace

Ref<ReachabilityTarget> ReachabilityTarget::make(const SocketAddress& address) {
    return qz::make<ReachabilityTarget>(address);
}

Ref<ReachabilityTarget> ReachabilityTarget::make(const std::string& name) {
    if (const auto address = HostName::numeric(name)) {
        return make(*address);
    }
    auto target = qz::make<ReachabilityTarget>(name);
    target->name_->setAnswered([weak = std::weak_ptr(target)] {
        if (const auto self = weak.lock()) {
            self->tellIfChanged();
            NetworkWatch::wake();  // the next answer's time is known now
        }
    });
    return target;
}

ReachabilityTarget::ReachabilityTarget(const SocketAddress& address)
    : routes_(Routes::shared()), address_(address) {}

ReachabilityTarget::ReachabilityTarget(const std::string& name)
    : routes_(Routes::shared()), name_(std::make_shared<HostName>(name)) {}

void ReachabilityTarget::dealloc() {
    NetworkWatch::remove(*this);
    SCNetworkReachability::dealloc();
}

std::optional<ReachabilityTarget::Flags> ReachabilityTarget::flags() {
    if (address_) {
        return routes_->flagsOf(*address_);
    }
    name_->resolveIfDue();
    const auto addresses = name_->addresses();
    if (!addresses) {
        return std::nullopt;
    }
    for (const auto& address : *addresses) {
        if (const auto flags = routes_->flagsOf(address); !flags || *flags != 0) {
            return flags;
        }
    }
    return 0;
}

bool ReachabilityTarget::setCallback(SCNetworkReachabilityCallBack callback,
                                     const SCNetworkReachabilityContext& context) {
    const std::lock_guard lock(mutex_);
    ++registration_;
    std::swap(callback_, callback);  // the old one is released after the lock
    context_ = context;
    return joinOrLeaveWatch();
}

bool ReachabilityTarget::setQueue(const std::optional<DispatchQueue>& queue) {
    const std::lock_guard lock(mutex_);
    ++registration_;
    queue_ = callback_ ? queue : std::nullopt;
    const bool isDone = joinOrLeaveWatch() && queue_.has_value() == queue.has_value();
    return isDone;
}

bool ReachabilityTarget::joinOrLeaveWatch() {
    if (!callback_ || !queue_) {
        NetworkWatch::remove(*this);
        return true;
    }
    // The watch has names resolved at once. An answer that comes before the end of this is still to be told.
    const bool isKnown = !name_ || name_->addresses();
    if (!NetworkWatch::add(std::static_pointer_cast<ReachabilityTarget>(ref()))) {
        queue_.reset();
        return false;
    }
    // After the watch has begun: what changes in between is compared with this.
    told_ = isKnown ? flags() : std::nullopt;
    return true;
}

void ReachabilityTarget::networkChanged() {
    if (name_) {
        name_->resolve();
    }
    tellIfChanged();
}

std::optional<HostName::Clock::time_point> ReachabilityTarget::resolveIfDue() {
    if (!name_) {
        return std::nullopt;
    }
    const auto due = name_->resolveIfDue();
    return due == HostName::Clock::time_point::max() ? std::nullopt : std::optional(due);
}

/// Reads under the lock, so that callbacks are submitted in the order in which their flags were read.
void ReachabilityTarget::tellIfChanged() {
    const std::lock_guard lock(mutex_);
    if (!callback_ || !queue_) {
        return;
    }
    const auto now = flags();
    if (!now || now == told_) {
        return;
    }
    told_ = now;
    queue_->async([weak = weak_from_this(), flags = *now, registration = registration_] {
        if (const auto self = std::static_pointer_cast<ReachabilityTarget>(weak.lock())) {
            self->deliver(flags, registration);
        }
    });
}

void ReachabilityTarget::deliver(Flags flags, std::uint64_t registration) {
    SCNetworkReachabilityCallBack callback;
    Ref<Object> info;
    {
        const std::lock_guard lock(mutex_);
        info = context_.info.lock();
        if (registration != registration_ || (!info && wasGiven(context_.info))) {
            return;
        }
        callback = callback_;
    }
    if (callback) {
        callback(std::static_pointer_cast<SCNetworkReachability>(ref()), flags, info);
    }
}

}  // namespace qz::internal
