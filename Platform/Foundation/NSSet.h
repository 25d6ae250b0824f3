// NSSet and NSMutableSet: distinct objects, compared by value. Both have reference semantics; members are
// held strongly and are never nil. Iteration follows the order of insertion. Threads: as for NSDictionary.
#pragma once

#include <initializer_list>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/Containers.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSArray;
class NSMutableSet;

class QZ_EXPORT NSSet : public NSObject {
    QZ_OBJECT(NSSet, NSObject)
public:
    /// Raises NSInvalidArgumentException for nil.
    [[nodiscard]] static Ref<NSSet> setWithObjects(const std::vector<id>& objects);
    [[nodiscard]] static Ref<NSSet> setWithObjects(std::initializer_list<id> objects) {
        return setWithObjects(std::vector<id>(objects));
    }

    [[nodiscard]] std::size_t count() const noexcept { return table_.size(); }
    [[nodiscard]] bool containsObject(const id& object) const { return object && table_.find(object); }
    /// The member equal to `object`; nil when there is none.
    [[nodiscard]] id member(const id& object) const;
    [[nodiscard]] Ref<NSArray> allObjects() const;

    [[nodiscard]] auto begin() const noexcept { return table_.begin(); }
    [[nodiscard]] auto end() const noexcept { return table_.end(); }

    /// Shallow copies: an immutable set (this one when it is immutable), and a new mutable one.
    [[nodiscard]] Ref<NSSet> copy() const;
    [[nodiscard]] Ref<NSMutableSet> mutableCopy() const;

protected:
    static const id& keyOf(const id& member) { return member; }
    using Table = internal::OrderedTable<id, &keyOf>;

    NSSet() = default;
    explicit NSSet(const Table& table) : table_(table) {}
    void add(id object);

    Table table_;
};

class QZ_EXPORT NSMutableSet : public NSSet {
    QZ_OBJECT(NSMutableSet, NSSet)
public:
    [[nodiscard]] static Ref<NSMutableSet> set();

    /// Nothing happens when an equal member is there: the old one stays.
    void addObject(id object) { add(std::move(object)); }
    void removeObject(const id& object);
    void removeAllObjects() noexcept { table_.clear(); }

protected:
    NSMutableSet() = default;
    explicit NSMutableSet(const Table& table) : NSSet(table) {}
};

}  // namespace qz
