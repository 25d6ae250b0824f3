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

/// Gives itself as a string, as numbers do, by its own answer.
class Headline : public NSObject {
    QZ_OBJECT(Headline, NSObject)
protected:
    Headline() = default;
};
QZ_DEFINE_CLASS(Headline, cls) {
    cls.adopts<Printable>();
    cls.method("unwrapAs:", [](Headline& self, const Class& wanted) -> id {
        return &wanted == &NSString::cls() ? id("headline") : self.ref();
    });
}

TEST(Unwrap, AsAClass) {
    const id text = "text";
    const id five = 5;
    const id list = NSMutableArray::arrayWithObjects({1});
    const id headline = make<Headline>();
    const id forwarder = QZForwarder::initWithRecipients(headline);
    const struct {
        const char* what;
        id value;
        Class& cls;
        id expected;
    } cases[] = {
        {"string as string", text, NSString::cls(), text},
        {"string as number", text, NSNumber::cls(), nullptr},
        {"number as string", five, NSString::cls(), "5"},
        {"fraction as string", 2.5, NSString::cls(), "2.5"},
        {"truth as string", true, NSString::cls(), "1"},
        {"number as number", five, NSNumber::cls(), five},
        {"number as object", five, NSObject::cls(), five},
        {"number as array", five, NSArray::cls(), nullptr},
        {"dictionary as string", NSDictionary::dictionary({{"a", 1}}), NSString::cls(), nullptr},
        {"subclass", list, NSArray::cls(), list},
        {"superclass", NSArray::arrayWithObjects({}), NSMutableArray::cls(), nullptr},
        {"own answer", headline, NSString::cls(), "headline"},
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
    EXPECT_EQ(unwrapAs(list, NSArray::cls()).get(), list.get());
    EXPECT_EQ(unwrapAs<NSString>(five)->string(), "5");
    EXPECT_EQ(unwrapAs<NSString>(list), nullptr);

    // Only unwrapAs() turns numbers into texts.
    EXPECT_FALSE(unwrapAsAny(five, {NSString::cls(), NSArray::cls()}));
    EXPECT_EQ(unwrapAsAny(five, {NSString::cls(), NSNumber::cls()}).get(), five.get());
    EXPECT_FALSE(unwrapAsAny(five, {}));
    EXPECT_FALSE(unwrapAsAny(nullptr, {NSObject::cls()}));
}

TEST(Unwrap, AsAProtocol) {
    const auto headline = make<Headline>();
    int calls = 0;
    const auto count = [&](const Ref<Headline>& object) {
        EXPECT_EQ(object, headline);
        ++calls;
    };
    EXPECT_EQ(unwrapAsProtocol(headline, Printable::protocol()).get(), headline.get());
    EXPECT_FALSE(unwrapAsProtocol(headline, Foldable::protocol()));
    EXPECT_FALSE(unwrapAsProtocol(nullptr, Printable::protocol()));
    unwrapAsProtocolBlock(headline, Printable::protocol(), count);
    unwrapAsProtocolBlock(headline, Foldable::protocol(), count);
    unwrapAsProtocolBlock(Ref<Headline>(), Printable::protocol(), count);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(unwrapAsProtocols(headline, {}).get(), headline.get());
    EXPECT_EQ(unwrapAsProtocols(headline, {Printable::protocol()}).get(), headline.get());
    EXPECT_FALSE(unwrapAsProtocols(headline, {Printable::protocol(), Foldable::protocol()}));
    EXPECT_FALSE(unwrapAsProtocols(nullptr, {}));
}

TEST(Unwrap, BlocksTakeTheObjectAsTheyLike) {
    const auto text = NSString::string("text");
    EXPECT_EQ(map(text, [](const Ref<NSString>& string) { return string->length(); }), 4U);
    EXPECT_EQ(map(text, [](std::string_view string) { return id(string.size()); }), id(4));
    EXPECT_EQ(map(id(3), [](int number) { return std::to_string(number + 1); }), "4");
    EXPECT_EQ(map(*text, [](const auto& object) { return object.get(); }), text.get());
    EXPECT_EQ(map(text, std::function<id(const id&)>([](const id& object) { return object; })), id(text));
    EXPECT_EQ(map(nullptr, [](const id&) { return 1; }), std::nullopt);
    EXPECT_EQ(map(nullptr, [](const id& object) { return object; }), id());
    EXPECT_THROW(map(text, [](int number) { return number; }), NSException);
    std::string seen;
    unwrap(text, [&](const std::string& string) { seen = string; });
    unwrap(nullptr, [&](const id&) { seen = "called for nil"; });
    EXPECT_EQ(seen, "text");
}

}  // namespace qz::test
