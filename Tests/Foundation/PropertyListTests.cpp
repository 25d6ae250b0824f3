// Property lists in their three forms: what is written is read back, hostile bytes are refused.
#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <limits>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/PropertyListUID.h"

namespace qz::test {

using namespace std::string_literals;
using Format = NSPropertyListFormat;
using Options = NSPropertyListReadOptions;

id read(std::string_view bytes, Options options = Options::Immutable, Format* format = nullptr) {
    Ref<NSError> error;
    auto list = NSPropertyListSerialization::propertyListWithData(NSData::dataWithText(bytes), options,
                                                                  format, &error);
    EXPECT_EQ(list == nullptr, error != nullptr);
    EXPECT_TRUE(!error || (error->domain() == NSCocoaErrorDomain && error->code() == 3840));
    return list;
}

std::optional<NSData> write(const id& list, Format format) {
    Ref<NSError> error;
    auto data = NSPropertyListSerialization::dataWithPropertyList(list, format, &error);
    EXPECT_EQ(data.has_value(), error == nullptr);
    EXPECT_TRUE(!error || error->code() == 3852);
    return data;
}

/// One of everything, with the numbers at which encodings change their width.
Ref<NSMutableDictionary> plainSample() {
    std::vector<id> numbers;
    for (const std::int64_t edge : {0x7F, 0xFF, 0x100, 0xFFFF, 0x10000, 0x7FFFFFFF}) {
        for (const std::int64_t value : {edge, -edge, edge + 1, -edge - 1}) {
            numbers.emplace_back(value);
        }
    }
    numbers.emplace_back(INT64_MIN);
    numbers.emplace_back(INT64_MAX);
    numbers.emplace_back(UINT64_MAX);
    numbers.emplace_back(0.1);
    numbers.emplace_back(-1e300);
    numbers.emplace_back(std::numeric_limits<double>::infinity());
    return NSMutableDictionary::dictionary({
        {"numbers", NSArray::arrayWithObjects(std::move(numbers))},
        {"truth", NSArray::arrayWithObjects({true, false})},
        {"texts", NSArray::arrayWithObjects({"", "plain", "größer & <klein>", "\U0001F4F0 \xE4\xB8\xAD",
                                             std::string(70000, 'x'), "a\nb\tc"})},
        {"date", NSDate::dateWithTimeIntervalSince1970(1795421700)},
        {"early", NSDate::dateWithTimeIntervalSince1970(-62135596800)},
        {"data", NSData::dataWithText(std::string_view("\0\1\xFF payload", 11))},
        {"none", NSData()},
        {"empty", NSArray::arrayWithObjects({NSArray::arrayWithObjects({}), NSDictionary::dictionary()})},
    });
}

id sample() {
    const auto list = plainSample();
    list->setObjectForKey(PropertyListUID::uidWithValue(300), "uid");
    list->setObjectForKey("a\rb\r\n", "returns");  // Python makes line feeds of them
    return list;
}

TEST(PropertyList, ComesBackFromBothWrittenForms) {
    for (const auto format : {Format::Binary, Format::XML}) {
        const auto data = write(sample(), format);
        ASSERT_TRUE(data);
        auto found = Format::OpenStep;
        EXPECT_EQ(read(data->text(), Options::Immutable, &found), sample());
        EXPECT_EQ(found, format);
        const auto list = read(data->text(), Options::MutableContainers);
        EXPECT_TRUE(list.as<NSMutableDictionary>());
        EXPECT_TRUE(list.as<NSDictionary>()->objectForKey("numbers").as<NSMutableArray>());
    }
    EXPECT_FALSE(write(sample(), Format::OpenStep));
}

TEST(PropertyList, IsWhatPythonReadsAndWrites) {
    const std::string base = ::testing::TempDir() + "qz-plist-" + std::to_string(::getpid());
    for (const auto format : {Format::Binary, Format::XML}) {
        std::ofstream(base, std::ios::binary) << write(plainSample(), format)->text();
        // The oracle reads the file, checks some values and writes both forms.
        const auto script = "python3 -c \"import plistlib,sys;b='" + base +
                            "';l=plistlib.load(open(b,'rb'));assert l['texts'][3]=='\\U0001F4F0 \\u4e2d' and "
                            "l['numbers'][26]==2**64-1 and l['truth'][0] is True and "
                            "l['data']==b'\\0\\1\\xff payload';"
                            "[plistlib.dump(l,open(b+str(f.value),'wb'),fmt=f,sort_keys=False) for f in "
                            "plistlib.PlistFormat]\"";
        ASSERT_EQ(std::system(script.c_str()), 0);
        for (const auto* suffix : {"1", "2"}) {
            std::ifstream file(base + suffix, std::ios::binary);
            const std::string bytes((std::istreambuf_iterator<char>(file)), {});
            EXPECT_EQ(read(bytes), id(plainSample()));
            std::remove((base + suffix).c_str());
        }
    }
    std::remove(base.c_str());
}

TEST(PropertyList, ReadsTheOldTextForm) {
    const auto list = read(
        "// comment\n{ plain = a/b.c; \"q\\\"\" = ( 1, two, ); /* c */ data = <0fb d77>;\n"
        "  escapes = \"\\U00fc\\Ud83d\\Udcf0 \\101\\n\"; inner = {}; }");
    EXPECT_EQ(list, id(NSDictionary::dictionary({{"plain", "a/b.c"},
                                                 {"q\"", NSArray::arrayWithObjects({"1", "two"})},
                                                 {"data", NSData::dataWithText("\x0F\xBD\x77")},
                                                 {"escapes", "\u00FC\U0001F4F0 A\n"},
                                                 {"inner", NSDictionary::dictionary()}})));
    EXPECT_EQ(read("\"key\" = \"value\";\nalone;\n"),
              id(NSDictionary::dictionary({{"key", "value"}, {"alone", "alone"}})));
    EXPECT_EQ(read(std::string_view("\xFF\xFE"
                                    "a\0=\0\xFC\0;\0",
                                    10)),
              nullptr);  // ü is no plain text
    EXPECT_EQ(read(std::string_view("\xFE\xFF\0a\0=\0\"\0\xFC\0\"\0;", 14)),
              id(NSDictionary::dictionary({{"a", "\u00FC"}})));
}

/// A big-endian number of so many bytes.
std::string number(std::size_t value, std::size_t width) {
    std::string bytes;
    while (width-- > 0) {
        bytes += static_cast<char>(value >> (8 * width) & 0xFFU);
    }
    return bytes;
}

/// A binary list whose references and offsets have the same width.
std::string binary(const std::vector<std::string>& objects, std::size_t top = 0, std::size_t width = 1) {
    std::string file = "bplist00";
    std::string table;
    for (const auto& object : objects) {
        table += number(file.size(), width);
        file += object;
    }
    const auto start = file.size();
    return file + table + std::string(6, '\0') + number(width, 1) + number(width, 1) +
           number(objects.size(), 8) + number(top, 8) + number(start, 8);
}

TEST(PropertyList, RefusesHostileBytes) {
    ASSERT_EQ(read(binary({"\xA2\1\1", "\x10\5"})), id(NSArray::arrayWithObjects({5, 5})));
    std::vector<std::string> laughs;
    for (char i = 1; i < 40; ++i) {
        laughs.push_back(std::string("\xA2") + i + i);
    }
    laughs.emplace_back("\x10\5");
    std::string nested;
    for (int i = 0; i < 100000; ++i) {
        nested += '(';
    }
    const auto entity = [](const char* body) {
        return "<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY a \"aaaa\"><!ENTITY b SYSTEM "
               "\"file:///etc/passwd\">]><plist><string>" +
               std::string(body) + "</string></plist>";
    };
    const auto good = std::string(write(sample(), Format::Binary)->text());
    const std::pair<const char*, std::string> cases[] = {
        {"nothing", ""},
        {"signature alone", "bplist00"},
        {"contains itself", binary({"\xA1"s + '\0'})},
        {"contains itself further down", binary({"\xA1\1", "\xA1"s + '\0'})},
        {"endless to walk", binary(laughs)},
        {"reference beyond the table", binary({"\xA1\7"})},
        {"count beyond the file", binary({"\x4F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"})},
        {"array count that overflows", binary({"\xAF\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"})},
        {"overlapping data", binary({"\xA3\1\1\2", "\x4F\x10\x20", "\x4F\x10\x20"}) + "x"},
        {"key that is no text", binary({"\xD1\1\1", "\x10\5"})},
        {"null", binary({std::string(1, '\0')})},
        {"text that is not UTF-8", binary({"\x52\xFF\xFE"})},
        {"top beyond the table", binary({"\x10\5"}, 9)},
        {"nested too deeply", nested},
        {"entity", entity("&a;")},
        {"external entity", entity("&b;")},
        {"XML cut off", "<plist><dict><key>a</key>"},
        {"key without a value", "<plist><dict><key>a</key></dict></plist>"},
        {"two values", "<plist><true/><true/></plist>"},
        {"unknown element", "<plist><set/></plist>"},
        {"integer too large", "<plist><integer>18446744073709551616</integer></plist>"},
        {"date that is none", "<plist><date>2026-02-30T00:00:00Z</date></plist>"},
        {"data that are none", "<plist><data>!!</data></plist>"},
        {"entry without an end", "{ a = b"},
        {"text without an end", "\"abc\\"},
    };
    for (const auto& [name, bytes] : cases) {
        EXPECT_EQ(read(bytes), nullptr) << name;
    }
    for (std::size_t size = 0; size < good.size(); size += good.size() / 97) {
        read(good.substr(0, size));  // refused or not, without harm
    }
}

TEST(PropertyList, RefusesDepthThatIsReachedByParts) {
    // Each array of the first level holds the next 400 levels, the last of which holds what was read before.
    constexpr std::size_t chains = 500;
    constexpr std::size_t length = 400;
    std::vector<std::string> objects(1);
    for (std::size_t chain = 0; chain < chains; ++chain) {
        for (std::size_t i = 0; i + 1 < length; ++i) {
            objects.push_back("\xA1" + number(objects.size() + 1, 3));
        }
        objects.push_back(chain == 0 ? "\xA0" : "\xA1" + number((chain - 1) * length + 1, 3));
    }
    objects[0] = "\xAF\x11" + number(chains, 2);
    for (std::size_t chain = 0; chain < chains; ++chain) {
        objects[0] += number(chain * length + 1, 3);
    }
    EXPECT_EQ(read(binary(objects, 0, 3)), nullptr);
}

TEST(PropertyList, RefusesToWriteWhatItCannotHold) {
    const auto cycle = NSMutableArray::array();
    cycle->addObject(cycle);
    const std::pair<const char*, id> cases[] = {
        {"nil", nullptr},
        {"null object", NSArray::arrayWithObjects({NSNull::null()})},
        {"key that is no text", NSDictionary::dictionary({{1, 2}})},
        {"container in itself", cycle},
        {"text that is not UTF-8", "\xFF"},
    };
    for (const auto& [name, list] : cases) {
        for (const auto format : {Format::Binary, Format::XML}) {
            EXPECT_FALSE(write(list, format)) << name;
        }
    }
    EXPECT_FALSE(write("\x01", Format::XML));
    EXPECT_TRUE(NSPropertyListSerialization::propertyListIsValidForFormat("\x01", Format::Binary));
    cycle->removeAllObjects();
}

}  // namespace qz::test
