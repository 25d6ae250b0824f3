// The library's own bundles, and who gets which text.
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSNotification.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Device/QZLocalizedString.h"
#include "QZUtils/Device/QZNSBundle.h"
#include "QZUtils/Extensions/NSLocale/NSLocale+QZExtensions.h"
#include "QZUtils/Observation/QZNotification.h"
#include "Siblings/QZSDKUtil.h"
#include "Siblings/QZUserDefaults.h"
#include "Tests/Device/Support.h"

namespace qz::test {

class Localization : public BundleTest {
protected:
    /// A main bundle with a table of its own, and with the instance and other bundles inside.
    void SetUp() override {
        table("", "de", "Main");
        table("QuillmarkResources.bundle/", "de", "Instance");
        table("QuillmarkResources.bundle/", "en", "English");
        table("Custom.bundle/", "de", "Custom");
        table("updated/", "de", "Updated");
        write("QuillmarkResources.bundle/UISpecific.strings", "\"key\" = \"specific\"; \"same\" = \"same\";");
        write("QuillmarkResources.bundle/only.nib", "{ objects = (); }");
        write("plain.txt", "");
    }
    /// Every table has a text of its own for "Shared" and for its own name.
    void table(const std::string& bundle, const std::string& language, const std::string& name) const {
        write(bundle + language + ".lproj/Localizable.strings",
              "\"QZ.iPad.Shared\" = \"" + name + "\"; \"QZ.iPad." + name + "\" = \"" + name +
                  "!\"; \"QZ.iPad." + name + ".Form2\" = \"few\";");
    }
    /// Runs with a main bundle that the custom bundle's default may name another for.
    void run(const char* languages, const char* customBundle, const std::function<void()>& block) const {
        inChild(languages, [&] {
            ::setenv("XDG_CONFIG_HOME", at("config").c_str(), 1);
            NSBundle::setMainBundle(NSBundle::bundleWithPath(directory_.string()));
            if (customBundle) {
                QZUserDefaults::standardUserDefaults()->setObjectForKey(customBundle,
                                                                        "CustomResourcesBundle");
            }
            block();
        });
    }
};

std::string text(Text key) {
    return QZNSBundle::localizedStringForKey(key).value_or("(nil)");
}

TEST_F(Localization, AsksBundlesInTheirOrder) {
    run("de", nullptr, [&] {
        EXPECT_FALSE(QZNSBundle::hasInstance());
        EXPECT_EQ(text("Shared"), "Main");  // the main bundle is the custom one
        EXPECT_TRUE(QZNSBundle::hasInstance());
        EXPECT_EQ(text("QZ.iPad.Instance"), "Instance!");
        EXPECT_EQ(QZNSBundle::localizedStringForKeyPreferredBundle("Shared", QZPreferredBundle::Instance),
                  "Instance");
        QZNSBundle::set_updatedResourcesBundle(NSBundle::bundleWithPath(at("updated")));
        EXPECT_EQ(text("Shared"), "Updated");
        QZNSBundle::resetUpdatedBundle();
        EXPECT_EQ(text("Shared"), "Main");
        EXPECT_EQ(text("English"), "English!");  // of the English table, for a German
        EXPECT_EQ(text("QZ.iPad.A.QZ.iPad.B"), "A.B");
        EXPECT_EQ(text(""), "");
        EXPECT_EQ(text(nullptr), "(nil)");
        EXPECT_EQ(QZLocalizedString(nullptr, "default"), "default");
        EXPECT_EQ(QZLocalizedString("Missing", "default"), "Missing");
        EXPECT_EQ(QZNSBundle::specificLocalizedStringForKey("key"), "specific");
        EXPECT_FALSE(QZNSBundle::specificLocalizedStringForKey("same"));
        EXPECT_FALSE(QZNSBundle::mainBundle());
        EXPECT_EQ(QZNSBundle::bundleForResource("only", "nib"), QZNSBundle::instance());
        EXPECT_TRUE(QZNSBundle::nibWithName("only"));
        EXPECT_TRUE(QZNSBundle::loadNibNamed("only", nullptr));
        EXPECT_FALSE(QZNSBundle::nibWithName("none"));
        EXPECT_FALSE(QZNSBundle::SFBundle());
        QZNSBundle::dismiss();
        EXPECT_FALSE(QZNSBundle::hasInstance());
    });
    run("en_US", nullptr, [] {
        EXPECT_EQ(text("Instance"), "Instance");  // no English fallback: the instance has an English table
        EXPECT_EQ(text("English"), "English!");
    });
    run("de", "Custom", [] {
        EXPECT_EQ(text("Shared"), "Custom");
        EXPECT_EQ(text("Main"), "Main");  // not asked: there is a custom bundle
        EXPECT_TRUE(QZNSBundle::pathForResource("plain", "txt"));
        EXPECT_FALSE(QZNSBundle::bundleForResource("plain", "txt"));
    });
    run("de", "None", [] {
        QZSDKUtil::setSDK(true);
        EXPECT_FALSE(QZNSBundle::customResourcesBundle());
        EXPECT_FALSE(QZNSBundle::customPreferredLanguageBundle());
        EXPECT_EQ(text("Shared"), "Main");  // stands in for the custom one
        EXPECT_EQ(QZNSBundle::localizedStringForKeyPreferredBundle("Main", QZPreferredBundle::Instance),
                  "Main");
    });
}

TEST_F(Localization, EnglishTablesServeForeignersOnly) {
    std::filesystem::remove_all(at("QuillmarkResources.bundle/de.lproj"));
    write("QuillmarkResources.bundle/fr.lproj/Localizable.strings", "\"QZ.iPad.Shared\" = \"Instance\";");
    write("QuillmarkResources.bundle/en-US.lproj/Localizable.strings", "\"QZ.iPad.Shared\" = \"Instance\";");
    for (const auto& [language, expected] :
         {std::pair("fr", "English!"), std::pair("en_US", "English"), std::pair("en_GB", "English!")}) {
        run(language, nullptr, [&, wanted = expected] { EXPECT_EQ(text("English"), wanted); });
    }
}

class LoudBundle : public QZNSBundle {
    QZ_OBJECT(LoudBundle, QZNSBundle)
protected:
    using QZNSBundle::QZNSBundle;
};
QZ_DEFINE_CLASS(LoudBundle, cls) {
    cls.classMethod("updatedResourceBundle", [](Class&) {
        return NSBundle::bundleWithPath(NSBundle::mainBundle()->bundlePath() + "/updated");
    });
    cls.classMethod("pluralStringFormForNumber:", [](Class&, std::int64_t) { return std::int32_t{2}; });
}

TEST_F(Localization, FindsPluralForms) {
    for (const auto& [number, form] :
         std::map<std::int64_t, int>{{1, 0},
                                     {-1, 0},
                                     {21, 1},
                                     {101, 1},
                                     {3, 2},
                                     {22, 2},
                                     {-4, 2},
                                     {0, 3},
                                     {5, 3},
                                     {11, 3},
                                     {12, 3},
                                     {14, 3},
                                     {111, 3},
                                     {112, 3},
                                     {std::numeric_limits<std::int64_t>::min(), 3}}) {
        EXPECT_EQ(QZNSBundle::pluralStringFormForNumber(number), form) << number;
    }
    run("de", nullptr, [] {
        const auto plural = [](Text key, std::uint64_t number) {
            return QZNSBundle::adjustedLocalizedPluralStringForKey(key, number);
        };
        EXPECT_EQ(plural("Instance", 1), "Instance!");
        EXPECT_EQ(plural("Instance", 2), "few");
        EXPECT_EQ(plural("Instance", 5), "Instance!");
        EXPECT_EQ(plural("QZ.iPad.Instance", 5), "Instance.Form3");  // taken for a text
        EXPECT_FALSE(plural(nullptr, 1));
        // A subclass has a say in both.
        EXPECT_EQ(LoudBundle::adjustedLocalizedPluralStringForKey<LoudBundle>("Instance", 1), "few");
        EXPECT_EQ(LoudBundle::localizedStringForKey<LoudBundle>("Shared"), "Updated");
        EXPECT_EQ(text("Shared"), "Main");
    });
}

TEST_F(Localization, KnowsLanguages) {
    using namespace NSLocaleClass;
    EXPECT_FALSE(localeWithLocaleCode(""));
    EXPECT_EQ(localeWithLocaleCode("pt-br")->localeIdentifier(), "pt_BR");
    const auto german = localeWithLocaleCode("de");
    EXPECT_EQ(languageNameWithIsoCode(german, "fr"), "Französisch");
    EXPECT_EQ(languageName(german, "en"), "Englisch");
    EXPECT_FALSE(languageName(nullptr, "fr"));
    inChild("fr_CA:en", [] {
        EXPECT_EQ(localizeLanguage("en"), "en-CA");
        EXPECT_EQ(localizeLanguage("en-GB"), "en-GB");
    });
    inChild("fr", [] { EXPECT_EQ(localizeLanguage("en"), "en"); });
}

class Hearer : public NSObject {
    QZ_OBJECT(Hearer, NSObject)
public:
    std::vector<Ref<NSNotification>> heard;
    void hear(const Ref<NSNotification>& notification) { heard.push_back(notification); }
};
QZ_DEFINE_CLASS(Hearer, cls) {
    cls.method("hear:", &Hearer::hear);
}

TEST_F(Localization, NotificationsCarryErrorsForPeople) {
    run("de", nullptr, [] {
        const auto hearer = make<Hearer>();
        const auto sender = QZNotification::init();
        const auto other = QZNotification::init();
        const Selector hear("hear:");
        sender->AddObserver(hearer, hear, "A");
        sender->AddObserver(hearer, hear, "");
        other->AddObserver(hearer, hear, "A");
        const auto error =
            NSError::errorWithDomain("d", 7, NSDictionary::dictionary({{NSLocalizedDescriptionKey, "why"}}));
        const auto own = NSMutableDictionary::dictionary({{"mine", 1}});
        sender->postNotificationNameWithError("A", error, own);
        EXPECT_EQ(own->count(), 3);
        EXPECT_EQ(own->objectForKey("error"), id(error));
        const auto exception = unbox<NSException>(own->objectForKey("exception"));
        EXPECT_EQ(exception->name(), "ServiceError");  // no bundle here has it
        EXPECT_EQ(exception->reason(), "why");
        EXPECT_EQ(exception->userInfo()->objectForKey("code"), id(7));
        const auto fixed = NSDictionary::dictionary({{"mine", 1}});
        sender->postNotificationNameWithError("A", error, fixed);
        EXPECT_EQ(fixed->count(), 1);
        sender->postNotificationNameWithError("A", nullptr, fixed);
        sender->postNotificationNameWithError("A", error, nullptr);
        sender->postNotification();
        sender->enqueueNotification();
        sender->enqueueNotification();  // coalesced
        EXPECT_EQ(hearer->heard.size(), 5);
        EXPECT_EQ(hearer->heard[1]->userInfo()->count(), 3);
        EXPECT_EQ(hearer->heard[2]->userInfo(), fixed);
        EXPECT_EQ(hearer->heard[3]->userInfo()->count(), 2);
        while (NSRunLoop::mainRunLoop()->runOnce(false)) {
        }
        EXPECT_EQ(hearer->heard.size(), 6);
        sender->RemoveObserver(hearer);
        sender->postNotificationName("A");
        other->postNotificationName("A");
        EXPECT_EQ(hearer->heard.size(), 7);
    });
}

}  // namespace qz::test
