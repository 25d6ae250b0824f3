// QZKeyPathBlockObserver: watches a key path of an object with a block, as long as the observer itself lives.
//
// The block is called on the thread that makes the change. Neither holds the other: the object is held
// weakly, and holds nothing of the observer. For use from one thread at a time, as the observed object is.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSDictionary;

class QZ_EXPORT QZKeyPathBlockObserver : public NSObject {
    QZ_OBJECT(QZKeyPathBlockObserver, NSObject)
public:
    /// Called with the observed object and the change dictionary (KeyValueObserving.h), which has "new" and
    /// "old".
    using ObserverBlock = std::function<void(const id& object, const Ref<NSDictionary>& change)>;

    /// Registers with the object for new and old values. With a nil object it observes nothing.
    [[nodiscard]] static Ref<QZKeyPathBlockObserver> initWithObject(Receiver object, std::string_view keyPath,
                                                                    ObserverBlock observerBlock);

    /// Nil once the object is gone.
    [[nodiscard]] id object() const { return object_.lock(); }
    /// Change the fields alone: the registration stays with the first object and key path until this observer
    /// goes.
    void setObject(const id& object) { object_ = object.ref(); }
    [[nodiscard]] const std::string& keyPath() const noexcept { return keyPath_; }
    void setKeyPath(std::string_view keyPath) { keyPath_ = keyPath; }

    [[nodiscard]] const ObserverBlock& observerBlock() const noexcept { return *block_; }
    void setObserverBlock(ObserverBlock block) {
        block_ = std::make_shared<const ObserverBlock>(std::move(block));
    }

protected:
    QZKeyPathBlockObserver(Receiver object, std::string_view keyPath, ObserverBlock block);
    void dealloc() override;

private:
    void observeValueForKeyPath(std::string_view keyPath, const id& ofObject, const Ref<NSDictionary>& change,
                                void* context);

    std::weak_ptr<Object> object_;
    std::string keyPath_;
    std::shared_ptr<const ObserverBlock>
        block_;  // shared with the call that is running, which may replace it
};

}  // namespace qz
