// The time in which a synchronous block may run on its caller's thread.
#pragma once

#include <stop_token>

#include "Platform/Dispatch/internal/QueueCore.h"

namespace qz::detail {

class Turn {
public:
    /// Waits for the turn, or for stop where a token is given.
    Turn(QueueCore& core, bool barrier, const std::stop_token* stop) : core_(core) {
        const QueueCore::Kind kind = core.kind();
        if (kind == QueueCore::Kind::serial || (barrier && kind == QueueCore::Kind::concurrent)) [[likely]]
            holding_ = core_.enterExclusive(stop) ? Holding::queue : Holding::nothing;
        else if (kind == QueueCore::Kind::concurrent)
            holding_ = core_.enterShared(slot_, stop) ? Holding::share : Holding::nothing;
        else
            holding_ = Holding::unrestricted;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        if (holding_ == Holding::queue)
            core_.leaveExclusive();
        else if (holding_ == Holding::share)
            core_.leaveShared(slot_);
    }

    [[nodiscard]] bool taken() const noexcept { return holding_ != Holding::nothing; }

private:
    enum class Holding : unsigned char { nothing, queue, share, unrestricted };

    QueueCore& core_;
    QueueCore::Slot slot_ = nullptr;
    Holding holding_;
};

}  // namespace qz::detail
