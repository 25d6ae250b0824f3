// NSProgress: how far a task is, for those who show it and for those who pause or cancel it.
//
//     const auto progress = NSProgress::progressWithTotalUnitCount(pages);
//     progress->setCompletedUnitCount(page);
//     progress->fractionCompleted();      // 0 to 1
//
// Units are the task's own; of files they are bytes. A task may be divided: a child stands for some of its
// parent's units, and brings what it does into the parent's fraction; when it has finished, the units count
// as completed. Cancelling, pausing and resuming reach the children.
//
// Every operation is safe from any thread. Changes are announced, on the thread that makes them, for every
// property; setting a count while nobody observes costs a lock.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSDictionary;

/// The kind of a progress of files.
inline constexpr std::string_view NSProgressKindFile = "NSProgressKindFile";

// Keys of the user information.
/// What is done with files: one of the kinds below.
inline constexpr std::string_view NSProgressFileOperationKindKey = "NSProgressFileOperationKindKey";
inline constexpr std::string_view NSProgressFileOperationKindDownloading =
    "NSProgressFileOperationKindDownloading";
inline constexpr std::string_view NSProgressFileOperationKindReceiving =
    "NSProgressFileOperationKindReceiving";
inline constexpr std::string_view NSProgressFileOperationKindCopying = "NSProgressFileOperationKindCopying";
inline constexpr std::string_view NSProgressFileOperationKindDecompressingAfterDownloading =
    "NSProgressFileOperationKindDecompressingAfterDownloading";
/// Bytes a second.
inline constexpr std::string_view NSProgressThroughputKey = "NSProgressThroughputKey";
/// Seconds.
inline constexpr std::string_view NSProgressEstimatedTimeRemainingKey = "NSProgressEstimatedTimeRemainingKey";

class QZ_EXPORT NSProgress : public NSObject {
    QZ_OBJECT(NSProgress, NSObject)
public:
    using Handler = std::function<void()>;

    /// A negative count means that it is not known.
    template <class Self = NSProgress>
    [[nodiscard]] static Ref<Self> progressWithTotalUnitCount(std::int64_t count) {
        auto progress = make<Self>();
        progress->setTotalUnitCount(count);
        return progress;
    }

    [[nodiscard]] std::int64_t totalUnitCount() const;
    void setTotalUnitCount(std::int64_t count);
    [[nodiscard]] std::int64_t completedUnitCount() const;
    void setCompletedUnitCount(std::int64_t count);
    /// 0 while indeterminate; more than 1 when more was completed than there was to do.
    [[nodiscard]] double fractionCompleted() const;
    /// A count is negative, or both are 0.
    [[nodiscard]] bool isIndeterminate() const;
    /// All of a known total is completed.
    [[nodiscard]] bool isFinished() const;

    /// Makes `child` stand for that many of this one's units. A child of another parent raises
    /// NSInvalidArgumentException.
    void addChild(const Ref<NSProgress>& child, std::int64_t withPendingUnitCount);

    /// For those who show it; they stop nobody. True and false at first.
    [[nodiscard]] bool isCancellable() const;
    void setCancellable(bool cancellable);
    [[nodiscard]] bool isPausable() const;
    void setPausable(bool pausable);

    [[nodiscard]] bool isCancelled() const;
    [[nodiscard]] bool isPaused() const;
    /// Each calls its handler on the calling thread when the state changes. A progress that is cancelled
    /// stays so.
    void cancel();
    void pause();
    void resume();
    void setCancellationHandler(Handler handler);
    void setPausingHandler(Handler handler);
    void setResumingHandler(Handler handler);

    /// Nil at first.
    [[nodiscard]] std::optional<std::string> kind() const;
    void setKind(Text kind);
    /// A copy.
    [[nodiscard]] Ref<NSDictionary> userInfo() const;
    /// Nil removes. Announced for "userInfo".
    void setUserInfoObjectForKey(const id& object, std::string_view key);

    /// "42% completed", or "Downloading…" where the total is not known.
    [[nodiscard]] std::string localizedDescription() const;
    /// "12 of 60", of files "1.2 MB of 4.0 MB (350.0 kB/s)".
    [[nodiscard]] std::string localizedAdditionalDescription() const;

protected:
    NSProgress();

private:
    struct Child {
        Ref<NSProgress> progress;
        std::int64_t units;
    };

    template <class F>
    void changeCounts(std::string_view key, F&& change);
    void changeUpwards(const std::function<void()>& change);
    void childHasChanged(NSProgress& child);
    void setState(std::string_view key, bool& state, bool value, const Handler& handler,
                  void (NSProgress::*tellChild)());

    mutable std::mutex mutex_;  // guards all that follows; taken from child to parent, never downwards
    std::int64_t total_ = 0;
    std::int64_t completed_ = 0;
    bool isCancellable_ = true;
    bool isPausable_ = false;
    bool isCancelled_ = false;
    bool isPaused_ = false;
    Handler cancellationHandler_;
    Handler pausingHandler_;
    Handler resumingHandler_;
    std::optional<std::string> kind_;
    Ref<NSDictionary> userInfo_;  // never changed: replaced by a changed copy
    std::vector<Child> children_;
    std::weak_ptr<NSProgress> parent_;
};

}  // namespace qz
