// What the containers share: their checks, their descriptions, and the table behind dictionaries and sets.
#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <unordered_map>
#include <utility>

#include "Platform/Runtime/Id.h"

namespace qz::internal {

/// Raises NSInvalidArgumentException for nil.
void checkPresent(const id& object);
/// Raises NSRangeException unless index < count.
void checkIndex(std::size_t index, std::size_t count);

/// A container in the manner of property lists: "(\n    a,\n    b\n)" and "{\n    key = value;\n}".
/// Containers inside containers are indented, down to a depth at which "..." stands for the rest.
[[nodiscard]] std::string describeContainer(const Object& container);

/// A hash table that remembers the order of insertion, so that whatever is written from it is reproducible.
/// Replacing an entry keeps its place.
template <class Entry, const id& (*KeyOf)(const Entry&)>
class OrderedTable {
public:
    OrderedTable() = default;
    OrderedTable(const OrderedTable& other) : entries_(other.entries_) {
        index_.reserve(entries_.size());
        for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
            index_.emplace(KeyOf(*entry), entry);
        }
    }
    OrderedTable& operator=(const OrderedTable&) = delete;

    [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }
    [[nodiscard]] auto begin() const noexcept { return entries_.begin(); }
    [[nodiscard]] auto end() const noexcept { return entries_.end(); }

    [[nodiscard]] const Entry* find(const id& key) const {
        const auto found = index_.find(key);
        return found == index_.end() ? nullptr : &*found->second;
    }
    void insertOrReplace(Entry entry) {
        const auto found = index_.find(KeyOf(entry));
        if (found != index_.end()) {
            // The old entry lives until the new one is in place: its destructor may look at this table.
            std::swap(*found->second, entry);
            return;
        }
        const auto added = entries_.insert(entries_.end(), std::move(entry));
        index_.emplace(KeyOf(*added), added);
    }
    void remove(const id& key) {
        const auto found = index_.find(key);
        if (found != index_.end()) {
            std::list<Entry> removed;
            removed.splice(removed.begin(), entries_, found->second);
            index_.erase(found);
        }
    }
    void clear() noexcept {
        index_.clear();
        entries_.clear();
    }

private:
    std::list<Entry> entries_;
    std::unordered_map<id, typename std::list<Entry>::iterator> index_;
};

}  // namespace qz::internal
