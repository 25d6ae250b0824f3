// Keyed archives from anywhere: nothing breaks, and what came back from an archive of our own is written
// again. The input is read as an archive, and as the plan of one, which reaches the objects at once.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSKeyedArchiver.h"
#include "Platform/Foundation/NSKeyedUnarchiver.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/PropertyListUID.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace {

/// Refers to other objects weakly: strongly it could close circles.
class Node : public qz::NSObject {
    QZ_OBJECT(Node, NSObject)
public:
    void encodeWithCoder(const qz::Ref<qz::NSCoder>& coder) {
        coder->encodeObjectForKey(owner_.lock(), "owner");
        coder->encodeObjectForKey(text_, "NS.relative");
        coder->encodeDoubleForKey(number_, "NS.time");
    }
    bool initWithCoder(const qz::Ref<qz::NSCoder>& coder) {
        owner_ = coder->decodeObjectForKey("owner").ref();
        text_ = coder->decodeTextForKey("NS.relative").value_or("");
        number_ = coder->decodeDoubleForKey("NS.time");
        return true;
    }

protected:
    Node() = default;

private:
    std::weak_ptr<qz::Object> owner_;
    std::string text_;
    double number_ = 0;
};

QZ_DEFINE_CLASS(Node, cls) {
    cls.adopts<qz::NSCoding>();
}

constexpr std::array classes{
    "NSArray", "NSMutableArray", "NSSet",  "NSMutableSet", "NSDictionary", "NSMutableDictionary",
    "NSURL",   "NSDate",         "NSNull", "NSData",       "NSString",     "Node"};

/// The bytes one after the other, then zeros.
class Plan {
public:
    explicit Plan(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    [[nodiscard]] bool isDone() const { return bytes_.empty(); }
    std::uint8_t next() {
        const auto byte = bytes_.empty() ? std::uint8_t{0} : bytes_.front();
        bytes_ = bytes_.subspan(bytes_.empty() ? 0 : 1);
        return byte;
    }
    qz::id reference() { return qz::PropertyListUID::uidWithValue(next()); }
    qz::id references() {
        std::vector<qz::id> all;
        for (auto count = next() % 8; count > 0; --count) {
            all.push_back(reference());
        }
        return qz::NSArray::arrayWithObjects(std::move(all));
    }

private:
    std::span<const std::uint8_t> bytes_;
};

/// An object that has what some class asks for: the first of the objects describe the classes.
qz::id object(Plan& plan) {
    const auto kind = plan.next();
    if (kind % 16 >= classes.size()) {
        return kind % 2 == 0 ? qz::id(std::string(kind / 16U, 'a')) : qz::id(kind);
    }
    return qz::NSDictionary::dictionary({{"$class", qz::PropertyListUID::uidWithValue(kind % 16U + 1)},
                                         {"NS.keys", plan.references()},
                                         {"NS.objects", plan.references()},
                                         {"NS.base", plan.reference()},
                                         {"NS.relative", plan.reference()},
                                         {"NS.time", plan.next()},
                                         {"NS.data", qz::NSData()},
                                         {"NS.string", "text"},
                                         {"owner", plan.reference()}});
}

qz::NSData archive(Plan plan) {
    std::vector<qz::id> objects{"$null"};
    for (const auto* name : classes) {
        objects.emplace_back(qz::NSDictionary::dictionary({{"$classname", name}}));
    }
    while (!plan.isDone()) {
        objects.push_back(object(plan));
    }
    const auto root = qz::PropertyListUID::uidWithValue(classes.size() + 1);
    const auto list =
        qz::NSDictionary::dictionary({{"$version", 100000},
                                      {"$archiver", "NSKeyedArchiver"},
                                      {"$top", qz::NSDictionary::dictionary({{"root", root}})},
                                      {"$objects", qz::NSArray::arrayWithObjects(std::move(objects))}});
    return qz::NSPropertyListSerialization::dataWithPropertyList(list, qz::NSPropertyListFormat::Binary,
                                                                 nullptr)
        .value();
}

void check(const qz::NSData& bytes) {
    const auto object = qz::NSKeyedUnarchiver::unarchiveObjectWithData(bytes);
    const auto written = object ? qz::NSKeyedArchiver::archivedDataWithRootObject(object) : std::nullopt;
    // The bounds that go by the number of bytes may refuse this shorter archive.
    const auto again = written ? qz::NSKeyedUnarchiver::unarchiveObjectWithData(*written) : nullptr;
    if (again && !qz::NSKeyedArchiver::archivedDataWithRootObject(again)) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span bytes(data, size);
    check(qz::NSData(std::as_bytes(bytes)));
    check(archive(Plan(bytes)));
    return 0;
}
