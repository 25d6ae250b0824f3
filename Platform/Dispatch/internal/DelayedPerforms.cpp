#include "Platform/Dispatch/internal/DelayedPerforms.h"

#include <algorithm>
#include <vector>

#include "Platform/Dispatch/DelayedPerforming.h"
#include "Platform/Dispatch/internal/RunLoopCore.h"

namespace qz::detail {

class DelayedPerforms::Perform final : public TimedWork {
public:
    Perform(DelayedPerforms& list, Ref<Object> target, Selector selector, id object)
        : list_(list), target_(std::move(target)), selector_(selector), object_(std::move(object)) {}

    [[nodiscard]] const Ref<Object>& target() const noexcept { return target_; }
    [[nodiscard]] Selector selector() const noexcept { return selector_; }
    [[nodiscard]] const id& object() const noexcept { return object_; }

    void becomeDue(const Place&) override {
        // Off the list first: from here on it can neither be cancelled nor be met by a request of its own.
        if (const auto entry = list_.find(*this); entry != list_.waiting_.end()) {
            list_.waiting_.erase(entry);
            performSelector(target_, selector_, object_);
        }
    }

    Place place;

private:
    DelayedPerforms& list_;
    Ref<Object> target_;
    Selector selector_;
    id object_;
};

void DelayedPerforms::add(Ref<Object> target, Selector selector, id object, SteadyTime time) {
    const auto* key = target.get();
    const auto perform = std::make_shared<Perform>(*this, std::move(target), selector, std::move(object));
    perform->place = loop_.schedule(time, perform);
    if (perform->place) {
        waiting_.emplace(key, perform);
    }
}

DelayedPerforms::Waiting::iterator DelayedPerforms::find(const Perform& perform) {
    const auto [first, last] = waiting_.equal_range(perform.target().get());
    const auto found =
        std::find_if(first, last, [&](const auto& entry) { return entry.second.get() == &perform; });
    return found == last ? waiting_.end() : found;
}

void DelayedPerforms::remove(const std::shared_ptr<Perform>& perform) {
    if (const auto entry = find(*perform); entry != waiting_.end()) {
        waiting_.erase(entry);
        loop_.unschedule(perform->place);
    }
}

void DelayedPerforms::cancel(const Object& target) {
    // What goes is released last: a destructor may come back here.
    std::vector<std::shared_ptr<Perform>> cancelled;
    const auto [first, last] = waiting_.equal_range(&target);
    std::transform(first, last, std::back_inserter(cancelled),
                   [](const auto& entry) { return entry.second; });
    waiting_.erase(first, last);
    for (const auto& perform : cancelled) {
        loop_.unschedule(perform->place);
    }
}

void DelayedPerforms::cancel(const Object& target, Selector selector, const id& object) {
    std::vector<std::shared_ptr<Perform>> candidates;
    const auto [first, last] = waiting_.equal_range(&target);
    for (auto entry = first; entry != last; ++entry) {
        if (entry->second->selector() == selector) {
            candidates.push_back(entry->second);
        }
    }
    // The comparison may run anybody's code, so the list is not walked meanwhile.
    for (const auto& perform : candidates) {
        if (perform->object() == object) {
            remove(perform);
        }
    }
}

void DelayedPerforms::cancelAll() noexcept {
    const auto cancelled = std::exchange(waiting_, {});
}

}  // namespace qz::detail
