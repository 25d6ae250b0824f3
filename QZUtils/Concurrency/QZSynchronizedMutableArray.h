// QZSynchronizedMutableArray: an array that any thread may read and write (QZSynchronizedCollection.h).
#pragma once

#include <cstddef>
#include <shared_mutex>

#include "Platform/Export.h"
#include "Platform/Foundation/NSArray.h"
#include "QZUtils/Concurrency/QZSynchronizedCollection.h"

namespace qz {

class QZ_EXPORT QZSynchronizedMutableArray : public QZSynchronizedCollection {
    QZ_OBJECT(QZSynchronizedMutableArray, QZSynchronizedCollection)
public:
    /// Empty. The label is as for QZSynchronizedCollection.
    template <class Self = QZSynchronizedMutableArray>
    [[nodiscard]] static Ref<Self> initWithLabel(Text label) {
        return make<Self>(label);
    }

    /// Plain, unsynchronised access to the field: the array itself is not protected, and is replaced only
    /// while no other thread uses the collection.
    [[nodiscard]] const Ref<NSMutableArray>& collection() const noexcept { return collection_; }
    void setCollection(Ref<NSMutableArray> collection) noexcept { collection_ = std::move(collection); }

    // Reads, synchronous and concurrent with each other.

    [[nodiscard]] std::size_t count() const;
    /// Nil when empty.
    [[nodiscard]] id firstObject() const;
    [[nodiscard]] id lastObject() const;
    /// Raises NSRangeException beyond the end.
    [[nodiscard]] id objectAtIndex(std::size_t index) const;

    /// Inserts before the element at the index: it does not replace. Unlike the other writes it returns when
    /// it is done and waits for no reader. Raises NSRangeException beyond count() and
    /// NSInvalidArgumentException for nil.
    void setObjectAtIndex(id object, std::size_t atIndex);

    // Writes, asynchronous and alone on the queue. The object is held until the write has run.

    void addObject(id object);
    /// Removes every equal element.
    void removeObject(id object);

    /// `array[index]` reads as objectAtIndex(), and assigning to it inserts, as setObjectAtIndex() does.
    [[nodiscard]] auto operator[](std::size_t index) noexcept {
        return SynchronizedSubscript<QZSynchronizedMutableArray, std::size_t,
                                     &QZSynchronizedMutableArray::objectAtIndex,
                                     &QZSynchronizedMutableArray::setObjectAtIndex>(*this, index);
    }

protected:
    explicit QZSynchronizedMutableArray(Text label)
        : QZSynchronizedCollection(label), collection_(NSMutableArray::array()) {}

private:
    template <class F>
    auto read(F&& block) const;
    template <class F>
    void write(F&& block);

    Ref<NSMutableArray> collection_;
    // Readers overlap setObjectAtIndex() on the queue: this alone keeps them apart.
    mutable std::shared_mutex insertion_;
};

}  // namespace qz
