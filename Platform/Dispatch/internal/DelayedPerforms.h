// The delayed performs that wait on one run loop, by target. For the loop's thread only.
#pragma once

#include <memory>
#include <unordered_map>

#include "Platform/Dispatch/internal/TimedWork.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Selector.h"

namespace qz::detail {

class RunLoopCore;

class DelayedPerforms {
public:
    explicit DelayedPerforms(RunLoopCore& loop) noexcept : loop_(loop) {}

    void add(Ref<Object> target, Selector selector, id object, SteadyTime time);
    void cancel(const Object& target);
    /// Objects are compared by isEqual; nil matches nil.
    void cancel(const Object& target, Selector selector, const id& object);
    void cancelAll() noexcept;

private:
    class Perform;
    using Waiting = std::unordered_multimap<const Object*, std::shared_ptr<Perform>>;

    /// The entry of a perform; the end when it does not wait any more.
    [[nodiscard]] Waiting::iterator find(const Perform& perform);
    void remove(const std::shared_ptr<Perform>& perform);

    RunLoopCore& loop_;
    Waiting waiting_;
};

}  // namespace qz::detail
