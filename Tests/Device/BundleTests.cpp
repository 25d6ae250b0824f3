// Bundles: where resources are found, and which texts for whom.
#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/UINib.h"
#include "Platform/Foundation/UIStoryboard.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Tests/Device/Support.h"

namespace qz::test {

using testing::HasSubstr;
using Bundle = BundleTest;

class Page : public NSObject {
    QZ_OBJECT(Page, NSObject)
public:
    std::string title;
    int number = 0;
};
QZ_DEFINE_CLASS(Page, cls) {
    cls.property(
        "title", [](const Page& page) { return page.title; },
        [](Page& page, std::string_view text) { page.title = text; });
    cls.property(
        "number", [](const Page& page) { return page.number; },
        [](Page& page, int count) { page.number = count; });
}

std::string utf16(std::u16string_view text) {
    std::string bytes = "\xFF\xFE";
    for (const auto unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

std::string list(NSPropertyListFormat format) {
    const auto texts = NSDictionary::dictionary({{"key", "Grüße"}, {"number", 5}});
    return std::string(NSPropertyListSerialization::dataWithPropertyList(texts, format, nullptr)->text());
}

TEST_F(Bundle, ReadsTablesInEveryForm) {
    const struct {
        const char* name;
        std::string content;
        std::string text;  // under "key"; "key" itself when there is none
    } cases[] = {
        {"plain", "/* c */ \"key\" = \"Grüße\"; // c\n", "Grüße"},
        {"mark", "\xEF\xBB\xBF\"key\" = \"Grüße\";", "Grüße"},
        {"wide", utf16(u"\"key\" = \"Gr\u00FC\u00DFe\";"), "Grüße"},
        {"escapes", R"("key" = "a\"b\\c\n\U00fc";)", "a\"b\\c\nü"},
        {"bare", "key = word;", "word"},
        {"twice", "\"key\" = \"first\"; \"key\" = \"last\";", "last"},
        {"xml", list(NSPropertyListFormat::XML), "Grüße"},
        {"binary", list(NSPropertyListFormat::Binary), "Grüße"},
        {"empty", "", "key"},
        {"broken", "\"key\" = \"no end", "key"},
        {"bytes", "\"key\" = \"\xFF\xFE\";", "key"},
        {"array", "( key )", "key"},
    };
    std::string log;
    const auto sink =
        DDLog::sharedInstance()->addSink([&](const LogMessage& line) { (log += line.text) += '\n'; });
    for (const auto& test : cases) {
        write(std::string(test.name) + ".strings", test.content);
    }
    const auto bundle = NSBundle::bundleWithPath(directory_.string());
    for (int round = 0; round < 2; ++round) {
        for (const auto& test : cases) {
            EXPECT_EQ(bundle->localizedStringForKey("key", nullptr, test.name), test.text) << test.name;
        }
    }
    DDLog::sharedInstance()->flush();
    DDLog::sharedInstance()->removeSink(sink);
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 3) << log;  // once each
    EXPECT_THAT(log, HasSubstr("broken.strings"));

    EXPECT_EQ(bundle->localizedStringForKey("none", "value", "plain"), "value");
    EXPECT_EQ(bundle->localizedStringForKey("none", "", "no such table"), "none");
    EXPECT_EQ(bundle->localizedStringForKey(nullptr, nullptr, "plain"), "");
}

TEST_F(Bundle, ServesTheUserInTheBestLanguage) {
    const auto table = [&](const std::string& bundle, const std::string& language) {
        write(bundle + "/" + language + ".lproj/Localizable.strings", "\"key\" = \"" + language + "\";");
    };
    for (const auto* language : {"en", "de", "pt_BR", "zh-Hant", "fr"}) {
        table("many", language);
    }
    table("base", "Base");
    table("base", "fr");
    table("foreign", "ja");
    write("foreign/Info.plist", "{ CFBundleDevelopmentRegion = ja; }");
    const struct {
        const char* languages;
        const char* bundle;
        const char* text;
    } cases[] = {
        {"de_AT", "many", "de"},    {"fr:de", "many", "fr"},           {"sv:fr", "many", "fr"},
        {"pt_BR", "many", "pt_BR"}, {"zh_Hant_TW", "many", "zh-Hant"}, {"sv", "many", "en"},
        {"de", "base", "Base"},     {"fr_CA", "base", "fr"},           {"de", "foreign", "ja"},
    };
    for (const auto& test : cases) {
        inChild(test.languages, [&] {
            const auto bundle = NSBundle::bundleWithPath(at(test.bundle));
            EXPECT_EQ(bundle->localizedStringForKey("key", nullptr, nullptr), test.text) << test.languages;
        });
    }
}

TEST_F(Bundle, FindsResourcesInItsLayoutsAndNowhereElse) {
    for (const auto* layout : {"flat", "below/Resources", "old/Contents", "whole/Contents/Resources"}) {
        write(std::string(layout) + "/a.txt", "");
        write(std::string(layout) + "/sub/b.txt", "");
        write(std::string(layout) + "/en.lproj/c.txt", "");
    }
    write("outside.txt", "");
    for (const auto* name : {"flat", "below", "old", "whole"}) {
        const auto bundle = NSBundle::bundleWithPath(at(name));
        const auto below = bundle->resourcePath();
        EXPECT_EQ(bundle->pathForResource("a", "txt"), below + "/a.txt");
        EXPECT_EQ(bundle->pathForResource("sub/b.txt", nullptr), below + "/sub/b.txt");
        EXPECT_EQ(bundle->pathForResource("c", "txt"), below + "/en.lproj/c.txt");
        EXPECT_EQ(bundle->pathForResource(nullptr, "txt"), below + "/a.txt");
        EXPECT_EQ(bundle->URLForResource("a", "txt")->path(), below + "/a.txt");
        for (const auto* none : {"../outside.txt", "sub/../../outside.txt", "/etc/passwd", "", "missing"}) {
            EXPECT_FALSE(bundle->pathForResource(none, nullptr)) << none;
        }
    }
    EXPECT_FALSE(NSBundle::bundleWithPath(at("outside.txt")));
    EXPECT_FALSE(NSBundle::bundleWithPath(nullptr));
    // The program's own bundle has what comes with the library.
    EXPECT_TRUE(NSBundle::mainBundle()->pathForResource("QuillmarkResources", "bundle"));
}

TEST_F(Bundle, LoadsNibs) {
    const auto pages = NSDictionary::dictionary(
        {{"objects", NSArray::arrayWithObjects(
                         {NSDictionary::dictionary(
                              {{"class", "Page"},
                               {"values", NSDictionary::dictionary({{"title", "Monday"}, {"number", 48}})}}),
                          NSDictionary::dictionary({{"class", "Page"}})})}});
    write(
        "pages.nib",
        NSPropertyListSerialization::dataWithPropertyList(pages, NSPropertyListFormat::XML, nullptr)->text());
    write("strange.nib", "{ objects = ( { class = NoSuchClass; } ); }");
    write("wrong.nib", "{ objects = ( { class = Page; values = { weight = 5; }; } ); }");
    write("broken.nib", "{");
    write("start.storyboardc", "board");
    const auto bundle = NSBundle::bundleWithPath(directory_.string());
    const auto objects = bundle->loadNibNamed("pages", nullptr);
    ASSERT_TRUE(objects && objects->count() == 2);
    EXPECT_EQ(objects->objectAtIndex(0).as<Page>()->title, "Monday");
    EXPECT_EQ(objects->objectAtIndex(0).as<Page>()->number, 48);
    for (const auto* name : {"strange", "wrong", "broken", "missing"}) {
        EXPECT_FALSE(bundle->loadNibNamed(name, nullptr)) << name;
    }
    UINib::setLoader([](const UINib& nib, const Ref<Object>& owner) {
        return NSArray::arrayWithObjects({id(nib.path()), id(owner)});
    });
    EXPECT_EQ(bundle->loadNibNamed("broken", bundle)->objectAtIndex(1), id(bundle));
    UINib::setLoader(nullptr);
    EXPECT_EQ(UIStoryboard::storyboardWithName("start", bundle)->data()->text(), "board");
    EXPECT_FALSE(UIStoryboard::storyboardWithName("end", bundle));
}

}  // namespace qz::test
