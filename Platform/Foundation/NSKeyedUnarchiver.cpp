#include "Platform/Foundation/NSKeyedUnarchiver.h"

#include <exception>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSSet.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/PropertyListUID.h"
#include "Platform/Foundation/internal/KeyedArchive.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"

namespace qz {

namespace internal {

namespace {

using Kind = ArchiveNesting::Kind;

/// The value under a key as a T; fails for another kind and when there is none.
template <class T>
Ref<T> valueOf(const NSDictionary& fields, std::string_view key) {
    auto value = fields.objectForKey(key).as<T>();
    if (!value) {
        throw ArchiveFailure("the value of " + std::string(key) + " is missing or of another kind");
    }
    return value;
}

}  // namespace

class KeyedArchiveReader {
public:
    /// Fails when the list is no keyed archive. `size` is the number of bytes that the list was read from.
    KeyedArchiveReader(const NSDictionary& archive, std::size_t size)
        : size_(size),
          limit_(maximumExpansion * size),
          objects_(valueOf<NSArray>(archive, archiveObjectsKey)),
          known_(objects_->count()),
          top_(valueOf<NSDictionary>(archive, archiveTopKey)),
          fields_(top_.get()) {
        (void)valueOf<NSString>(archive, archiverKey);
        if (valueOf<NSNumber>(archive, archiveVersionKey)->longLongValue() != archiveVersion ||
            objects_->firstObject() != id(archiveNull)) {
            throw ArchiveFailure("the list is no keyed archive");
        }
    }

    /// The value under a key of the object that is being read; nil when there is none.
    [[nodiscard]] id field(std::string_view key) const { return fields_->objectForKey(archiveKey(key)); }
    /// Whether no object is being read.
    [[nodiscard]] bool isAtTop() const { return nesting_.isOutside(); }

    /// The object that a value refers to. `coder` is given to its initWithCoder().
    id referred(const id& value, NSKeyedUnarchiver& coder) { return object(numberIn(value), coder); }

    /// What was read since the last call stays.
    void keep() { circular_.clear(); }
    /// What was read since is given up: mutable containers are emptied, as they may stand in circles.
    void discard() {
        known_.clear();
        for (const auto& empty : circular_) {
            empty();
        }
        circular_.clear();
    }

private:
    struct Known {
        id object;  // set before it is filled where the kind permits
        bool isMet = false;
        std::uint64_t weight = 1;  // objects that a walk through it meets
        ArchiveNesting::Node node;
    };
    struct Member {
        id object;
        std::uint64_t weight;
    };
    using Members = std::vector<Member>;

    /// How many objects a walk through what was read meets for each byte of the archive, and how many
    /// characters of resolved URLs there are: containers that hold the same ones twice, which do so in turn,
    /// would otherwise be endless for whoever compares them.
    static constexpr std::uint64_t maximumExpansion = 64;
    /// How many references containers may hold for each byte, where several share one list of references.
    static constexpr std::uint64_t referencesPerByte = 8;
    /// Filling a set or a dictionary compares all objects of equal hash, and all arrays of one length have
    /// the same: so many objects may be compared however short the archive is, and so many more for each of
    /// maximumExpansion's.
    static constexpr std::uint64_t freeComparisons = 100'000'000;
    static constexpr std::uint64_t comparisonsPerObject = 4;

    static std::uint64_t numberIn(const id& value) {
        const auto reference = value.as<PropertyListUID>();
        if (!reference) {
            throw ArchiveFailure("a value is no reference");
        }
        return reference->value();
    }

    id object(std::uint64_t number, NSKeyedUnarchiver& coder) {
        if (number == 0) {
            return nullptr;
        }
        if (number >= known_.size()) {
            throw ArchiveFailure("a reference leads nowhere");
        }
        auto& known = known_[number];  // does not move
        if (known.isMet) {
            nesting_.refer(known.node);
        } else {
            known.isMet = true;
            read(objects_->objectAtIndex(number), known, coder);
        }
        return known.object;
    }

    void read(const id& entry, Known& known, NSKeyedUnarchiver& coder) {
        if (entry.as<NSString>() || entry.as<NSNumber>() || unbox<NSData>(entry)) {
            known.object = entry;
            return;
        }
        const auto fields = entry.as<NSDictionary>();
        if (!fields) {
            throw ArchiveFailure("an object is of no kind that archives hold");
        }
        const auto name = className(*fields);
        if (name == "NSArray" || name == "NSMutableArray") {
            readArray(*fields, name == "NSMutableArray", known, coder);
        } else if (name == "NSSet" || name == "NSMutableSet") {
            readSet(*fields, name == "NSMutableSet", known, coder);
        } else if (name == "NSDictionary" || name == "NSMutableDictionary") {
            readDictionary(*fields, name == "NSMutableDictionary", known, coder);
        } else if (name == "NSURL") {
            const ArchiveNesting::Place place(nesting_, known.node, Kind::Leaf);
            known.object = url(*fields, coder);
        } else if (const auto leaf = plainObject(name, *fields)) {
            known.object = leaf;
        } else {
            readCoding(name, *fields, known, coder);
        }
    }

    [[nodiscard]] std::string className(const NSDictionary& fields) const {
        const auto number = valueOf<PropertyListUID>(fields, archiveClassKey)->value();
        const auto description =
            number < objects_->count() ? objects_->objectAtIndex(number).as<NSDictionary>() : nullptr;
        if (!description) {
            throw ArchiveFailure("an object has no class");
        }
        return valueOf<NSString>(*description, archiveClassNameKey)->string();
    }

    /// An object that refers to no other; nil for classes of other objects.
    static id plainObject(std::string_view name, const NSDictionary& fields) {
        if (name == "NSDate") {
            return NSDate::dateWithTimeIntervalSinceReferenceDate(
                valueOf<NSNumber>(fields, "NS.time")->doubleValue());
        }
        if (name == "NSNull") {
            return NSNull::null();
        }
        if (name == "NSString" || name == "NSMutableString") {
            return valueOf<NSString>(fields, "NS.string");
        }
        if (name == "NSData" || name == "NSMutableData") {
            auto data = fields.objectForKey("NS.data");
            if (!unbox<NSData>(data)) {
                throw ArchiveFailure("the bytes of data are missing");
            }
            return data;
        }
        return nullptr;
    }

    id url(const NSDictionary& fields, NSKeyedUnarchiver& coder) {
        const auto base = referred(valueOf<PropertyListUID>(fields, "NS.base"), coder);
        const auto relative = referred(valueOf<PropertyListUID>(fields, "NS.relative"), coder);
        const auto text = relative.as<NSString>();
        if (!text || (base && !base.as<NSURL>())) {
            throw ArchiveFailure("a URL is of other parts");
        }
        auto made = NSURL::URLWithString(text->string(), base.as<NSURL>());
        if (!made) {
            throw ArchiveFailure("a text is no URL");
        }
        spend(resolved_, made->absoluteString().size(), limit_);
        return made;
    }

    void readArray(const NSDictionary& fields, bool isMutable, Known& known, NSKeyedUnarchiver& coder) {
        const ArchiveNesting::Place place(nesting_, known.node, containerKind(isMutable));
        const auto array = isMutable ? NSMutableArray::array() : nullptr;
        announce(array, known);
        std::vector<id> objects;
        for (const auto& member : members(fields, "NS.objects", known, coder)) {
            if (isMutable) {
                array->addObject(member.object);
            } else {
                objects.push_back(member.object);
            }
        }
        if (!isMutable) {
            known.object = NSArray::arrayWithObjects(std::move(objects));
        }
    }

    void readSet(const NSDictionary& fields, bool isMutable, Known& known, NSKeyedUnarchiver& coder) {
        const ArchiveNesting::Place place(nesting_, known.node, containerKind(isMutable));
        const auto set = NSMutableSet::set();
        announce(isMutable ? set : nullptr, known);
        const auto objects = members(fields, "NS.objects", known, coder);
        requireQuickToFill(objects);
        for (const auto& member : objects) {
            set->addObject(member.object);
        }
        if (!isMutable) {
            known.object = set->copy();
        }
    }

    void readDictionary(const NSDictionary& fields, bool isMutable, Known& known, NSKeyedUnarchiver& coder) {
        const ArchiveNesting::Place place(nesting_, known.node, containerKind(isMutable));
        const auto dictionary = NSMutableDictionary::dictionary();
        announce(isMutable ? dictionary : nullptr, known);
        const auto keys = members(fields, "NS.keys", known, coder);
        const auto values = members(fields, "NS.objects", known, coder);
        if (keys.size() != values.size()) {
            throw ArchiveFailure("a dictionary has not one value for each key");
        }
        requireQuickToFill(keys);
        requireFewCopies(keys);
        for (std::size_t i = 0; i < keys.size(); ++i) {
            dictionary->setObjectForKey(values[i].object, keys[i].object);
        }
        if (!isMutable) {
            known.object = dictionary->copy();
        }
    }

    static Kind containerKind(bool isMutable) { return isMutable ? Kind::MutableContainer : Kind::Container; }

    /// Lets a mutable container, null for others, be referred to before it is filled.
    template <class Container>
    void announce(const Ref<Container>& container, Known& known) {
        if (container) {
            known.object = container;
            circular_.push_back([container] { container->removeAllObjects(); });
        }
    }

    /// The objects that a container refers to; they add to its weight.
    Members members(const NSDictionary& fields, std::string_view key, Known& known,
                    NSKeyedUnarchiver& coder) {
        const auto references = valueOf<NSArray>(fields, key);
        spend(held_, references->count(), referencesPerByte * size_);
        Members members;
        members.reserve(references->count());
        for (const auto& reference : *references) {
            const auto number = numberIn(reference);
            auto member = object(number, coder);
            if (!member) {
                throw ArchiveFailure("a container holds nil");
            }
            const auto weight = known_[number].weight;
            spend(known.weight, weight, limit_);
            members.push_back({std::move(member), weight});
        }
        return members;
    }

    void requireQuickToFill(const Members& members) {
        std::unordered_map<std::size_t, std::uint64_t> sameHash;
        for (const auto& [object, weight] : members) {
            spend(compared_, sameHash[object->hash()]++ * weight,
                  freeComparisons + comparisonsPerObject * limit_);
        }
    }

    /// Dictionaries copy mutable keys, so that one such key in many of them becomes many.
    void requireFewCopies(const Members& keys) {
        for (const auto& [key, weight] : keys) {
            if (key.as<NSMutableArray>() || key.as<NSMutableSet>() || key.as<NSMutableDictionary>()) {
                spend(held_, weight, referencesPerByte * size_);
            }
        }
    }

    static void spend(std::uint64_t& spent, std::uint64_t amount, std::uint64_t limit) {
        spent += amount;
        if (spent > limit) {
            throw ArchiveFailure("the objects are out of proportion to the archive");
        }
    }

    void readCoding(const std::string& name, const NSDictionary& fields, Known& known,
                    NSKeyedUnarchiver& coder) {
        auto* cls = NSClassFromString(name);
        if (!cls || !cls->conformsToProtocol(NSCoding::protocol()) ||
            (coder.requiresSecureCoding() && !cls->conformsToProtocol(NSSecureCoding::protocol()))) {
            throw ArchiveFailure("objects of class " + name + " are not read");
        }
        const ArchiveNesting::Place place(nesting_, known.node, Kind::Coding);
        known.object = cls->makeInstance();
        const auto* outer = std::exchange(fields_, &fields);
        bool isFilled = false;
        try {
            isFilled = send<bool>(known.object, "initWithCoder:"_sel,
                                  std::static_pointer_cast<NSCoder>(refTo(coder)));
        } catch (...) {
            fields_ = outer;
            throw;
        }
        fields_ = outer;
        if (coder.error() || !isFilled) {
            throw ArchiveFailure("an object of class " + name + " has other contents");
        }
    }

    const std::uint64_t size_;
    const std::uint64_t limit_;
    const Ref<NSArray> objects_;
    std::vector<Known> known_;
    const Ref<NSDictionary> top_;
    const NSDictionary* fields_;  // of the object that is being read
    ArchiveNesting nesting_;
    std::uint64_t held_ = 0;
    std::uint64_t resolved_ = 0;
    std::uint64_t compared_ = 0;
    std::vector<std::function<void()>> circular_;
};

}  // namespace internal

namespace {

Ref<NSError> errorBecause(const std::string& reason) {
    return NSError::errorWithDomain(std::string(NSCocoaErrorDomain),
                                    static_cast<std::int64_t>(NSCocoaErrorCode::CoderReadCorrupt),
                                    NSDictionary::dictionary({{NSLocalizedDescriptionKey, reason}}));
}

}  // namespace

QZ_DEFINE_CLASS(NSKeyedUnarchiver, cls) {
    cls.classMethod("unarchiveObjectWithData:",
                    [](Class&, const NSData& data) { return unarchiveObjectWithData(data); });
    cls.property("requiresSecureCoding", &NSKeyedUnarchiver::requiresSecureCoding,
                 &NSKeyedUnarchiver::setRequiresSecureCoding);
}

id NSKeyedUnarchiver::unarchiveObjectWithData(const NSData& data) {
    const auto unarchiver = initForReadingFromData(data, nullptr);
    if (!unarchiver) {
        return nullptr;
    }
    unarchiver->setRequiresSecureCoding(false);
    return unarchiver->decodeObjectForKey(NSKeyedArchiveRootObjectKey);
}

Ref<NSKeyedUnarchiver> NSKeyedUnarchiver::initForReadingFromData(const NSData& data, Ref<NSError>* error) {
    const auto list = NSPropertyListSerialization::propertyListWithData(
        data, NSPropertyListReadOptions::Immutable, nullptr, error);
    if (!list) {
        return nullptr;
    }
    try {
        const auto archive = list.as<NSDictionary>();
        if (!archive) {
            throw internal::ArchiveFailure("the list is no keyed archive");
        }
        return make<NSKeyedUnarchiver>(std::make_unique<internal::KeyedArchiveReader>(*archive, data.size()));
    } catch (const internal::ArchiveFailure& failure) {
        if (error) {
            *error = errorBecause(failure.what());
        }
        return nullptr;
    }
}

NSKeyedUnarchiver::NSKeyedUnarchiver(std::unique_ptr<internal::KeyedArchiveReader> reader)
    : reader_(std::move(reader)) {}

NSKeyedUnarchiver::~NSKeyedUnarchiver() = default;

bool NSKeyedUnarchiver::containsValueForKey(std::string_view key) const {
    return !error_ && reader_->field(key);
}

// Failures do not pass through initWithCoder() as exceptions: the rest of it reads nil, false and 0.
id NSKeyedUnarchiver::decodeObjectForKey(std::string_view key) {
    const auto value = error_ ? id() : reader_->field(key);
    if (!value) {
        return nullptr;
    }
    try {
        auto object = reader_->referred(value, *this);
        if (reader_->isAtTop()) {
            reader_->keep();
        }
        return object;
    } catch (const std::exception& exception) {
        fail(exception.what());
    }
    if (reader_->isAtTop()) {
        reader_->discard();
    }
    return nullptr;
}

/// Numbers may stand under the key itself or, as objects, be referred to.
template <class T>
T NSKeyedUnarchiver::decodeScalar(std::string_view key) {
    auto value = error_ ? id() : reader_->field(key);
    if (value.as<PropertyListUID>()) {
        value = decodeObjectForKey(key);
    }
    if (!value) {
        return T();
    }
    const auto number = unbox<T>(value);
    if (!number) {
        fail("the value of " + std::string(key) + " is of another kind");
    }
    return number.value_or(T());
}

bool NSKeyedUnarchiver::decodeBoolForKey(std::string_view key) {
    return decodeScalar<bool>(key);
}

std::int64_t NSKeyedUnarchiver::decodeInt64ForKey(std::string_view key) {
    return decodeScalar<std::int64_t>(key);
}

double NSKeyedUnarchiver::decodeDoubleForKey(std::string_view key) {
    return decodeScalar<double>(key);
}

void NSKeyedUnarchiver::fail(const std::string& reason) {
    if (!error_) {
        error_ = errorBecause(reason);
    }
}

}  // namespace qz
