// NSArray and NSMutableArray: objects in order. Both have reference semantics: who holds the same array sees
// the same elements. Elements are held strongly and are never nil (NSNull stands for "nothing").
//
// An NSArray may be read from several threads at once; an NSMutableArray must not be changed while another
// thread uses it, nor while it is being iterated.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <span>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSMutableArray;

class QZ_EXPORT NSArray : public NSObject {
    QZ_OBJECT(NSArray, NSObject)
public:
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    /// Raises NSInvalidArgumentException when an element is nil; so do all operations that put elements in.
    [[nodiscard]] static Ref<NSArray> arrayWithObjects(std::vector<id> objects);
    [[nodiscard]] static Ref<NSArray> arrayWithObjects(std::initializer_list<id> objects) {
        return arrayWithObjects(std::vector<id>(objects));
    }

    [[nodiscard]] std::size_t count() const noexcept { return items_.size(); }
    /// Raises NSRangeException beyond the end.
    [[nodiscard]] const id& objectAtIndex(std::size_t index) const;
    [[nodiscard]] const id& operator[](std::size_t index) const { return objectAtIndex(index); }
    /// Nil when empty.
    [[nodiscard]] id firstObject() const { return items_.empty() ? id() : items_.front(); }
    [[nodiscard]] id lastObject() const { return items_.empty() ? id() : items_.back(); }
    /// The index of the first equal element, or npos.
    [[nodiscard]] std::size_t indexOfObject(const id& object) const;
    [[nodiscard]] bool containsObject(const id& object) const { return indexOfObject(object) != npos; }

    [[nodiscard]] auto begin() const noexcept { return items_.begin(); }
    [[nodiscard]] auto end() const noexcept { return items_.end(); }

    /// Shallow copies: an immutable array (this one when it is immutable), and a new mutable one.
    [[nodiscard]] Ref<NSArray> copy() const;
    [[nodiscard]] Ref<NSMutableArray> mutableCopy() const;

protected:
    explicit NSArray(std::vector<id> items) : items_(std::move(items)) {}

    std::vector<id> items_;
};

class QZ_EXPORT NSMutableArray : public NSArray {
    QZ_OBJECT(NSMutableArray, NSArray)
public:
    [[nodiscard]] static Ref<NSMutableArray> array();
    [[nodiscard]] static Ref<NSMutableArray> arrayWithObjects(std::vector<id> objects);
    [[nodiscard]] static Ref<NSMutableArray> arrayWithObjects(std::initializer_list<id> objects) {
        return arrayWithObjects(std::vector<id>(objects));
    }

    void addObject(id object);
    /// `index` may be count(), which appends; NSRangeException beyond it.
    void insertObjectAtIndex(id object, std::size_t index);
    void replaceObjectAtIndex(std::size_t index, id withObject);
    void removeObjectAtIndex(std::size_t index);
    /// Removes every equal element.
    void removeObject(const id& object);
    void removeLastObject();
    void removeAllObjects() noexcept { items_.clear(); }

protected:
    explicit NSMutableArray(std::vector<id> items) : NSArray(std::move(items)) {}
};

}  // namespace qz
