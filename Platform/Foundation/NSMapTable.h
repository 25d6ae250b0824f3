// NSMapTable: a mutable map from objects to objects whose keys and values are held strongly, copied, or
// weakly, as was chosen when it was made. Keys are compared by value.
//
// An entry whose weakly held key or value has died reads as absent and does not count. Reading never changes
// the table, so several threads may read at once; writing needs the table for itself. Dead entries are
// dropped by later writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <variant>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSArray;

/// How a side of a map table holds its objects.
enum class NSPointerFunctionsOptions : std::uint64_t {
    StrongMemory = 0,
    WeakMemory = 5,
    CopyIn = 0x10000,  // copied on insertion ("copy"), held strongly
};

class QZ_EXPORT NSMapTable : public NSObject {
    QZ_OBJECT(NSMapTable, NSObject)
public:
    /// Raises NSInvalidArgumentException for other words than the three above.
    [[nodiscard]] static Ref<NSMapTable> mapTableWithKeyOptions(NSPointerFunctionsOptions keys,
                                                                NSPointerFunctionsOptions valueOptions);
    [[nodiscard]] static Ref<NSMapTable> strongToStrongObjectsMapTable();

    /// The number of entries that are alive: constant time when both sides are strong, linear otherwise.
    [[nodiscard]] std::size_t count() const;
    /// Nil when there is no entry, or it died.
    [[nodiscard]] id objectForKey(const id& key) const;
    /// Replaces an entry of an equal key, keeping that key. Raises NSInvalidArgumentException for a nil
    /// object or key.
    void setObjectForKey(id object, id forKey);
    void removeObjectForKey(const id& key);
    void removeAllObjects() noexcept { entries_.clear(); }
    /// The keys of the living entries, in no order.
    [[nodiscard]] Ref<NSArray> allKeys() const;

protected:
    NSMapTable(NSPointerFunctionsOptions keys, NSPointerFunctionsOptions values)
        : keys_(keys), values_(values) {}

private:
    /// An object held strongly or weakly.
    class Slot {
    public:
        Slot(id object, NSPointerFunctionsOptions options);
        [[nodiscard]] id get() const;
        [[nodiscard]] bool equals(const id& object) const;
        [[nodiscard]] bool isAlive() const noexcept;

    private:
        std::variant<id, std::weak_ptr<Object>> held_;
    };
    struct Key {
        std::size_t hash;  // a dead key has none any more
        Slot slot;
    };
    struct Probe {
        std::size_t hash;
        const id& key;
    };
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(const Key& key) const noexcept { return key.hash; }
        std::size_t operator()(const Probe& probe) const noexcept { return probe.hash; }
    };
    struct Equal {
        using is_transparent = void;
        bool operator()(const Key& left, const Key& right) const { return &left == &right; }
        bool operator()(const Probe& probe, const Key& key) const;
        bool operator()(const Key& key, const Probe& probe) const { return (*this)(probe, key); }
    };

    [[nodiscard]] bool hasWeakSide() const noexcept;
    void dropDeadEntries();

    NSPointerFunctionsOptions keys_;
    NSPointerFunctionsOptions values_;
    std::unordered_map<Key, Slot, Hash, Equal> entries_;
    std::size_t sweepAt_ = 16;  // the size at which the next write looks for dead entries
};

}  // namespace qz
