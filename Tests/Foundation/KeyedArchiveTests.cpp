// Keyed archives: what is archived comes back as it was, shared and circular; hostile archives give nil.
#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <limits>
#include <tuple>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/NSSet.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/PropertyListUID.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSKeyedArchiver/NSKeyedArchiver+Convenience.h"
#include "QZUtils/Extensions/NSKeyedUnarchiver/NSKeyedUnarchiver+Convenience.h"

namespace qz::test {

using NSKeyedArchiverClass::archivedDataWithObject;
using NSKeyedUnarchiverClass::unarchivedRootObjectWithData;

class Chapter : public NSObject {
    QZ_OBJECT(Chapter, NSObject)
public:
    id contents;
    std::weak_ptr<Object> owner;
    std::string title;
    std::int64_t pages = 0;
    double price = 0;
    bool isRead = false;

    void encodeWithCoder(const Ref<NSCoder>& coder) {
        if (title == "throws") {
            raise(NSInternalInconsistencyException, "not today");
        }
        coder->encodeObjectForKey(contents, "contents");
        coder->encodeObjectForKey(owner.lock(), "owner");
        coder->encodeObjectForKey(title, "$title");  // beside the layout's own words
        coder->encodeInt64ForKey(pages, "pages");
        coder->encodeDoubleForKey(price, "price");
        coder->encodeBoolForKey(isRead, "isRead");
    }
    bool initWithCoder(const Ref<NSCoder>& coder) {
        contents = coder->decodeObjectForKey("contents");
        owner = coder->decodeObjectForKey("owner").ref();
        title = coder->decodeTextForKey("$title").value_or("untitled");
        pages = coder->decodeInt64ForKey("pages");
        price = coder->decodeDoubleForKey("price");
        isRead = coder->decodeBoolForKey("isRead");
        return title != "refuses";
    }

protected:
    Chapter() = default;
};
QZ_DEFINE_CLASS(Chapter, cls) {
    cls.adopts<NSCoding>();
}

class SecureChapter : public Chapter {
    QZ_OBJECT(SecureChapter, Chapter)
};
QZ_DEFINE_CLASS(SecureChapter, cls) {
    cls.adopts<NSSecureCoding>();
}

Ref<Chapter> chapter(const char* title, id contents = nullptr) {
    auto made = make<Chapter>();
    made->title = title;
    made->contents = std::move(contents);
    return made;
}

id reread(const id& object) {
    const auto data = archivedDataWithObject(object);
    EXPECT_TRUE(data);
    return unarchivedRootObjectWithData(data);
}

NSData written(const id& list, NSPropertyListFormat format = NSPropertyListFormat::Binary) {
    return NSPropertyListSerialization::dataWithPropertyList(list, format, nullptr).value();
}

TEST(KeyedArchive, BoxedValuesComeBackAsTheyWere) {
    const id values = NSDictionary::dictionary({{"key", 1}, {2, NSSet::setWithObjects({"a", 2.5})}});
    const id cases[] = {
        "",
        "plain",
        "$null",
        "gr\u00F6\u00DFer \U0001F4F0",
        true,
        false,
        0,
        -5,
        INT64_MIN,
        UINT64_MAX,
        1.0,
        std::numeric_limits<double>::infinity(),
        NSData(),
        NSData::dataWithText("\x01\xFF"),
        NSDate::dateWithTimeIntervalSinceReferenceDate(-0.125),
        NSURL::URLWithString("https://example.org/a%20b?x#y"),
        NSNull::null(),
        NSArray::arrayWithObjects({}),
        NSArray::arrayWithObjects({1, true, 1.0, "1", NSNull::null(), values, values}),
        NSMutableArray::arrayWithObjects({NSMutableDictionary::dictionary({{values, 1}})}),
        NSMutableSet::set(),
        values,
    };
    for (const auto& value : cases) {
        const auto data = archivedDataWithObject(value);
        ASSERT_TRUE(data) << descriptionOf(value);
        const auto list = NSPropertyListSerialization::propertyListWithData(
            *data, NSPropertyListReadOptions::Immutable, nullptr, nullptr);
        for (const auto& form : {*data, written(list, NSPropertyListFormat::XML)}) {
            const auto back = unarchivedRootObjectWithData(form);
            EXPECT_EQ(back, value) << descriptionOf(value);
            EXPECT_EQ(&back->isa(), &value->isa()) << descriptionOf(value);
        }
    }
    const auto mixed = reread(cases[18]).as<NSArray>();
    EXPECT_TRUE(mixed->objectAtIndex(1).as<NSNumber>()->isBool());  // equal numbers of three kinds
    EXPECT_TRUE(mixed->objectAtIndex(2).as<NSNumber>()->isDouble());
    EXPECT_EQ(reread(nullptr), nullptr);
    EXPECT_EQ(unarchivedRootObjectWithData(std::nullopt), nullptr);
}

TEST(KeyedArchive, SharedAndCircularObjectsComeBackAsSuch) {
    const auto shared = chapter("shared");
    const auto first = chapter("first", NSSet::setWithObjects({shared}));
    const auto second = chapter("second", shared);
    const auto book = chapter("book", NSArray::arrayWithObjects({first, second}));
    first->owner = second->owner = book;
    shared->owner = shared;
    first->pages = -7;
    first->price = 0.25;
    first->isRead = true;

    const auto back = reread(book).as<Chapter>();
    ASSERT_TRUE(back);
    const auto chapters = back->contents.as<NSArray>();
    const auto one = chapters->firstObject().as<Chapter>();
    const auto two = chapters->lastObject().as<Chapter>();
    EXPECT_EQ(one->owner.lock(), back);
    EXPECT_EQ(two->owner.lock(), back);
    EXPECT_EQ(one->contents.as<NSSet>()->allObjects()->firstObject(), two->contents);
    EXPECT_EQ(two->contents.as<Chapter>()->owner.lock(), two->contents.ref());
    EXPECT_THAT((std::tuple(one->title, one->pages, one->price, one->isRead)),
                ::testing::FieldsAre("first", -7, 0.25, true));

    // A mutable container exists before its objects, an immutable one does not.
    const auto list = NSMutableArray::arrayWithObjects({first});
    first->owner = list;
    const auto rebuilt = reread(list);
    EXPECT_EQ(rebuilt.as<NSArray>()->firstObject().as<Chapter>()->owner.lock(), rebuilt.ref());
    const auto fixed = list->copy();
    first->owner = fixed;
    EXPECT_FALSE(archivedDataWithObject(fixed));
}

TEST(KeyedArchive, HasTheLayoutThatOthersRead) {
    const auto data = archivedDataWithObject(NSArray::arrayWithObjects(
        {"text", "text", 7, NSDate::dateWithTimeIntervalSinceReferenceDate(1.5), make<SecureChapter>(),
         NSDictionary::dictionary({{"k", NSURL::URLWithString("https://example.org/")}})}));
    const auto path = ::testing::TempDir() + "qz-archive-" + std::to_string(::getpid());
    std::ofstream(path, std::ios::binary) << data->text();
    std::ofstream(path + ".py") << R"(
import plistlib, sys
a = plistlib.load(open(sys.argv[1], 'rb'))
o = a['$objects']
assert (a['$version'], a['$archiver'], o[0]) == (100000, 'NSKeyedArchiver', '$null')
cls = lambda e: (o[e['$class'].data]['$classname'], o[e['$class'].data]['$classes'])
root = o[a['$top']['root'].data]
assert cls(root) == ('NSArray', ['NSArray', 'NSObject'])
items = root['NS.objects']
assert items[0] == items[1] and o[items[0].data] == 'text' and o[items[2].data] == 7
date, coded, entries = (o[items[i].data] for i in (3, 4, 5))
assert cls(date)[0] == 'NSDate' and date['NS.time'] == 1.5
assert cls(coded)[1] == ['SecureChapter', 'Chapter', 'NSObject']
assert coded['contents'].data == 0 and coded['isRead'] is False and o[coded['$$title'].data] == ''
assert o[entries['NS.keys'][0].data] == 'k'
url = o[entries['NS.objects'][0].data]
assert url['NS.base'].data == 0 and o[url['NS.relative'].data] == 'https://example.org/'
assert len([e for e in o if isinstance(e, dict) and e.get('$classname') == 'NSArray']) == 1
)";
    EXPECT_EQ(std::system(("python3 " + path + ".py " + path).c_str()), 0);
    std::remove(path.c_str());
    std::remove((path + ".py").c_str());
}

/// The numbers of the class descriptions in archive().
enum Described : std::uint64_t {
    none,
    array,
    mutableArray,
    set,
    dictionary,
    date,
    url,
    data,
    text,
    coded,
    unknown
};
constexpr std::uint64_t firstObject = 20;

/// A reference to one of the objects given to archive(), counted from 0.
id at(std::uint64_t index) {
    return PropertyListUID::uidWithValue(firstObject + index);
}
const id& nil() {
    static const id reference = PropertyListUID::uidWithValue(0);
    return reference;
}

/// An archive of these objects, the first of which is the root.
NSData archive(const std::vector<id>& objects, id top = NSDictionary::dictionary({{"root", at(0)}})) {
    std::vector<id> all{"$null"};
    for (const auto* name : {"NSArray", "NSMutableArray", "NSSet", "NSDictionary", "NSDate", "NSURL",
                             "NSData", "NSMutableString", "Chapter", "NoSuchClass"}) {
        all.emplace_back(NSDictionary::dictionary({{"$classname", name}}));
    }
    all.resize(firstObject, id(0));
    all.insert(all.end(), objects.begin(), objects.end());
    return written(NSDictionary::dictionary({{"$version", 100000},
                                             {"$archiver", "NSKeyedArchiver"},
                                             {"$top", std::move(top)},
                                             {"$objects", NSArray::arrayWithObjects(std::move(all))}}));
}

id entry(std::uint64_t cls, std::vector<NSDictionary::Entry> fields = {}) {
    fields.emplace_back("$class", PropertyListUID::uidWithValue(cls));
    return NSDictionary::dictionary(fields);
}

id holding(std::uint64_t cls, std::vector<id> references) {
    return entry(cls, {{"NS.objects", NSArray::arrayWithObjects(std::move(references))}});
}

id urlOf(const id& base, const id& relative) {
    return entry(url, {{"NS.base", base}, {"NS.relative", relative}});
}

TEST(KeyedArchive, ReadsWhatOnlyOthersWrite) {
    const std::pair<NSData, id> cases[] = {
        {archive({urlOf(at(1), at(3)), urlOf(nil(), at(2)), "https://example.org/a/b", "c"}),
         NSURL::URLWithString("https://example.org/a/c")},
        {archive({entry(data, {{"NS.data", NSData::dataWithText("bytes")}})}), NSData::dataWithText("bytes")},
        {archive({entry(text, {{"NS.string", "text"}})}), "text"},
    };
    for (const auto& [bytes, object] : cases) {
        EXPECT_EQ(unarchivedRootObjectWithData(bytes), object);
    }
    const auto bare = unarchivedRootObjectWithData(archive({entry(coded, {{"pages", at(1)}}), 7}));
    EXPECT_EQ(bare.as<Chapter>()->pages, 7);  // a number as an object
    EXPECT_EQ(bare.as<Chapter>()->title, "untitled");
}

/// Arrays in each other, in chains of which each ends in the one before.
std::vector<id> linkedChains(std::size_t count, std::size_t length) {
    std::vector<id> objects(1);
    std::vector<id> starts;
    for (std::size_t i = 0; i < count; ++i) {
        starts.push_back(at(objects.size()));
        for (std::size_t j = 1; j < length; ++j) {
            objects.push_back(holding(array, {at(objects.size() + 1)}));
        }
        objects.push_back(i == 0 ? id("end") : holding(array, {starts[i - 1]}));
    }
    objects[0] = holding(array, starts);
    return objects;
}

/// Two objects that hold the next two twice each, and so on: 2^39 ways lead to the last ones.
std::vector<id> laughs() {
    std::vector<id> objects{holding(set, {at(1), at(2)})};
    for (std::size_t i = 1; i < 80; i += 2) {
        objects.push_back(holding(array, {at(i + 2), at(i + 2)}));
        objects.push_back(holding(array, {at(i + 3), at(i + 3)}));
    }
    objects.insert(objects.end(), {holding(array, {}), holding(array, {})});
    return objects;
}

/// Many objects that share one long text or one long list of references.
std::vector<id> manyOf(std::size_t count, const id& object, const id& shared, Described root = array) {
    std::vector<id> objects(2, shared);
    std::vector<id> references;
    for (std::size_t i = 0; i < count; ++i) {
        references.push_back(at(objects.size()));
        objects.push_back(object);
    }
    objects[0] = holding(root, references);
    return objects;
}

TEST(KeyedArchive, HostileArchivesGiveNil) {
    const id zero = PropertyListUID::uidWithValue(firstObject - 1);
    const id longList = holding(mutableArray, std::vector<id>(20000, zero));
    const auto listOf = [](const id& object) { return NSArray::arrayWithObjects({object}); };
    EXPECT_EQ(unarchivedRootObjectWithData(archive({holding(array, {at(1), at(1)}), 5})),
              id(NSArray::arrayWithObjects({5, 5})));
    EXPECT_TRUE(unarchivedRootObjectWithData(archive(linkedChains(1, 512))));
    EXPECT_TRUE(unarchivedRootObjectWithData(archive(linkedChains(5, 100))));

    const std::pair<const char*, NSData> cases[] = {
        {"no property list", NSData::dataWithText("bplist00")},
        {"no dictionary", written(NSArray::arrayWithObjects({1}))},
        {"no objects", written(NSDictionary::dictionary({{"$archiver", "NSKeyedArchiver"}}))},
        {"root beyond the objects", archive({})},
        {"reference beyond the objects", archive({holding(array, {at(1)})})},
        {"largest reference", archive({holding(array, {PropertyListUID::uidWithValue(UINT64_MAX)})})},
        {"nil in a container", archive({holding(array, {nil()})})},
        {"unknown class", archive({entry(unknown)})},
        {"class beyond the objects", archive({entry(1000)})},
        {"class that is a text", archive({entry(firstObject + 1), "NSArray"})},
        {"class that is an object", archive({entry(firstObject)})},
        {"no class", archive({NSDictionary::dictionary()})},
        {"date for an object", archive({NSDate::date()})},
        {"reference for an object", archive({at(1), 5})},
        {"array without objects", archive({entry(array)})},
        {"objects that are no list", archive({entry(array, {{"NS.objects", "x"}})})},
        {"object that is no reference", archive({holding(array, {1})})},
        {"key without a value", archive({entry(dictionary, {{"NS.keys", listOf(at(1))},
                                                            {"NS.objects", NSArray::arrayWithObjects({})}}),
                                         5})},
        {"date without a time", archive({entry(date, {{"NS.time", "x"}})})},
        {"data without bytes", archive({entry(data, {{"NS.data", "x"}})})},
        {"text that is no URL", archive({urlOf(nil(), at(1)), "a b"})},
        {"URL relative to itself", archive({urlOf(at(0), at(1)), "a"})},
        {"URL relative to a text", archive({urlOf(at(1), at(1)), "a"})},
        {"long URLs", archive(manyOf(2000, urlOf(nil(), at(1)), std::string(50000, 'p')))},
        {"one long list for many", archive(manyOf(30, longList, "x"))},
        {"one long key for many",
         archive(manyOf(30, entry(dictionary, {{"NS.keys", listOf(at(1))}, {"NS.objects", listOf(zero)}}),
                        longList))},
        {"container in itself", archive({holding(array, {at(0)})})},
        {"mutable container in itself", archive({holding(mutableArray, {at(0)})})},
        {"containers in each other", archive({holding(mutableArray, {at(1)}), holding(set, {at(0)})})},
        {"array in an object that it holds",
         archive({holding(array, {at(1)}), entry(coded, {{"contents", at(0)}})})},
        {"circle beside a fault", archive({holding(array, {at(1), at(9)}), holding(mutableArray, {at(2)}),
                                           entry(coded, {{"contents", at(1)}})})},
        {"nested too deeply", archive(linkedChains(1, 513))},
        {"nested too deeply in parts", archive(linkedChains(100, 300))},
        {"endless to compare", archive(laughs())},
        {"too many to compare", archive(manyOf(9000, holding(array, std::vector<id>(5, at(1))), "x", set))},
        {"text where a number belongs", archive({entry(coded, {{"pages", at(1)}}), "x"})},
        {"fraction where an integer belongs", archive({entry(coded, {{"pages", 0.5}})})},
        {"text where a truth value belongs", archive({entry(coded, {{"isRead", "x"}})})},
        {"number where an object belongs", archive({entry(coded, {{"contents", 5}})})},
        {"fault below an object", archive({entry(coded, {{"contents", at(1)}}), entry(unknown)})},
        {"contents that the class refuses", archive({entry(coded, {{"$$title", at(1)}}), "refuses"})},
    };
    for (const auto& [name, bytes] : cases) {
        EXPECT_EQ(unarchivedRootObjectWithData(bytes), nullptr) << name;
    }
    // The top may be one of the objects: reading it is not being at the top.
    const auto both = entry(coded, {{"root", at(0)}, {"contents", at(9)}});
    EXPECT_EQ(unarchivedRootObjectWithData(archive({both}, both)), nullptr);
    const auto good = archivedDataWithObject(chapter("good", NSArray::arrayWithObjects({1, "x"})));
    for (std::size_t size = 0; size < good->size(); ++size) {
        EXPECT_EQ(unarchivedRootObjectWithData(NSData(good->bytes().first(size))), nullptr) << size;
    }
}

TEST(KeyedArchive, RefusesToWriteWhatWouldNotComeBack) {
    const auto cycle = NSMutableArray::array();
    cycle->addObject(NSArray::arrayWithObjects({cycle}));
    id deep = "x";
    for (int i = 0; i < 513; ++i) {
        deep = i % 2 == 0 ? id(NSArray::arrayWithObjects({deep})) : id(chapter("deep", deep));
    }
    const std::pair<const char*, id> cases[] = {
        {"object without coding", NSArray::arrayWithObjects({NSError::errorWithDomain("d", 1, nullptr)})},
        {"fault below an object", chapter("good", PropertyListUID::uidWithValue(5))},
        {"object that throws", NSArray::arrayWithObjects({chapter("throws")})},
        {"container in itself", cycle},
        {"nested too deeply", deep},
        {"text that is not UTF-8", "\xFF"},
    };
    for (const auto& [name, object] : cases) {
        EXPECT_FALSE(archivedDataWithObject(object)) << name;
    }
    cycle->removeAllObjects();
}

TEST(KeyedArchive, SecureCodingIsForClassesThatSaySo) {
    const std::pair<Ref<Chapter>, bool> cases[] = {{make<Chapter>(), false}, {make<SecureChapter>(), true}};
    for (const auto& [object, isSecure] : cases) {
        const auto list = NSArray::arrayWithObjects({object});
        Ref<NSError> error;
        EXPECT_EQ(NSKeyedArchiver::archivedDataWithRootObject(list, true, &error).has_value(), isSecure);
        EXPECT_EQ(error ? error->code() : 0, isSecure ? 0 : 4866);

        const auto reader = NSKeyedUnarchiver::initForReadingFromData(*archivedDataWithObject(list), &error);
        EXPECT_TRUE(reader->requiresSecureCoding());
        EXPECT_EQ(reader->decodeObjectForKey(NSKeyedArchiveRootObjectKey) != nullptr, isSecure);
        EXPECT_EQ(reader->error() ? reader->error()->code() : 0, isSecure ? 0 : 4864);
    }
}

TEST(KeyedArchive, SeveralObjectsStandUnderKeysOfTheirOwn) {
    const auto archiver = NSKeyedArchiver::initRequiringSecureCoding(true);
    const auto shared = NSMutableArray::arrayWithObjects({1});
    archiver->encodeObjectForKey(shared, "one");
    archiver->encodeObjectForKey(shared, "two");
    archiver->encodeObjectForKey(nullptr, "nil");
    archiver->encodeDoubleForKey(2.5, "number");
    for (const auto* key : {"a", "b", "c"}) {
        archiver->encodeObjectForKey(NSURL::URLWithString(key), key);  // at the address of the one before
    }
    EXPECT_THROW((void)archiver->decodeBoolForKey("number"), NSException);

    const auto reader = NSKeyedUnarchiver::initForReadingFromData(*archiver->encodedData(), nullptr);
    const auto one = reader->decodeObjectForKey("one");
    EXPECT_EQ(one.get(), reader->decodeObjectForKey("two").get());
    EXPECT_EQ(reader->decodeObjectForKey("c"), id(NSURL::URLWithString("c")));
    EXPECT_TRUE(reader->containsValueForKey("nil"));
    EXPECT_EQ(reader->decodeObjectForKey("nil"), nullptr);
    EXPECT_FALSE(reader->containsValueForKey("three"));
    EXPECT_EQ(reader->error(), nullptr);
    EXPECT_EQ(reader->decodeInt64ForKey("number"), 0);  // has a fraction: reading has failed from here on
    EXPECT_EQ(reader->error()->code(), 4864);
    EXPECT_EQ(reader->decodeObjectForKey("one"), nullptr);
    EXPECT_EQ(one, id(NSArray::arrayWithObjects({1})));
}

}  // namespace qz::test
