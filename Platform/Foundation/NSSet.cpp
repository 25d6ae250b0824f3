#include "Platform/Foundation/NSSet.h"

#include <algorithm>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(NSSet, cls) {
    cls.method("description", [](const NSSet& self) { return internal::describeContainer(self); });
    cls.method("isEqual:", [](const NSSet& self, const id& other) {
        const auto* set = dynamic_cast<const NSSet*>(other.get());
        return set && set->count() == self.count() &&
               std::ranges::all_of(self, [&](const id& member) { return set->containsObject(member); });
    });
    cls.method("hash", &NSSet::count);
    cls.method("count", &NSSet::count);
    cls.method("containsObject:", &NSSet::containsObject);
    cls.method("allObjects", &NSSet::allObjects);
    cls.method("copy", [](const NSSet& self) { return id(self.copy()); });
    cls.method("mutableCopy", [](const NSSet& self) { return id(self.mutableCopy()); });
}

Ref<NSSet> NSSet::setWithObjects(const std::vector<id>& objects) {
    auto made = make<NSSet>();
    std::ranges::for_each(objects, [&](const id& object) { made->add(object); });
    return made;
}

void NSSet::add(id object) {
    internal::checkPresent(object);
    if (!table_.find(object)) {
        table_.insertOrReplace(std::move(object));
    }
}

id NSSet::member(const id& object) const {
    const auto* found = object ? table_.find(object) : nullptr;
    return found ? *found : id();
}

Ref<NSArray> NSSet::allObjects() const {
    return NSArray::arrayWithObjects({table_.begin(), table_.end()});
}

Ref<NSSet> NSSet::copy() const {
    const bool isMutable = dynamic_cast<const NSMutableSet*>(this) != nullptr;
    return !isMutable ? refTo(*this) : make<NSSet>(table_);
}

Ref<NSMutableSet> NSSet::mutableCopy() const {
    return make<NSMutableSet>(table_);
}

QZ_DEFINE_CLASS(NSMutableSet, cls) {
    cls.method("addObject:", &NSMutableSet::addObject);
    cls.method("removeObject:", &NSMutableSet::removeObject);
    cls.method("removeAllObjects", &NSMutableSet::removeAllObjects);
}

Ref<NSMutableSet> NSMutableSet::set() {
    return make<NSMutableSet>();
}

void NSMutableSet::removeObject(const id& object) {
    if (object) {
        table_.remove(object);
    }
}

}  // namespace qz
