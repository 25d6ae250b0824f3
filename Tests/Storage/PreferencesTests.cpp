// Shared preferences and property-list files.
#include <cstdlib>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Foundation/NSUserDefaults.h"
#include "Platform/Foundation/SearchPaths.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSArray/NSArray+Extended.h"
#include "QZUtils/Storage/PlistUtil.h"
#include "QZUtils/Storage/QZSharedPreferences.h"
#include "Tests/Storage/Support.h"

namespace qz::test {

using Preferences = StorageTest;
using PlistFiles = StorageTest;

TEST_F(Preferences, SeedOnlyAnEmptyStore) {
    const auto seed = NSDictionary::dictionary({{"daily", NSDictionary::dictionary({{"a", 1}})}});
    const auto preferences = QZSharedPreferences::initWithPreferencesByService(NSDictionary::dictionary());
    EXPECT_EQ(preferences->preferencesByService(), nullptr);
    EXPECT_EQ(QZSharedPreferences::initWithPreferencesByService(nullptr)->preferencesByService(), nullptr);
    EXPECT_EQ(id(QZSharedPreferences::initWithPreferencesByService(seed)->preferencesByService()), id(seed));
    const auto later = NSDictionary::dictionary({{"weekly", seed}});
    EXPECT_EQ(id(QZSharedPreferences::initWithPreferencesByService(later)->preferencesByService()), id(seed));
    EXPECT_EQ(id(preferences->preferencesByService()), id(seed));
}

TEST_F(Preferences, KeepSettingsByService) {
    const auto preferences = QZSharedPreferences::init();
    preferences->setValue(1, "a", nullptr);
    EXPECT_EQ(preferences->preferencesByService(), nullptr);
    EXPECT_EQ(preferences->valueForKey("a", nullptr), nullptr);

    preferences->setValue(1, "a", "daily");
    preferences->setValue(2, "b", "daily");
    preferences->setSelectedCountry("de", "weekly");
    EXPECT_EQ(preferences->selectedCountryForService("weekly"), "de");
    preferences->setValue(nullptr, "a", "daily");
    preferences->setSelectedCountry(nullptr, "weekly");
    EXPECT_EQ(preferences->selectedCountryForService("weekly"), std::nullopt);
    EXPECT_THROW(preferences->setValue(NSNull::null(), "b", "daily"), NSException);
    // The layout is shared with programs that read it themselves.
    EXPECT_EQ(NSUserDefaults::initWithSuiteName("group.com.quillmark")->objectForKey("preferencesByService"),
              id(NSDictionary::dictionary({{"daily", NSDictionary::dictionary({{"b", 2}})},
                                           {"weekly", NSDictionary::dictionary()}})));

    (*preferences)["plain"] = 5;
    EXPECT_EQ(id((*preferences)["plain"]), 5);
    (*preferences)["preferencesByService"] = "no dictionary";
    EXPECT_EQ(preferences->valueForKey("b", "daily"), nullptr);
    preferences->setValue(3, "b", "daily");
    EXPECT_EQ(preferences->valueForKey("b", "daily"), 3);
    preferences->setPreferencesByService(nullptr);
    EXPECT_EQ(preferences->valueForKey("b", "daily"), nullptr);

    preferences->setAppGroupDefaults(NSUserDefaults::initWithSuiteName("other"));
    EXPECT_EQ(id((*preferences)["plain"]), nullptr);
}

TEST_F(Preferences, HaveAddressesOfServers) {
    const auto preferences = QZSharedPreferences::init();
    const auto own = NSArray::arrayWithObjects({"https://a.example/", "https://b.example/"});
    const auto standard = preferences->thumbnailURLsForService("daily");
    EXPECT_EQ(standard->count(), 2U);
    EXPECT_TRUE(standard->containsObject(preferences->randomThumbnailURLForService("daily")));
    EXPECT_EQ(preferences->mediaURLsForService("daily"), nullptr);
    EXPECT_EQ(preferences->imageURLsForService("daily"), nullptr);

    preferences->setThumbnailURLs(own, "daily");
    preferences->setMediaURLs(own, "daily");
    preferences->setImageURLs(own, "daily");
    EXPECT_EQ(preferences->preferencesByService()->objectForKey("daily"),
              id(NSDictionary::dictionary({{"thumbSrvUrls", own}, {"mediaURLs", own}, {"imagesUrl", own}})));
    for (const auto& urls :
         {preferences->thumbnailURLsForService("daily"), preferences->mediaURLsForService("daily"),
          preferences->imageURLsForService("daily")}) {
        EXPECT_EQ(id(urls), id(own));
    }
    EXPECT_TRUE(own->containsObject(preferences->randomThumbnailURLForService("daily")));

    for (const id& without : {id(NSArray::arrayWithObjects({})), id("text"), id()}) {
        preferences->setValue(without, "thumbSrvUrls", "daily");
        EXPECT_EQ(id(preferences->thumbnailURLsForService("daily")), id(standard));
    }
    preferences->setThumbnailURLs(NSArray::arrayWithObjects({7}), "daily");
    EXPECT_EQ(preferences->randomThumbnailURLForService("daily"), "");
}

TEST(RandomObject, IsWhatTheSeedSays) {
    EXPECT_EQ(randomObject(nullptr), nullptr);
    EXPECT_EQ(randomObject(NSArray::arrayWithObjects({})), nullptr);
    for (unsigned seed = 0; seed < 20; ++seed) {
        std::srand(seed);
        const int index = std::rand() % 7;
        std::srand(seed);
        EXPECT_EQ(randomObject(NSArray::arrayWithObjects({0, 1, 2, 3, 4, 5, 6})), index);
    }
}

// Files.

TEST(SearchPaths, FollowTheEnvironment) {
    struct Case {
        const char* data;
        const char* home;
        bool expandTilde;
        const char* documents;
    };
    const Case cases[] = {
        {"/data", "/home/u", true, "/data/storage_tests/Documents"},
        {nullptr, "/home/u", true, "/home/u/.local/share/storage_tests/Documents"},
        {"", "/home/u/", true, "/home/u/.local/share/storage_tests/Documents"},
        {"relative", "/home/u", true, "/home/u/.local/share/storage_tests/Documents"},
        {"/home/u/data", "/home/u", false, "~/data/storage_tests/Documents"},
        {"/home/user", "/home/u", false, "/home/user/storage_tests/Documents"},
    };
    for (const auto& [data, home, expandTilde, documents] : cases) {
        data ? ::setenv("XDG_DATA_HOME", data, 1) : ::unsetenv("XDG_DATA_HOME");
        ::setenv("HOME", home, 1);
        EXPECT_THAT(NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::Documents,
                                                        NSSearchPathDomainMask::User, expandTilde),
                    testing::ElementsAre(documents));
    }
    ::unsetenv("HOME");  // the password file knows it too
    EXPECT_THAT(userBaseDirectory(UserBaseDirectory::Data), testing::StartsWith("/"));
}

TEST_F(PlistFiles, AreXMLAndComeBackEqual) {
    const auto documents = home() / "data/storage_tests/Documents";
    EXPECT_EQ(PlistUtil::documentsDirectoryPath(), documents.string());
    EXPECT_EQ(PlistUtil::readPlistWithName("list"), nullptr);
    EXPECT_FALSE(PlistUtil::dataFromFile("list"));
    const id lists[] = {
        NSDictionary::dictionary({{"a", NSArray::arrayWithObjects({1, 2.5, true, "ü"})}}),
        NSMutableArray::arrayWithObjects({NSData::dataWithText("data")}),
    };
    for (const auto& list : lists) {
        EXPECT_TRUE(PlistUtil::writePlist(list, "list"));
        EXPECT_THAT(contentsOf(documents / "list"), testing::StartsWith("<?xml"));
        const auto back = PlistUtil::readPlistWithName("list");
        EXPECT_EQ(back, list);
        EXPECT_FALSE(back.as<NSMutableArray>());
    }
    EXPECT_EQ(modeOf(documents), 0700U);
    EXPECT_TRUE(PlistUtil::writePlist("a text", "text"));
    EXPECT_EQ(contentsOf(documents / "text"), "a text");
    EXPECT_TRUE(PlistUtil::writePlist(NSData::dataWithText("bplist00"), "data"));
    EXPECT_EQ(PlistUtil::dataFromFile("data"), NSData::dataWithText("bplist00"));
    EXPECT_EQ(PlistUtil::readPlistWithName("data"), nullptr);
}

TEST_F(PlistFiles, AreNotWrittenInPart) {
    EXPECT_TRUE(PlistUtil::writePlist(NSArray::arrayWithObjects({1}), "list"));
    const std::pair<const char*, id> cases[] = {
        {"nil", nullptr},
        {"no property list inside", NSDictionary::dictionary({{"a", NSNull::null()}})},
        {"what XML cannot hold", NSArray::arrayWithObjects({"\x01"})},
        {"a number alone", 5},
    };
    for (const auto& [name, list] : cases) {
        EXPECT_FALSE(PlistUtil::writePlist(list, "list")) << name;
        EXPECT_EQ(PlistUtil::readPlistWithName("list"), id(NSArray::arrayWithObjects({1}))) << name;
    }
    EXPECT_FALSE(PlistUtil::writePlist(NSArray::arrayWithObjects({1}), "missing/list"));
    std::filesystem::remove_all(home() / "data");
    writeFile(home() / "data", "in the way");
    EXPECT_FALSE(PlistUtil::writePlist(NSArray::arrayWithObjects({1}), "list"));
    EXPECT_EQ(contentsOf(home() / "data"), "in the way");
}

/// Writes itself in a way of its own.
class Sketch : public NSObject {
    QZ_OBJECT(Sketch, NSObject)
public:
    std::string writtenTo;

protected:
    Sketch() = default;
};
QZ_DEFINE_CLASS(Sketch, cls) {
    cls.method("writeToFile:atomically:", [](Sketch& self, std::string_view path, bool atomically) {
        self.writtenTo = path;
        return atomically;
    });
}

TEST_F(PlistFiles, AreWrittenByTheObjectsThemselves) {
    const auto sketch = make<Sketch>();
    EXPECT_TRUE(PlistUtil::writeData(sketch, "sketch"));
    EXPECT_EQ(sketch->writtenTo, *PlistUtil::documentsDirectoryPath() + "/sketch");
    EXPECT_FALSE(PlistUtil::writePlist(sketch, "sketch"));  // its class is no property list's
}

}  // namespace qz::test
