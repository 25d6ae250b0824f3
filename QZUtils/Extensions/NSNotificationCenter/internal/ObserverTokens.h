// The tokens of the registrations that one call makes, shared with their blocks, so that a block can end
// them.
//
// A delivery on another thread may end them before the last is made: what is added afterwards is removed at
// once.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Platform/Foundation/NSArray.h"
#include "QZUtils/Extensions/NSNotificationCenter/NSNotificationCenter+Auxiliary.h"

namespace qz::internal {

class ObserverTokens {
public:
    explicit ObserverTokens(std::size_t capacity);

    /// Registers a block with the default centre.
    void observe(Text name, const id& object, const Ref<NSOperationQueue>& queue,
                 const NotificationHandler& block);
    /// Registers it for each of the names with its sender. With `nullIsAny`, an NSNull means any sender.
    void observeAnyOf(const std::vector<std::string>& names, const std::vector<id>& objects,
                      const Ref<NSOperationQueue>& queue, const NotificationHandler& block,
                      bool nullIsAny = false);
    /// Removes every registration, then empties the list. False when that has been done before.
    bool end();

    [[nodiscard]] const Ref<NSMutableArray>& list() const noexcept { return list_; }
    /// The only token; nil when it was removed.
    [[nodiscard]] id token() const;

private:
    mutable std::mutex mutex_;
    const Ref<NSMutableArray> list_;
    bool hasEnded_ = false;
};

}  // namespace qz::internal
