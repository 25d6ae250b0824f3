// Checked conversions: what each kind of value gives, and which blocks run.
#include <gmock/gmock.h>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSNumber/NSNumber+Map.h"
#include "QZUtils/Forwarding/QZForwarder.h"

namespace qz::test {

struct Printable {
    QZ_PROTOCOL(Printable)
};
struct Foldable {
    QZ_PROTOCOL(Foldable)
};

/// Gives itself as whatever it is asked for.
class Headline : public NSObject {
    QZ_OBJECT(Headline, NSObject)
protected:
    Headline() = default;
};
QZ_DEFINE_CLASS(Headline, cls) {
    cls.adopts<Printable>();
    cls.method("unwrapAs:", [](Headline& self, const Class&) { return self.ref(); });
}

TEST(Unwrap, GivesTheObjectAsTheClassOrNothing) {
    const id list = NSMutableArray::arrayWithObjects({1});
    const id headline = make<Headline>();
    const id forwarder = QZForwarder::initWithRecipients(headline);
    const struct {
        const char* what;
        id value;
        Class& cls;
        id expected;
    } cases[] = {
        {"string as string", "text", NSString::cls(), "text"},
        {"string as number", "5", NSNumber::cls(), nullptr},
        {"number as string", 5, NSString::cls(), "5"},
        {"number as number", 5, NSNumber::cls(), 5},
        {"number as object", 5, NSObject::cls(), 5},
        {"number as array", 5, NSArray::cls(), nullptr},
        {"dictionary as string", NSDictionary::dictionary({{"a", 1}}), NSString::cls(), nullptr},
        {"subclass", list, NSArray::cls(), list},
        {"superclass", list.as<NSArray>()->copy(), NSMutableArray::cls(), nullptr},
        {"own answer", headline, NSString::cls(), headline},
        {"proxy", forwarder, QZForwarder::cls(), forwarder},
        {"proxy as what it stands for", forwarder, Headline::cls(), nullptr},
        {"nil", nullptr, NSObject::cls(), nullptr},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        EXPECT_EQ(unwrapAs(test.value, test.cls), test.expected);
        id seen;
        unwrapAsBlock(test.value, test.cls, [&](const id& object) { seen = object; });
        EXPECT_EQ(seen, test.expected);
        EXPECT_EQ(unwrapAsMap(test.value, test.cls, [](const id& object) { return object; }), test.expected);
    }
    EXPECT_EQ(unwrapAs<NSString>(id(2.5))->string(), "2.5");
    EXPECT_FALSE(unwrapAs<NSString>(headline));
    EXPECT_FALSE(unwrapAsAny(id(5), {NSString::cls(), NSArray::cls()}));  // numbers are texts for unwrapAs
    EXPECT_EQ(unwrapAsAny(id(5), {NSString::cls(), NSNumber::cls()}), id(5));
    EXPECT_FALSE(unwrapAsAny(nullptr, {NSObject::cls()}));
}

TEST(Unwrap, GivesTheObjectIfItConforms) {
    const auto headline = make<Headline>();
    int calls = 0;
    for (const auto* protocol : {&Printable::protocol(), &Foldable::protocol()}) {
        for (const auto& object : {headline, Ref<Headline>()}) {
            unwrapAsProtocolBlock(object, *protocol, [&](const Ref<Headline>&) { ++calls; });
        }
    }
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(unwrapAsProtocols(headline, {}).get(), headline.get());
    EXPECT_EQ(unwrapAsProtocols(headline, {Printable::protocol()}).get(), headline.get());
    EXPECT_FALSE(unwrapAsProtocols(headline, {Printable::protocol(), Foldable::protocol()}));
    EXPECT_FALSE(unwrapAsProtocols(nullptr, {}));
}

TEST(Unwrap, BlocksTakeTheObjectAsTheyLike) {
    const auto text = NSString::string("text");
    EXPECT_EQ(map(text, [](const Ref<NSString>& string) { return string->length(); }), 4U);
    EXPECT_EQ(map(text, [](const std::string& string) -> const std::string& { return string; }), "text");
    EXPECT_EQ(map(*text, [](const auto& object) { return object.get(); }), text.get());
    EXPECT_EQ(map(nullptr, [](int number) { return number; }), std::nullopt);
    EXPECT_THROW(map(text, [](int number) { return number; }), NSException);
    unwrap(nullptr, [](const id&) { FAIL(); });
}

}  // namespace qz::test
