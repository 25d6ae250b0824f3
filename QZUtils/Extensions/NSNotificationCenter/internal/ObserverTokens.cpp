#include "QZUtils/Extensions/NSNotificationCenter/internal/ObserverTokens.h"

#include <algorithm>

#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/NSNull.h"

namespace qz::internal {

namespace {

/// The sender that name `index` goes with.
id senderAt(const std::vector<id>& objects, std::size_t index) {
    return objects.empty() ? id() : objects[std::min(index, objects.size() - 1)];
}

}  // namespace

ObserverTokens::ObserverTokens(std::size_t capacity)
    : list_([&] {
          std::vector<id> tokens;
          tokens.reserve(capacity);
          return NSMutableArray::arrayWithObjects(std::move(tokens));
      }()) {}

void ObserverTokens::observe(Text name, const id& object, const Ref<NSOperationQueue>& queue,
                             const NotificationHandler& block) {
    const auto& center = NSNotificationCenter::defaultCenter();
    const auto token = center->addObserverForName(name, object, queue, block);
    std::unique_lock lock(mutex_);
    if (!hasEnded_) {
        list_->addObject(token);
        return;
    }
    lock.unlock();
    center->removeObserver(token);
}

void ObserverTokens::observeAnyOf(const std::vector<std::string>& names, const std::vector<id>& objects,
                                  const Ref<NSOperationQueue>& queue, const NotificationHandler& block,
                                  bool nullIsAny) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto sender = senderAt(objects, i);
        const bool isAny = nullIsAny && sender.get() == NSNull::null().get();
        observe(names[i], isAny ? id() : sender, queue, block);
    }
}

bool ObserverTokens::end() {
    const std::lock_guard lock(mutex_);
    if (hasEnded_) {
        return false;
    }
    hasEnded_ = true;
    for (const auto& token : *list_) {
        NSNotificationCenter::defaultCenter()->removeObserver(token);
    }
    list_->removeAllObjects();
    return true;
}

id ObserverTokens::token() const {
    const std::lock_guard lock(mutex_);
    return list_->firstObject();
}

}  // namespace qz::internal
