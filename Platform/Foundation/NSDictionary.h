// NSDictionary and NSMutableDictionary: values by key. Both have reference semantics. Keys are compared by
// value and copied on insertion; keys and values are held strongly and are never nil. Iteration follows the
// order of insertion.
//
// An NSDictionary may be read from several threads at once; an NSMutableDictionary must not be changed while
// another thread uses it, nor while it is being iterated.
#pragma once

#include <initializer_list>
#include <utility>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/Containers.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSArray;
class NSMutableDictionary;

class QZ_EXPORT NSDictionary : public NSObject {
    QZ_OBJECT(NSDictionary, NSObject)
public:
    using Entry = std::pair<id, id>;

    /// A later entry replaces an earlier one of an equal key. Raises NSInvalidArgumentException for a nil key
    /// or value.
    [[nodiscard]] static Ref<NSDictionary> dictionary(std::initializer_list<Entry> entries = {});
    [[nodiscard]] static Ref<NSDictionary> dictionary(const std::vector<Entry>& entries);

    [[nodiscard]] std::size_t count() const noexcept { return table_.size(); }
    /// Nil when there is none.
    [[nodiscard]] id objectForKey(const id& key) const;
    [[nodiscard]] id operator[](const id& key) const { return objectForKey(key); }
    [[nodiscard]] Ref<NSArray> allKeys() const;
    [[nodiscard]] Ref<NSArray> allValues() const;

    /// Entries as pairs of key and value.
    [[nodiscard]] auto begin() const noexcept { return table_.begin(); }
    [[nodiscard]] auto end() const noexcept { return table_.end(); }

    /// Shallow copies: an immutable dictionary (this one when it is immutable), and a new mutable one.
    [[nodiscard]] Ref<NSDictionary> copy() const;
    [[nodiscard]] Ref<NSMutableDictionary> mutableCopy() const;

protected:
    static const id& keyOf(const Entry& entry) { return entry.first; }
    using Table = internal::OrderedTable<Entry, &keyOf>;

    NSDictionary() = default;
    explicit NSDictionary(const Table& table) : table_(table) {}
    void set(const id& key, id value);

    Table table_;
};

class QZ_EXPORT NSMutableDictionary : public NSDictionary {
    QZ_OBJECT(NSMutableDictionary, NSDictionary)
public:
    [[nodiscard]] static Ref<NSMutableDictionary> dictionary(std::initializer_list<Entry> entries = {});

    /// Raises NSInvalidArgumentException for a nil object or key.
    void setObjectForKey(id object, const id& forKey);
    /// Nothing happens when there is none.
    void removeObjectForKey(const id& key);
    void removeAllObjects() noexcept { table_.clear(); }

protected:
    NSMutableDictionary() = default;
    explicit NSMutableDictionary(const Table& table) : NSDictionary(table) {}
};

}  // namespace qz
