// The base of the collections that may be read and written from any thread without outside locking. It owns
// one ConcurrentSynchronizer; its subclasses run every operation on that, reads as synchronous blocks, most
// writes as asynchronous barriers.
//
// The collections are proxies: they answer the messages that they list and raise for every other.
//
// A thread sees its own writes, in their order: a later read waits behind an earlier barrier. Misuse (an
// index beyond the end, nil) raises inside the queued block: it reaches the caller of a read, and ends the
// program from an asynchronous write. Do not call a collection from inside a block of its own queue that
// waits for a barrier (Synchronizer.h).
#pragma once

#include <utility>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"
#include "QZUtils/Concurrency/Synchronizer.h"

namespace qz {

/// What `collection[key]` is: reads with one operation of the collection, and assigning to it calls another.
template <class Collection, class Key, auto Read, auto Write>
class SynchronizedSubscript {
public:
    SynchronizedSubscript(Collection& collection, Key key) noexcept
        : collection_(collection), key_(std::move(key)) {}
    operator id() const { return (collection_.*Read)(key_); }
    SynchronizedSubscript& operator=(id object) {
        (collection_.*Write)(std::move(object), key_);
        return *this;
    }
    SynchronizedSubscript& operator=(const SynchronizedSubscript& other) {
        *this = id(other);
        return *this;
    }

private:
    Collection& collection_;
    Key key_;
};

class QZ_EXPORT QZSynchronizedCollection : public NSProxy {
    QZ_OBJECT(QZSynchronizedCollection, NSProxy)
public:
    /// A nil label makes the queue's label "QZSynchronizedCollection"; an empty one stays empty.
    template <class Self = QZSynchronizedCollection>
    [[nodiscard]] static Ref<Self> initWithLabel(Text label) {
        return make<Self>(label);
    }

    /// Plain, unsynchronised access to the field: replace it only while no other thread uses the collection.
    [[nodiscard]] const Ref<ConcurrentSynchronizer>& synchronizer() const noexcept { return synchronizer_; }
    void setSynchronizer(Ref<ConcurrentSynchronizer> synchronizer) noexcept {
        synchronizer_ = std::move(synchronizer);
    }

protected:
    explicit QZSynchronizedCollection(Text label);

private:
    Ref<ConcurrentSynchronizer> synchronizer_;
};

}  // namespace qz
