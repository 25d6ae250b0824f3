#include "Platform/Foundation/NSProgress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz {

QZ_DEFINE_CLASS(NSProgress, cls) {
    using Self = NSProgress;
    cls.classMethod("progressWithTotalUnitCount:",
                    [](Class&, std::int64_t count) { return progressWithTotalUnitCount(count); });
    cls.property("totalUnitCount", &Self::totalUnitCount, &Self::setTotalUnitCount);
    cls.property("completedUnitCount", &Self::completedUnitCount, &Self::setCompletedUnitCount);
    cls.property("fractionCompleted", &Self::fractionCompleted);
    cls.dependsOn("fractionCompleted", {"totalUnitCount", "completedUnitCount"});
    cls.propertyWithGetter("indeterminate", "isIndeterminate", &Self::isIndeterminate);
    cls.dependsOn("indeterminate", {"totalUnitCount", "completedUnitCount"});
    cls.propertyWithGetter("finished", "isFinished", &Self::isFinished);
    cls.dependsOn("finished", {"totalUnitCount", "completedUnitCount"});
    cls.propertyWithGetter("cancellable", "isCancellable", &Self::isCancellable, &Self::setCancellable);
    cls.propertyWithGetter("pausable", "isPausable", &Self::isPausable, &Self::setPausable);
    cls.propertyWithGetter("cancelled", "isCancelled", &Self::isCancelled);
    cls.propertyWithGetter("paused", "isPaused", &Self::isPaused);
    cls.property(
        "kind", [](const Self& self) { return id(Text(self.kind())); }, &Self::setKind);
    cls.property("userInfo", &Self::userInfo);
    cls.method("setUserInfoObject:forKey:", &Self::setUserInfoObjectForKey);
    cls.property("localizedDescription", &Self::localizedDescription);
    cls.property("localizedAdditionalDescription", &Self::localizedAdditionalDescription);
    cls.method("cancel", &Self::cancel);
    cls.method("pause", &Self::pause);
    cls.method("resume", &Self::resume);
}

NSProgress::NSProgress() : userInfo_(NSDictionary::dictionary()) {}

// Counts.

std::int64_t NSProgress::totalUnitCount() const {
    const std::lock_guard lock(mutex_);
    return total_;
}

void NSProgress::setTotalUnitCount(std::int64_t count) {
    changeCounts("totalUnitCount", [&] { total_ = count; });
}

std::int64_t NSProgress::completedUnitCount() const {
    const std::lock_guard lock(mutex_);
    return completed_;
}

void NSProgress::setCompletedUnitCount(std::int64_t count) {
    changeCounts("completedUnitCount", [&] { completed_ = count; });
}

template <class F>
void NSProgress::changeCounts(std::string_view key, F&& change) {
    changeUpwards([&] {
        changing(*this, key, [&] {
            const std::lock_guard lock(mutex_);
            change();
        });
    });
}

/// Makes a change that the fractions of the parents depend on.
void NSProgress::changeUpwards(const std::function<void()>& change) {
    std::unique_lock lock(mutex_);
    const auto parent = parent_.lock();
    lock.unlock();
    if (!parent) {
        change();
        return;
    }
    parent->changeUpwards([&] { changing(*parent, "fractionCompleted", change); });
    parent->childHasChanged(*this);
}

/// A child that has finished gives its units to the parent and is dropped.
void NSProgress::childHasChanged(NSProgress& child) {
    if (!child.isFinished()) {
        return;
    }
    std::optional<Child> finished;
    {
        const std::lock_guard lock(mutex_);
        const auto place = std::find_if(children_.begin(), children_.end(),
                                        [&](const Child& one) { return one.progress.get() == &child; });
        if (place != children_.end()) {
            finished = std::move(*place);
            children_.erase(place);
        }
    }
    if (finished) {
        {
            const std::lock_guard lock(child.mutex_);
            child.parent_.reset();
        }
        changeCounts("completedUnitCount", [&] { completed_ += finished->units; });
    }
}

double NSProgress::fractionCompleted() const {
    std::unique_lock lock(mutex_);
    const auto total = total_;
    const auto completed = completed_;
    const auto children = children_;
    lock.unlock();
    if (total < 0 || completed < 0) {
        return 0;
    }
    if (total == 0) {
        return completed > 0 ? 1 : 0;
    }
    auto units = static_cast<double>(completed);
    for (const auto& child : children) {
        units += child.progress->fractionCompleted() * static_cast<double>(child.units);
    }
    return units / static_cast<double>(total);
}

bool NSProgress::isIndeterminate() const {
    const std::lock_guard lock(mutex_);
    return total_ < 0 || completed_ < 0 || (total_ == 0 && completed_ == 0);
}

bool NSProgress::isFinished() const {
    const std::lock_guard lock(mutex_);
    return completed_ >= total_ && (total_ > 0 || (total_ == 0 && completed_ > 0));
}

void NSProgress::addChild(const Ref<NSProgress>& child, std::int64_t withPendingUnitCount) {
    {
        const std::lock_guard lock(child->mutex_);
        if (!child->parent_.expired()) {
            raise(NSInvalidArgumentException, "the progress has a parent already");
        }
        child->parent_ = refTo(*this);
    }
    changeUpwards([&] {
        changing(*this, "fractionCompleted", [&] {
            const std::lock_guard lock(mutex_);
            children_.push_back({child, withPendingUnitCount});
        });
    });
    childHasChanged(*child);
}

// States.

bool NSProgress::isCancellable() const {
    const std::lock_guard lock(mutex_);
    return isCancellable_;
}
void NSProgress::setCancellable(bool cancellable) {
    changing(*this, "cancellable", [&] {
        const std::lock_guard lock(mutex_);
        isCancellable_ = cancellable;
    });
}

bool NSProgress::isPausable() const {
    const std::lock_guard lock(mutex_);
    return isPausable_;
}
void NSProgress::setPausable(bool pausable) {
    changing(*this, "pausable", [&] {
        const std::lock_guard lock(mutex_);
        isPausable_ = pausable;
    });
}

bool NSProgress::isCancelled() const {
    const std::lock_guard lock(mutex_);
    return isCancelled_;
}
bool NSProgress::isPaused() const {
    const std::lock_guard lock(mutex_);
    return isPaused_;
}

void NSProgress::setState(std::string_view key, bool& state, bool value, const Handler& handler,
                          void (NSProgress::*tellChild)()) {
    bool hasChanged = false;
    Handler called;
    std::vector<Child> children;
    changing(*this, key, [&] {
        const std::lock_guard lock(mutex_);
        hasChanged = std::exchange(state, value) != value;
        called = handler;
        children = children_;
    });
    if (!hasChanged) {
        return;
    }
    if (called) {
        called();
    }
    for (const auto& child : children) {
        (*child.progress.*tellChild)();
    }
}

void NSProgress::cancel() {
    setState("cancelled", isCancelled_, true, cancellationHandler_, &NSProgress::cancel);
}
void NSProgress::pause() {
    setState("paused", isPaused_, true, pausingHandler_, &NSProgress::pause);
}
void NSProgress::resume() {
    setState("paused", isPaused_, false, resumingHandler_, &NSProgress::resume);
}

void NSProgress::setCancellationHandler(Handler handler) {
    const std::lock_guard lock(mutex_);
    cancellationHandler_ = std::move(handler);
}
void NSProgress::setPausingHandler(Handler handler) {
    const std::lock_guard lock(mutex_);
    pausingHandler_ = std::move(handler);
}
void NSProgress::setResumingHandler(Handler handler) {
    const std::lock_guard lock(mutex_);
    resumingHandler_ = std::move(handler);
}

// What is known besides.

std::optional<std::string> NSProgress::kind() const {
    const std::lock_guard lock(mutex_);
    return kind_;
}
void NSProgress::setKind(Text kind) {
    changing(*this, "kind", [&] {
        const std::lock_guard lock(mutex_);
        kind_ = kind.toString();
    });
}

Ref<NSDictionary> NSProgress::userInfo() const {
    const std::lock_guard lock(mutex_);
    return userInfo_;
}

void NSProgress::setUserInfoObjectForKey(const id& object, std::string_view key) {
    changing(*this, "userInfo", [&] {
        const std::lock_guard lock(mutex_);
        const auto changed = userInfo_->mutableCopy();
        if (object) {
            changed->setObjectForKey(object, key);
        } else {
            changed->removeObjectForKey(key);
        }
        userInfo_ = changed->copy();
    });
}

namespace {

/// "350.0 kB": three digits or so, in powers of 1000.
std::string byteCountText(double count) {
    constexpr std::array units{"bytes", "kB", "MB", "GB", "TB", "PB", "EB"};
    std::size_t unit = 0;
    while (std::abs(count) >= 1000 && unit + 1 < units.size()) {
        count /= 1000;
        ++unit;
    }
    return stringWithFormat(unit == 0 ? "%.0f %@" : "%.1f %@", count, units[unit]);
}

std::string_view verbOf(const id& operation) {
    const auto name = unbox<std::string>(operation).value_or("");
    if (name == NSProgressFileOperationKindDownloading) {
        return "Downloading";
    }
    if (name == NSProgressFileOperationKindReceiving) {
        return "Receiving";
    }
    if (name == NSProgressFileOperationKindCopying) {
        return "Copying";
    }
    return "Processing";
}

}  // namespace

std::string NSProgress::localizedDescription() const {
    if (isIndeterminate()) {
        return stringWithFormat("%@…", verbOf(userInfo()->objectForKey(NSProgressFileOperationKindKey)));
    }
    return stringWithFormat("%.0f%% completed", std::floor(fractionCompleted() * 100));
}

std::string NSProgress::localizedAdditionalDescription() const {
    const auto completed = completedUnitCount();
    const auto total = totalUnitCount();
    if (kind() != NSProgressKindFile) {
        return total < 0 ? std::to_string(completed) : stringWithFormat("%lld of %lld", completed, total);
    }
    auto text = byteCountText(static_cast<double>(completed));
    if (total >= 0) {
        text += " of " + byteCountText(static_cast<double>(total));
    }
    if (const auto speed = unbox<double>(userInfo()->objectForKey(NSProgressThroughputKey)).value_or(0);
        speed > 0) {
        text += " (" + byteCountText(speed) + "/s)";
    }
    return text;
}

}  // namespace qz
