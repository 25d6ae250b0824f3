#include "QZUtils/Device/QZNSBundle.h"

#include <atomic>
#include <mutex>

#include "Platform/Dispatch/DelayedPerforming.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/UINib.h"
#include "Platform/Foundation/UIStoryboard.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Monitor.h"
#include "Platform/Runtime/Send.h"
#include "Platform/Text/NSLocale.h"
#include "QZUtils/Extensions/NSObject/NSObject+Unwrap.h"
#include "Siblings/QZSDKUtil.h"
#include "Siblings/QZUserDefaults.h"

namespace qz {

namespace {

constexpr std::string_view keyNamespace = "QZ.iPad.";
constexpr std::string_view missingKey = "__keyNotFound__";
constexpr std::string_view customBundleDefault = "CustomResourcesBundle";
constexpr std::string_view instanceName = "QuillmarkResources";
constexpr std::string_view SFName = "SFResources";
constexpr std::string_view bundleExtension = "bundle";
constexpr std::string_view specificTable = "UISpecific";

struct State {
    // The class's own monitor guards the instance and the two English tables.
    Ref<NSBundle> instance;
    Ref<NSBundle> english;
    Ref<NSBundle> updatedEnglish;
    std::atomic<Ref<NSBundle>> updated;
};

State& state() {
    static auto* const state = new State;  // used until the process is gone
    return *state;
}

const Monitor& classMonitor() {
    static const auto monitor = monitorOf(QZNSBundle::cls());
    return monitor;
}

Ref<NSBundle> bundleAtURL(const Ref<NSURL>& url) {
    return map(url, [](const Ref<NSURL>& found) { return NSBundle::bundleWithURL(found); });
}

Ref<NSBundle> englishTables(const Ref<NSBundle>& bundle) {
    const auto path = bundle ? bundle->pathForResource("en", "lproj") : std::nullopt;
    return NSBundle::bundleWithPath(path);
}

/// The last word when nobody has a text.
std::string withoutNamespace(std::string key) {
    for (auto place = key.find(keyNamespace); place != std::string::npos;
         place = key.find(keyNamespace, place)) {
        key.erase(place, keyNamespace.size());
    }
    return key;
}

bool skipsEnglish() {
    const auto language = NSLocale::preferredLanguages().front();
    return language == "en-US" || language == "en";
}

/// The first text that one of the bundles has.
template <class... B>
std::optional<std::string> firstText(const std::string& key, const B&... bundles) {
    std::optional<std::string> text;
    static_cast<void>((... || (text = QZNSBundle::localizedStringForKeyInBundle(key, bundles)).has_value()));
    return text;
}

}  // namespace

QZ_DEFINE_CLASS(QZNSBundle, cls) {
    cls.classMethod("instance", [](Class&) { return instance(); });
    cls.classMethod("hasInstance", [](Class&) { return hasInstance(); });
    cls.classMethod("customResourcesBundle", [](Class&) { return customResourcesBundle(); });
    cls.classMethod("SFBundle", [](Class&) { return SFBundle(); });
    cls.classMethod("_updatedResourcesBundle", [](Class&) { return _updatedResourcesBundle(); });
    cls.classMethod("set_updatedResourcesBundle:",
                    [](Class&, const Ref<NSBundle>& bundle) { set_updatedResourcesBundle(bundle); });
    cls.classMethod("resetUpdatedBundle", [](Class&) { resetUpdatedBundle(); });
    cls.classMethod("dismiss", [](Class&) { dismiss(); });
    cls.classMethod("mainBundle", [](Class&) { return mainBundle(); });
    cls.classMethod("localizedStringForKey:inBundle:", [](Class&, Text key, const Ref<NSBundle>& bundle) {
        return id(Text(localizedStringForKeyInBundle(key, bundle)));
    });
    cls.classMethod("localizedStringForKey:", [](Class& receiver, Text key) {
        return id(Text(resolve(receiver, key, QZPreferredBundle::Custom)));
    });
    cls.classMethod("localizedStringForKey:preferredBundle:",
                    [](Class& receiver, Text key, std::uint64_t preferred) {
                        return id(Text(resolve(receiver, key, static_cast<QZPreferredBundle>(preferred))));
                    });
    cls.classMethod("specificLocalizedStringForKey:",
                    [](Class&, Text key) { return id(Text(specificLocalizedStringForKey(key))); });
    cls.classMethod("pluralStringFormForNumber:",
                    [](Class&, std::int64_t number) { return pluralStringFormForNumber(number); });
    cls.classMethod("adjustedLocalizedPluralStringForKey:number:",
                    [](Class& receiver, Text key, std::uint64_t number) {
                        return id(Text(resolvePlural(receiver, key, number)));
                    });
    cls.classMethod("pathForResource:ofType:",
                    [](Class&, Text name, Text type) { return id(Text(pathForResource(name, type))); });
    cls.classMethod("bundleForResource:ofType:",
                    [](Class&, Text name, Text type) { return bundleForResource(name, type); });
    cls.classMethod("storyboardWithName:", [](Class&, Text name) { return storyboardWithName(name); });
    cls.classMethod("nibWithName:", [](Class&, Text name) { return nibWithName(name); });
    cls.classMethod("loadNibNamed:owner:",
                    [](Class&, Text name, const Ref<Object>& owner) { return loadNibNamed(name, owner); });
}

// Bundles.

Ref<NSBundle> QZNSBundle::instance() {
    auto& shared = state();
    const std::lock_guard lock(*classMonitor());
    if (!shared.instance) {
        const auto main = NSBundle::mainBundle();
        const auto own = bundleAtURL(main->URLForResource(instanceName, bundleExtension));
        shared.instance = own ? own : main;
    }
    return shared.instance;
}

bool QZNSBundle::hasInstance() {
    auto& shared = state();
    const std::lock_guard lock(*classMonitor());
    return shared.instance != nullptr;
}

Ref<NSBundle> QZNSBundle::customResourcesBundle() {
    static const auto bundle = [] {
        const auto main = NSBundle::mainBundle();
        Ref<NSBundle> named;
        if (const auto name = QZUserDefaults::standardUserDefaults()->stringForKey(customBundleDefault)) {
            const auto url = main->URLForResource(*name, bundleExtension);
            named = bundleAtURL(url ? url : main->URLForResource(*name, nullptr));
        }
        return named || QZSDKUtil::isSDK() ? named : main;
    }();
    return bundle;
}

Ref<NSBundle> QZNSBundle::SFBundle() {
    static const auto bundle = bundleAtURL(NSBundle::mainBundle()->URLForResource(SFName, bundleExtension));
    return bundle;
}

Ref<NSBundle> QZNSBundle::_updatedResourcesBundle() {
    return state().updated.load();
}

void QZNSBundle::set_updatedResourcesBundle(const Ref<NSBundle>& bundle) {
    state().updated.store(bundle);
}

void QZNSBundle::resetUpdatedBundle() {
    auto& shared = state();
    const std::lock_guard lock(*classMonitor());
    shared.updated.store(nullptr);
    shared.updatedEnglish = nullptr;
}

void QZNSBundle::dismiss() {
    auto& shared = state();
    const std::lock_guard lock(*classMonitor());
    cancelPreviousPerformRequests(shared.instance);
    shared.instance = nullptr;
    shared.english = nullptr;
    resetUpdatedBundle();
}

Ref<NSBundle> QZNSBundle::preferredLanguageBundle() {
    auto& shared = state();
    const std::lock_guard lock(*classMonitor());
    if (!shared.english) {
        shared.english = englishTables(instance());
    }
    return shared.english;
}

Ref<NSBundle> QZNSBundle::customPreferredLanguageBundle() {
    static const auto bundle = englishTables(customResourcesBundle());
    return bundle;
}

Ref<NSBundle> QZNSBundle::preferredLanguageBundleInUpdatedResourceBundle() {
    auto& shared = state();
    const std::lock_guard lock(*classMonitor());
    if (!shared.updatedEnglish) {
        shared.updatedEnglish = englishTables(_updatedResourcesBundle());
    }
    return shared.updatedEnglish;
}

// Texts.

std::optional<std::string> QZNSBundle::localizedStringForKeyInBundle(Text key, const Ref<NSBundle>& bundle) {
    if (!bundle || !key) {
        return std::nullopt;
    }
    auto text = bundle->NSBundle::localizedStringForKey(key, missingKey, nullptr);
    return text == missingKey ? std::nullopt : std::optional(std::move(text));
}

std::optional<std::string> QZNSBundle::resolve(Class& receiver, Text key, QZPreferredBundle preferredBundle) {
    if (!key) {
        return std::nullopt;
    }
    auto full = std::string(key.view());
    if (!full.empty() && !full.starts_with(keyNamespace)) {
        full.insert(0, keyNamespace);
    }
    static const Selector hook("updatedResourceBundle");
    const auto updated =
        receiver.respondsToSelector(hook) ? send<Ref<NSBundle>>(receiver, hook) : _updatedResourcesBundle();
    const auto custom = customResourcesBundle();
    // The main bundle stands in for a custom one only where that comes first.
    auto text = preferredBundle == QZPreferredBundle::Instance
                    ? firstText(full, updated, instance(), custom)
                    : firstText(full, updated, custom ? custom : NSBundle::mainBundle(), instance());
    if (!text && !skipsEnglish()) {
        text = firstText(full, preferredLanguageBundleInUpdatedResourceBundle(),
                         customPreferredLanguageBundle(), preferredLanguageBundle());
    }
    return text ? text : withoutNamespace(std::move(full));
}

std::optional<std::string> QZNSBundle::specificLocalizedStringForKey(Text key) {
    if (!key) {
        return std::nullopt;
    }
    auto text = instance()->NSBundle::localizedStringForKey(key, nullptr, specificTable);
    return text == key.view() ? std::nullopt : std::optional(std::move(text));
}

std::int32_t QZNSBundle::pluralStringFormForNumber(std::int64_t number) noexcept {
    const auto n = number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
    if (n == 1) {
        return 0;
    }
    const auto tens = n % 100;
    const auto ones = n % 10;
    if (tens >= 11 && tens <= 14) {
        return 3;
    }
    return ones == 1 ? 1 : ones >= 2 && ones <= 4 ? 2 : 3;
}

std::optional<std::string> QZNSBundle::resolvePlural(Class& receiver, Text key, std::uint64_t number) {
    if (!key) {
        return std::nullopt;
    }
    const auto form = send<std::int32_t>(receiver, Selector("pluralStringFormForNumber:"),
                                         static_cast<std::int64_t>(number));
    if (form != 0) {
        const auto formKey = stringWithFormat("%@.Form%d", key, form);
        auto text = resolve(receiver, formKey, QZPreferredBundle::Custom);
        if (text != formKey) {
            return text;
        }
    }
    return resolve(receiver, key, QZPreferredBundle::Custom);
}

// Resources.

std::optional<std::string> QZNSBundle::pathForResource(Text name, Text ofType) {
    for (const auto& bundle : {customResourcesBundle(), instance(), NSBundle::mainBundle()}) {
        if (auto path = bundle ? bundle->NSBundle::pathForResource(name, ofType) : std::nullopt) {
            return path;
        }
    }
    return std::nullopt;
}

Ref<NSBundle> QZNSBundle::bundleForResource(Text name, Text ofType) {
    for (auto bundle : {customResourcesBundle(), instance()}) {
        if (bundle && bundle->NSBundle::pathForResource(name, ofType)) {
            return bundle;
        }
    }
    return nullptr;
}

Ref<UIStoryboard> QZNSBundle::storyboardWithName(Text name) {
    return UIStoryboard::storyboardWithName(name, bundleForResource(name, "storyboardc"));
}

Ref<UINib> QZNSBundle::nibWithName(Text name) {
    const auto bundle = bundleForResource(name, "nib");
    return bundle ? UINib::nibWithNibName(name, bundle) : nullptr;
}

Ref<NSArray> QZNSBundle::loadNibNamed(Text name, Receiver owner) {
    const auto bundle = bundleForResource(name, "nib");
    return bundle ? bundle->NSBundle::loadNibNamed(name, owner) : nullptr;
}

}  // namespace qz
