#include "Platform/Foundation/NSKeyedArchiver.h"

#include <cstring>
#include <exception>
#include <unordered_map>
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

/// The nearest class that other processes know too.
Class& archivedClass(const Object& object) {
    auto* cls = &object.isa();
    while (cls->isMadeAtRunTime()) {
        cls = cls->superclass();
    }
    return *cls;
}

/// Equal for numbers that are written alike.
std::string bytesOf(const NSNumber& number) {
    return std::visit(
        [&](auto value) {
            std::string bytes(1 + sizeof value, static_cast<char>(number.value().index()));
            std::memcpy(bytes.data() + 1, &value, sizeof value);
            return bytes;
        },
        number.value());
}

}  // namespace

class KeyedArchiveWriter {
public:
    explicit KeyedArchiveWriter(bool requiresSecureCoding) : requiresSecureCoding_(requiresSecureCoding) {
        objects_.emplace_back(archiveNull);
    }

    void setField(std::string_view key, const id& value) { fields_->setObjectForKey(value, archiveKey(key)); }

    /// The number of the object, under which it stands in the archive. `coder` is given to its
    /// encodeWithCoder().
    id reference(const id& object, NSKeyedArchiver& coder) {
        return PropertyListUID::uidWithValue(object ? numberOf(object, coder) : 0);
    }

    [[nodiscard]] id archive() const {
        return NSDictionary::dictionary({{archiveVersionKey, archiveVersion},
                                         {archiverKey, "NSKeyedArchiver"},
                                         {archiveTopKey, top_},
                                         {archiveObjectsKey, NSArray::arrayWithObjects(objects_)}});
    }

private:
    struct Written {
        id object;  // held: the address of a temporary object would come again
        std::uint64_t number;
        ArchiveNesting::Node node;
    };
    using Fields = Ref<NSMutableDictionary>;

    std::uint64_t append(id entry) {
        objects_.push_back(std::move(entry));
        return objects_.size() - 1;
    }

    std::uint64_t numberOf(const id& object, NSKeyedArchiver& coder) {
        if (const auto text = object.as<NSString>()) {
            return numberOfScalar(texts_, text->string(), object);
        }
        if (const auto number = object.as<NSNumber>()) {
            return numberOfScalar(numbers_, bytesOf(*number), object);
        }
        const auto [place, isNew] = written_.try_emplace(object.get());
        auto& written = place->second;
        if (!isNew) {
            nesting_.refer(written.node);
            return written.number;
        }
        written.object = object;
        if (unbox<NSData>(object)) {
            written.number = append(object);
        } else {
            const auto fields = NSMutableDictionary::dictionary();
            written.number = append(fields);
            write(object, fields, written.node, coder);
        }
        return written.number;
    }

    std::uint64_t numberOfScalar(std::unordered_map<std::string, std::uint64_t>& known,
                                 const std::string& bytes, const id& object) {
        const auto [place, isNew] = known.try_emplace(bytes, objects_.size());
        return isNew ? append(object) : place->second;
    }

    /// Coding comes first, so that subclasses of the platform's classes may choose it.
    void write(const id& object, const Fields& fields, ArchiveNesting::Node& node, NSKeyedArchiver& coder) {
        if (object->conformsToProtocol(NSCoding::protocol())) {
            writeCoding(object, fields, node, coder);
        } else if (const auto array = object.as<NSArray>()) {
            const bool isMutable = object.as<NSMutableArray>() != nullptr;
            describe(fields, isMutable ? NSMutableArray::cls() : NSArray::cls());
            const ArchiveNesting::Place place(nesting_, node, containerKind(isMutable));
            fields->setObjectForKey(references(*array, coder), "NS.objects");
        } else if (const auto set = object.as<NSSet>()) {
            const bool isMutable = object.as<NSMutableSet>() != nullptr;
            describe(fields, isMutable ? NSMutableSet::cls() : NSSet::cls());
            const ArchiveNesting::Place place(nesting_, node, containerKind(isMutable));
            fields->setObjectForKey(references(*set, coder), "NS.objects");
        } else if (const auto entries = object.as<NSDictionary>()) {
            const bool isMutable = object.as<NSMutableDictionary>() != nullptr;
            describe(fields, isMutable ? NSMutableDictionary::cls() : NSDictionary::cls());
            const ArchiveNesting::Place place(nesting_, node, containerKind(isMutable));
            fields->setObjectForKey(references(*entries->allKeys(), coder), "NS.keys");
            fields->setObjectForKey(references(*entries->allValues(), coder), "NS.objects");
        } else {
            const ArchiveNesting::Place place(nesting_, node, Kind::Leaf);
            writeLeaf(object, fields, coder);
        }
    }

    void writeLeaf(const id& object, const Fields& fields, NSKeyedArchiver& coder) {
        if (const auto date = object.as<NSDate>()) {
            describe(fields, NSDate::cls());
            fields->setObjectForKey(date->timeIntervalSinceReferenceDate(), "NS.time");
        } else if (const auto url = object.as<NSURL>()) {
            describe(fields, NSURL::cls());
            fields->setObjectForKey(reference(nullptr, coder), "NS.base");
            fields->setObjectForKey(reference(url->absoluteString(), coder), "NS.relative");
        } else if (object.as<NSNull>()) {
            describe(fields, NSNull::cls());
        } else {
            throw ArchiveFailure("objects of class " + object->isa().name() + " cannot be archived");
        }
    }

    void writeCoding(const id& object, const Fields& fields, ArchiveNesting::Node& node,
                     NSKeyedArchiver& coder) {
        auto& cls = archivedClass(*object);
        if (requiresSecureCoding_ && !cls.conformsToProtocol(NSSecureCoding::protocol())) {
            throw ArchiveFailure("class " + cls.name() + " does not adopt NSSecureCoding");
        }
        describe(fields, cls);
        const ArchiveNesting::Place place(nesting_, node, Kind::Coding);
        const auto outer = std::exchange(fields_, fields);
        try {
            send(object, "encodeWithCoder:"_sel, std::static_pointer_cast<NSCoder>(refTo(coder)));
        } catch (...) {
            fields_ = outer;
            throw;
        }
        fields_ = outer;
        if (coder.error()) {
            throw ArchiveFailure("what class " + cls.name() + " refers to cannot be archived");
        }
    }

    static Kind containerKind(bool isMutable) { return isMutable ? Kind::MutableContainer : Kind::Container; }

    template <class Container>
    id references(const Container& objects, NSKeyedArchiver& coder) {
        std::vector<id> numbers;
        numbers.reserve(objects.count());
        for (const auto& object : objects) {
            numbers.push_back(reference(object, coder));
        }
        return NSArray::arrayWithObjects(std::move(numbers));
    }

    /// Refers to the description of a class, which is written when it is needed first.
    void describe(const Fields& fields, Class& cls) {
        const auto [place, isNew] = classes_.try_emplace(&cls, objects_.size());
        if (isNew) {
            std::vector<id> names;
            for (auto* ancestor = &cls; ancestor; ancestor = ancestor->superclass()) {
                names.emplace_back(ancestor->name());
            }
            append(NSDictionary::dictionary(
                {{archiveClassNameKey, cls.name()}, {archiveClassesKey, NSArray::arrayWithObjects(names)}}));
        }
        fields->setObjectForKey(PropertyListUID::uidWithValue(place->second), archiveClassKey);
    }

    bool requiresSecureCoding_;
    std::vector<id> objects_;
    Fields top_ = NSMutableDictionary::dictionary();
    Fields fields_ = top_;  // of the object that is being written
    std::unordered_map<std::string, std::uint64_t> texts_;
    std::unordered_map<std::string, std::uint64_t> numbers_;
    std::unordered_map<const Class*, std::uint64_t> classes_;
    std::unordered_map<const Object*, Written> written_;  // its elements do not move
    ArchiveNesting nesting_;
};

}  // namespace internal

QZ_DEFINE_CLASS(NSKeyedArchiver, cls) {
    cls.classMethod("archivedDataWithRootObject:", [](Class&, const id& object) -> id {
        const auto data = archivedDataWithRootObject(object);
        return data ? id(*data) : id();
    });
}

std::optional<NSData> NSKeyedArchiver::archivedDataWithRootObject(const id& object) {
    return archivedDataWithRootObject(object, false, nullptr);
}

std::optional<NSData> NSKeyedArchiver::archivedDataWithRootObject(const id& object,
                                                                  bool requiringSecureCoding,
                                                                  Ref<NSError>* error) {
    const auto archiver = initRequiringSecureCoding(requiringSecureCoding);
    archiver->encodeObjectForKey(object, NSKeyedArchiveRootObjectKey);
    auto data = archiver->encodedData();
    if (error && !data) {
        *error = archiver->error();
    }
    return data;
}

Ref<NSKeyedArchiver> NSKeyedArchiver::initRequiringSecureCoding(bool requiresSecureCoding) {
    return make<NSKeyedArchiver>(requiresSecureCoding);
}

NSKeyedArchiver::NSKeyedArchiver(bool requiresSecureCoding)
    : writer_(std::make_unique<internal::KeyedArchiveWriter>(requiresSecureCoding)) {}

NSKeyedArchiver::~NSKeyedArchiver() = default;

// Failures do not pass through encodeWithCoder() as exceptions: the rest of it runs without effect.
void NSKeyedArchiver::encodeObjectForKey(const id& object, std::string_view key) {
    if (error_) {
        return;
    }
    try {
        writer_->setField(key, writer_->reference(object, *this));
    } catch (const std::exception& exception) {
        fail(exception.what());
    }
}

void NSKeyedArchiver::encodeBoolForKey(bool value, std::string_view key) {
    writer_->setField(key, value);
}

void NSKeyedArchiver::encodeInt64ForKey(std::int64_t value, std::string_view key) {
    writer_->setField(key, value);
}

void NSKeyedArchiver::encodeDoubleForKey(double value, std::string_view key) {
    writer_->setField(key, value);
}

std::optional<NSData> NSKeyedArchiver::encodedData() {
    if (error_) {
        return std::nullopt;
    }
    Ref<NSError> error;
    auto data = NSPropertyListSerialization::dataWithPropertyList(writer_->archive(),
                                                                  NSPropertyListFormat::Binary, &error);
    if (!data) {
        fail(error->localizedDescription());
    }
    return data;
}

void NSKeyedArchiver::fail(const std::string& reason) {
    error_ = NSError::errorWithDomain(std::string(NSCocoaErrorDomain),
                                      static_cast<std::int64_t>(NSCocoaErrorCode::CoderInvalidValue),
                                      NSDictionary::dictionary({{NSLocalizedDescriptionKey, reason}}));
}

}  // namespace qz
