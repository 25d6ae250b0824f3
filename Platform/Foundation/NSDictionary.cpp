#include "Platform/Foundation/NSDictionary.h"

#include <algorithm>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/internal/KeyCopy.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz {

using internal::checkPresent;

QZ_DEFINE_CLASS(NSDictionary, cls) {
    cls.method("description", [](const NSDictionary& self) { return internal::describeContainer(self); });
    cls.method("isEqual:", [](const NSDictionary& self, const id& other) {
        const auto* dictionary = dynamic_cast<const NSDictionary*>(other.get());
        return dictionary && dictionary->count() == self.count() &&
               std::ranges::all_of(self, [&](const Entry& entry) {
                   return dictionary->objectForKey(entry.first) == entry.second;
               });
    });
    cls.method("hash", &NSDictionary::count);
    cls.method("count", &NSDictionary::count);
    cls.method("objectForKey:", &NSDictionary::objectForKey);
    cls.method("valueForKey:",
               [](const NSDictionary& self, std::string_view key) { return self.objectForKey(key); });
    cls.method("allKeys", &NSDictionary::allKeys);
    cls.method("allValues", &NSDictionary::allValues);
    cls.method("copy", [](const NSDictionary& self) { return id(self.copy()); });
    cls.method("mutableCopy", [](const NSDictionary& self) { return id(self.mutableCopy()); });
}

Ref<NSDictionary> NSDictionary::dictionary(std::initializer_list<Entry> entries) {
    return dictionary(std::vector<Entry>(entries));
}

Ref<NSDictionary> NSDictionary::dictionary(const std::vector<Entry>& entries) {
    auto made = make<NSDictionary>();
    for (const auto& [key, value] : entries) {
        made->set(key, value);
    }
    return made;
}

void NSDictionary::set(const id& key, id value) {
    checkPresent(key);
    checkPresent(value);
    table_.insertOrReplace(Entry(internal::copyOfKey(key), std::move(value)));
}

id NSDictionary::objectForKey(const id& key) const {
    const auto* entry = key ? table_.find(key) : nullptr;
    return entry ? entry->second : id();
}

Ref<NSArray> NSDictionary::allKeys() const {
    std::vector<id> keys;
    keys.reserve(count());
    std::ranges::transform(table_, std::back_inserter(keys), &Entry::first);
    return NSArray::arrayWithObjects(std::move(keys));
}

Ref<NSArray> NSDictionary::allValues() const {
    std::vector<id> values;
    values.reserve(count());
    std::ranges::transform(table_, std::back_inserter(values), &Entry::second);
    return NSArray::arrayWithObjects(std::move(values));
}

Ref<NSDictionary> NSDictionary::copy() const {
    const bool isMutable = dynamic_cast<const NSMutableDictionary*>(this) != nullptr;
    return !isMutable ? refTo(*this) : make<NSDictionary>(table_);
}

Ref<NSMutableDictionary> NSDictionary::mutableCopy() const {
    return make<NSMutableDictionary>(table_);
}

QZ_DEFINE_CLASS(NSMutableDictionary, cls) {
    cls.method("setObject:forKey:", &NSMutableDictionary::setObjectForKey);
    cls.method("setValue:forKey:", [](NSMutableDictionary& self, const id& value, std::string_view key) {
        changing(self, key, [&] { value ? self.setObjectForKey(value, key) : self.removeObjectForKey(key); });
    });
    cls.method("removeObjectForKey:", &NSMutableDictionary::removeObjectForKey);
    cls.method("removeAllObjects", &NSMutableDictionary::removeAllObjects);
}

Ref<NSMutableDictionary> NSMutableDictionary::dictionary(std::initializer_list<Entry> entries) {
    auto made = make<NSMutableDictionary>();
    for (const auto& [key, value] : entries) {
        made->set(key, value);
    }
    return made;
}

void NSMutableDictionary::setObjectForKey(id object, const id& forKey) {
    set(forKey, std::move(object));
}

void NSMutableDictionary::removeObjectForKey(const id& key) {
    if (key) {
        table_.remove(key);
    }
}

}  // namespace qz
