// QZSynchronizedMapTable: a map from objects to objects that any thread may read and write
// (QZSynchronizedCollection.h).
#pragma once

#include <cstddef>

#include "Platform/Export.h"
#include "Platform/Foundation/NSMapTable.h"
#include "QZUtils/Concurrency/QZSynchronizedCollection.h"

namespace qz {

class QZ_EXPORT QZSynchronizedMapTable : public QZSynchronizedCollection {
    QZ_OBJECT(QZSynchronizedMapTable, QZSynchronizedCollection)
public:
    /// Empty; the options say how keys and values are held (NSMapTable.h, which raises for unknown words).
    /// The label is as for QZSynchronizedCollection.
    template <class Self = QZSynchronizedMapTable>
    [[nodiscard]] static Ref<Self> initWithKeyOptions(NSPointerFunctionsOptions keys,
                                                      NSPointerFunctionsOptions valueOptions, Text label) {
        return make<Self>(keys, valueOptions, label);
    }

    /// Plain, unsynchronised access to the field: the table itself is not protected, and is replaced only
    /// while no other thread uses the collection.
    [[nodiscard]] const Ref<NSMapTable>& collection() const noexcept { return collection_; }
    void setCollection(Ref<NSMapTable> collection) noexcept { collection_ = std::move(collection); }

    // Reads, synchronous and concurrent with each other.

    /// Entries whose weakly held key or value has died do not count.
    [[nodiscard]] std::size_t count() const;
    /// Nil when there is no entry, or its weakly held value has died.
    [[nodiscard]] id objectForKey(const id& key) const;

    // Writes, asynchronous and alone on the queue. Object and key are held until the write has run.

    void setObjectForKey(id object, id forKey);
    void removeObjectForKey(id key);

    /// `table[key]` reads as objectForKey(), and assigning to it is setObjectForKey().
    [[nodiscard]] auto operator[](id key) noexcept {
        return SynchronizedSubscript<QZSynchronizedMapTable, id, &QZSynchronizedMapTable::objectForKey,
                                     &QZSynchronizedMapTable::setObjectForKey>(*this, std::move(key));
    }

protected:
    QZSynchronizedMapTable(NSPointerFunctionsOptions keys, NSPointerFunctionsOptions values, Text label)
        : QZSynchronizedCollection(label), collection_(NSMapTable::mapTableWithKeyOptions(keys, values)) {}

private:
    template <class F>
    void write(F&& block);

    Ref<NSMapTable> collection_;
};

}  // namespace qz
