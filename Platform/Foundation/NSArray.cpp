#include "Platform/Foundation/NSArray.h"

#include <algorithm>

#include "Platform/Foundation/Containers.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

using internal::checkIndex;
using internal::checkPresent;

QZ_DEFINE_CLASS(NSArray, cls) {
    cls.method("description", [](const NSArray& self) { return internal::describeContainer(self); });
    cls.method("isEqual:", [](const NSArray& self, const id& other) {
        const auto* array = dynamic_cast<const NSArray*>(other.get());
        return array && std::ranges::equal(self.items_, array->items_);
    });
    // The number of elements is enough to spread arrays, and cheap however deep they are.
    cls.method("hash", &NSArray::count);
    cls.method("count", &NSArray::count);
    cls.method("objectAtIndex:", &NSArray::objectAtIndex);
    cls.method("firstObject", &NSArray::firstObject);
    cls.method("lastObject", &NSArray::lastObject);
    cls.method("containsObject:", &NSArray::containsObject);
    cls.method("copy", [](const NSArray& self) { return id(self.copy()); });
    cls.method("mutableCopy", [](const NSArray& self) { return id(self.mutableCopy()); });
}

Ref<NSArray> NSArray::arrayWithObjects(std::vector<id> objects) {
    std::ranges::for_each(objects, checkPresent);
    return make<NSArray>(std::move(objects));
}

const id& NSArray::objectAtIndex(std::size_t index) const {
    checkIndex(index, items_.size());
    return items_[index];
}

std::size_t NSArray::indexOfObject(const id& object) const {
    const auto found = std::ranges::find(items_, object);
    return found == items_.end() ? npos : static_cast<std::size_t>(found - items_.begin());
}

Ref<NSArray> NSArray::copy() const {
    const bool isMutable = dynamic_cast<const NSMutableArray*>(this) != nullptr;
    return !isMutable ? refTo(*this) : make<NSArray>(items_);
}

Ref<NSMutableArray> NSArray::mutableCopy() const {
    return make<NSMutableArray>(items_);
}

QZ_DEFINE_CLASS(NSMutableArray, cls) {
    cls.method("addObject:", &NSMutableArray::addObject);
    cls.method("removeObject:", &NSMutableArray::removeObject);
    cls.method("removeObjectAtIndex:", &NSMutableArray::removeObjectAtIndex);
    cls.method("insertObject:atIndex:", &NSMutableArray::insertObjectAtIndex);
    cls.method("removeAllObjects", &NSMutableArray::removeAllObjects);
}

Ref<NSMutableArray> NSMutableArray::array() {
    return make<NSMutableArray>(std::vector<id>());
}

Ref<NSMutableArray> NSMutableArray::arrayWithObjects(std::vector<id> objects) {
    std::ranges::for_each(objects, checkPresent);
    return make<NSMutableArray>(std::move(objects));
}

void NSMutableArray::addObject(id object) {
    checkPresent(object);
    items_.push_back(std::move(object));
}

void NSMutableArray::insertObjectAtIndex(id object, std::size_t index) {
    checkPresent(object);
    checkIndex(index, items_.size() + 1);
    items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(index), std::move(object));
}

void NSMutableArray::replaceObjectAtIndex(std::size_t index, id withObject) {
    checkPresent(withObject);
    checkIndex(index, items_.size());
    items_[index] = std::move(withObject);
}

void NSMutableArray::removeObjectAtIndex(std::size_t index) {
    checkIndex(index, items_.size());
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
}

void NSMutableArray::removeObject(const id& object) {
    // A copy: the argument may refer to an element that is about to go.
    const id removed = object;
    std::erase_if(items_, [&](const id& item) { return item == removed; });
}

void NSMutableArray::removeLastObject() {
    checkIndex(0, items_.size());
    items_.pop_back();
}

}  // namespace qz
