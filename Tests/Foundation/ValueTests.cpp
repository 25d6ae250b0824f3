// Boxed values: equality, hashes, descriptions, boxing and unboxing, containers.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Foundation/NSNumber.h"
#include "Platform/Foundation/NSSet.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/Send.h"

namespace qz::test {

constexpr auto maxSigned = std::numeric_limits<std::int64_t>::max();
constexpr auto maxUnsigned = std::numeric_limits<std::uint64_t>::max();
constexpr double twoTo53 = 9007199254740992.0;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(Values, EqualValuesHaveEqualHashes) {
    const std::pair<id, id> equal[] = {
        {1, 1.0},
        {true, 1},
        {0.0, -0.0},
        {5U, 5L},
        {maxSigned, static_cast<std::uint64_t>(maxSigned)},
        {nan, nan},
        {infinity, infinity},
        {static_cast<double>(1ULL << 63), 1ULL << 63},
        {"", std::string()},
        {NSData::dataWithText("x"), NSData::dataWithText("x")},
        {NSData(), NSData::dataWithText("")},
        {NSArray::arrayWithObjects({1, "a"}), NSMutableArray::arrayWithObjects({1.0, "a"})},
        {NSDictionary::dictionary({{"a", 1}, {"b", 2}}),
         NSMutableDictionary::dictionary({{"b", 2}, {"a", 1}})},
        {NSSet::setWithObjects({1, 2}), NSSet::setWithObjects({2, 1, 1})},
        {NSDate::dateWithTimeIntervalSince1970(5), NSDate::dateWithTimeIntervalSince1970(5)},
        {NSError::errorWithDomain("d", 1, nullptr), NSError::errorWithDomain("d", 1, nullptr)},
    };
    for (const auto& [left, right] : equal) {
        EXPECT_EQ(left, right) << descriptionOf(left);
        EXPECT_EQ(right, left) << descriptionOf(left);
        EXPECT_EQ(left->hash(), right->hash()) << descriptionOf(left);
    }
    const std::pair<id, id> different[] = {
        {1, 2},
        {1, "1"},
        {true, "true"},
        {maxSigned, 9223372036854775808.0},
        {static_cast<std::int64_t>(twoTo53) + 1, twoTo53},
        {maxUnsigned, -1},
        {maxUnsigned, 18446744073709551616.0},
        {nan, 0},
        {nan, infinity},
        {"a", NSData::dataWithText("a")},
        {NSNull::null(), nullptr},
        {0, nullptr},
        {NSArray::arrayWithObjects({1}), NSArray::arrayWithObjects({1, 1})},
        {NSDictionary::dictionary({{"a", 1}}), NSDictionary::dictionary({{"a", 2}})},
        {NSSet::setWithObjects({1, 2}), NSSet::setWithObjects({1, 3})},
        {NSError::errorWithDomain("d", 1, nullptr),
         NSError::errorWithDomain("d", 1, NSDictionary::dictionary({{"k", 1}}))},
    };
    for (const auto& [left, right] : different) {
        EXPECT_FALSE(left == right) << descriptionOf(left);
        EXPECT_FALSE(right == left) << descriptionOf(left);
    }
}

TEST(Values, UnboxWhatFits) {
    EXPECT_EQ(unbox<int>(id(5.0)), 5);
    EXPECT_EQ(unbox<int>(id(5.5)), std::nullopt);
    EXPECT_EQ(unbox<std::int8_t>(id(200)), std::nullopt);
    EXPECT_EQ(unbox<std::uint8_t>(id(200)), 200);
    EXPECT_EQ(unbox<unsigned>(id(-1)), std::nullopt);
    EXPECT_EQ(unbox<std::uint64_t>(id(maxUnsigned)), maxUnsigned);
    EXPECT_EQ(unbox<std::int64_t>(id(9223372036854775808.0)), std::nullopt);
    EXPECT_EQ(unbox<std::int64_t>(id(nan)), std::nullopt);
    EXPECT_EQ(unbox<double>(id(3)), 3.0);
    EXPECT_EQ(unbox<bool>(id(2)), true);
    EXPECT_EQ(unbox<std::string>(id("text")), "text");
    EXPECT_EQ(unbox<std::string>(id(5)), std::nullopt);
    EXPECT_EQ(unbox<int>(id("5")), std::nullopt);
    EXPECT_EQ(unbox<int>(id()), std::nullopt);
    EXPECT_FALSE(id(static_cast<const char*>(nullptr)));
    const auto data = NSData::dataWithText("shared");
    EXPECT_EQ(unbox<NSData>(id(data))->bytes().data(), data.bytes().data());
    const auto now = std::chrono::system_clock::time_point(std::chrono::milliseconds(1500));
    EXPECT_EQ(unbox<std::chrono::system_clock::time_point>(id(now)), now);
    EXPECT_EQ(unbox<NSException>(id(NSException("n", "r")))->reason(), "r");
}

TEST(Values, NumbersConvertWithoutUndefinedBehaviour) {
    EXPECT_EQ(NSNumber::number(1e300)->longLongValue(), maxSigned);
    EXPECT_EQ(NSNumber::number(-1e300)->longLongValue(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(NSNumber::number(-1.0)->unsignedLongLongValue(), 0U);
    EXPECT_EQ(NSNumber::number(infinity)->unsignedLongLongValue(), maxUnsigned);
    EXPECT_EQ(NSNumber::number(nan)->longLongValue(), 0);
    EXPECT_EQ(NSNumber::number((std::int64_t{1} << 32) + 7)->intValue(), 7);
}

TEST(Values, DescribeThemselves) {
    const std::pair<id, const char*> cases[] = {
        {5, "5"},
        {-1LL, "-1"},
        {maxUnsigned, "18446744073709551615"},
        {0.1, "0.1"},
        {2.0, "2"},
        {true, "1"},
        {"a b", "a b"},
        {nullptr, "(null)"},
        {NSNull::null(), "<null>"},
        {NSData::dataWithText("Hello"), "<48656c6c 6f>"},
        {NSDate::dateWithTimeIntervalSinceReferenceDate(-0.5), "2000-12-31 23:59:59 +0000"},
        {NSDate::distantPast(), "0001-01-01 00:00:00 +0000"},
        {NSDate::distantFuture(), "4001-01-01 00:00:00 +0000"},
        {NSDate::dateWithTimeIntervalSince1970(1e300), "1e+300 s since 1970-01-01 00:00:00 +0000"},
        {NSArray::arrayWithObjects({1, "a b", NSArray::arrayWithObjects({"x\"y"})}),
         "(\n    1,\n    \"a b\",\n    (\n        \"x\\\"y\"\n    )\n)"},
        {NSDictionary::dictionary({{"z", 1}, {"a", NSSet::setWithObjects({2})}}),
         "{\n    z = 1;\n    a = {(\n        2\n    )};\n}"},
        {NSError::errorWithDomain("D", 3, nullptr),
         "Error Domain=D Code=3 \"The operation could not be completed. (D error 3.)\""},
    };
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(descriptionOf(value), text);
    }
    const auto endless = NSMutableArray::array();
    endless->addObject(endless);
    EXPECT_LT(endless->description().size(), 100000U);
    endless->removeAllObjects();
}

TEST(Containers, HaveReferenceSemanticsAndCheckTheirArguments) {
    const auto array = NSMutableArray::arrayWithObjects({"a"});
    const id same = array;
    const auto frozen = array->copy();
    const auto thawed = frozen->mutableCopy();
    array->addObject("b");
    array->insertObjectAtIndex("c", 0);
    EXPECT_EQ(same.as<NSArray>()->count(), 3U);
    EXPECT_EQ(frozen->count(), 1U);
    EXPECT_EQ(frozen->copy(), frozen);
    thawed->replaceObjectAtIndex(0, 1);
    EXPECT_EQ((*frozen)[0], id("a"));
    EXPECT_EQ(array->indexOfObject("b"), 2U);
    EXPECT_EQ(array->indexOfObject("z"), NSArray::npos);
    array->removeObject((*array)[1]);
    array->removeLastObject();
    EXPECT_EQ(id(array), id(NSArray::arrayWithObjects({"c"})));

    const auto dictionary = NSMutableDictionary::dictionary({{"first", 1}, {"second", 2}});
    dictionary->setObjectForKey(3, "first");
    dictionary->removeObjectForKey("third");
    EXPECT_EQ(id(dictionary->allKeys()), id(NSArray::arrayWithObjects({"first", "second"})));
    EXPECT_EQ(id(dictionary->allValues()), id(NSArray::arrayWithObjects({3, 2})));
    const auto key = NSMutableArray::arrayWithObjects({1});
    dictionary->setObjectForKey("kept", key);
    key->addObject(2);  // the key was copied
    EXPECT_EQ((*dictionary)[NSArray::arrayWithObjects({1})], id("kept"));

    const std::pair<const char*, std::function<void()>> refused[] = {
        {"add nil", [&] { array->addObject(nullptr); }},
        {"index beyond the end", [&] { static_cast<void>((*array)[1]); }},
        {"insert beyond the end", [&] { array->insertObjectAtIndex(1, 2); }},
        {"remove from empty", [&] { NSMutableArray::array()->removeLastObject(); }},
        {"nil among objects",
         [&] {
             static_cast<void>(NSArray::arrayWithObjects({1, nullptr}));
         }},
        {"nil value", [&] { dictionary->setObjectForKey(nullptr, "k"); }},
        {"nil key", [&] { dictionary->setObjectForKey(1, nullptr); }},
        {"nil member", [&] { NSMutableSet::set()->addObject(nullptr); }},
    };
    for (const auto& [name, block] : refused) {
        EXPECT_THROW(block(), NSException) << name;
    }
    EXPECT_EQ(array->count(), 1U);
}

TEST(Data, IsFilledInPlace) {
    const auto data = NSData::dataWithCapacity(8, [](std::span<std::byte> bytes) {
        bytes[0] = std::byte{'h'};
        bytes[1] = std::byte{'i'};
        return 2;
    });
    EXPECT_EQ(data.text(), "hi");
    EXPECT_EQ(NSData(data.bytes().first(1)).text(), "h");
    EXPECT_TRUE(NSData().isEmpty());
}

TEST(Errors, PreferTheirDescription) {
    auto info = NSMutableDictionary::dictionary({{NSLocalizedDescriptionKey, "It broke."}});
    const auto error = NSError::errorWithDomain("Domain", -4, info);
    info->setObjectForKey("Changed.", NSLocalizedDescriptionKey);
    EXPECT_EQ(error->localizedDescription(), "It broke.");
    EXPECT_EQ(send<std::string>(error, "localizedDescription"_sel), "It broke.");
    EXPECT_EQ(error->code(), -4);
    EXPECT_FALSE(NSError::errorWithDomain("Domain", 0, nullptr)->userInfo());
}

}  // namespace qz::test
