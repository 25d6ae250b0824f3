#include "Platform/Dispatch/internal/QueueCore.h"

#include "Platform/Dispatch/internal/ConcurrentQueue.h"
#include "Platform/Dispatch/internal/GlobalQueue.h"
#include "Platform/Dispatch/internal/MainQueue.h"
#include "Platform/Dispatch/internal/SerialQueue.h"

// The four kinds share no virtual functions: the entrances must be inline, and a table would add eight bytes
// and an indirect call to what is decided by one byte.
namespace qz::detail {

void QueueCore::submit(Item* item) noexcept {
    switch (kind_) {
        case Kind::serial:
            return static_cast<SerialQueue*>(this)->submit(item);
        case Kind::concurrent:
            return static_cast<ConcurrentQueue*>(this)->submit(item);
        case Kind::global:
            return static_cast<GlobalQueue*>(this)->submit(item);
        case Kind::main:
            return static_cast<MainQueue*>(this)->submit(item);
    }
}

void QueueCore::retire() noexcept {
    if (kind_ == Kind::serial)
        static_cast<SerialQueue*>(this)->retire();
    else if (kind_ == Kind::concurrent)
        static_cast<ConcurrentQueue*>(this)->retire();
}

bool QueueCore::enterExclusiveSlowly(const std::stop_token* stop) {
    return kind_ == Kind::serial ? static_cast<SerialQueue*>(this)->waitForTurn(stop)
                                 : static_cast<ConcurrentQueue*>(this)->waitForTurn(stop);
}

void QueueCore::leaveExclusiveSlowly() noexcept {
    if (kind_ == Kind::serial)
        static_cast<SerialQueue*>(this)->passOn();
    else
        static_cast<ConcurrentQueue*>(this)->goOn();
}

bool QueueCore::enterSharedSlowly(Slot& slot, const std::stop_token* stop) {
    return static_cast<ConcurrentQueue*>(this)->waitForShare(slot, stop);
}

void QueueCore::leaveSharedSlowly() noexcept {
    static_cast<ConcurrentQueue*>(this)->goOn();
}

bool QueueCore::performOnMain(void (*work)(void*), void* context, const std::stop_token* stop) {
    return static_cast<MainQueue*>(this)->performAndWait(work, context, stop);
}

}  // namespace qz::detail
