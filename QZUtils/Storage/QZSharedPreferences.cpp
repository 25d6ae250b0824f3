#include "QZUtils/Storage/QZSharedPreferences.h"

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSUserDefaults.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"

namespace qz {

QZ_DEFINE_CLASS(QZSharedPreferences, cls) {
    using Self = QZSharedPreferences;
    cls.property("appGroupDefaults", &Self::appGroupDefaults, &Self::setAppGroupDefaults);
    cls.method("objectForKeyedSubscript:", &Self::objectForKey);
    cls.method("setObject:forKeyedSubscript:", &Self::setObjectForKey);
    cls.method("preferencesByService", &Self::preferencesByService);
    cls.method("setPreferencesByService:", &Self::setPreferencesByService);
    cls.method("valueForKey:service:", &Self::valueForKey);
    cls.method("setValue:forKey:service:", &Self::setValue);
    cls.method("selectedCountryForService:", [](const Self& self, Text service) {
        return id(Text(self.selectedCountryForService(service)));
    });
    cls.method("setSelectedCountry:forService:", &Self::setSelectedCountry);
    cls.method("thumbnailURLsForService:", &Self::thumbnailURLsForService);
    cls.method("setThumbnailURLs:forService:", &Self::setThumbnailURLs);
    cls.method("randomThumbnailURLForService:", &Self::randomThumbnailURLForService);
    cls.method("mediaURLsForService:", &Self::mediaURLsForService);
    cls.method("setMediaURLs:forService:", &Self::setMediaURLs);
    cls.method("imageURLsForService:", &Self::imageURLsForService);
    cls.method("setImageURLs:forService:", &Self::setImageURLs);
}

namespace {

constexpr const char* preferencesByServiceKey = "preferencesByService";
constexpr std::string_view selectedCountryKey = "selectedCountryCode";

/// A copy to change; empty for null.
Ref<NSMutableDictionary> mutableCopyOf(const Ref<NSDictionary>& dictionary) {
    return dictionary ? dictionary->mutableCopy() : NSMutableDictionary::dictionary();
}

}  // namespace

void QZSharedPreferences::seed(const Ref<NSDictionary>& preferences) {
    if (!preferences || preferences->count() == 0) {
        return;
    }
    appGroupDefaults()->performTransaction([&] {
        if (!objectForKey(preferencesByServiceKey)) {
            setPreferencesByService(preferences);
        }
    });
}

Ref<NSUserDefaults> QZSharedPreferences::appGroupDefaults() const {
    const std::lock_guard lock(mutex_);
    if (!appGroupDefaults_) {
        appGroupDefaults_ = NSUserDefaults::initWithSuiteName(appGroupSuiteName);
    }
    return appGroupDefaults_;
}

void QZSharedPreferences::setAppGroupDefaults(const Ref<NSUserDefaults>& defaults) {
    changing(*this, "appGroupDefaults", [&] {
        const std::lock_guard lock(mutex_);
        appGroupDefaults_ = defaults;
    });
}

id QZSharedPreferences::objectForKey(const std::string& key) const {
    return appGroupDefaults()->objectForKey(key);
}

void QZSharedPreferences::setObjectForKey(const id& object, const std::string& forKey) {
    appGroupDefaults()->setObjectForKey(object, forKey);
}

Ref<NSDictionary> QZSharedPreferences::preferencesByService() const {
    return objectForKey(preferencesByServiceKey).as<NSDictionary>();
}

void QZSharedPreferences::setPreferencesByService(const Ref<NSDictionary>& preferences) {
    setObjectForKey(preferences, preferencesByServiceKey);
}

id QZSharedPreferences::valueForKey(std::string_view key, Text service) const {
    const auto all = preferencesByService();
    const auto settings = all ? all->objectForKey(service).as<NSDictionary>() : nullptr;
    return settings ? settings->objectForKey(key) : id();
}

void QZSharedPreferences::setValue(const id& value, std::string_view forKey, Text service) {
    if (!service) {
        return;
    }
    appGroupDefaults()->performTransaction([&] {
        const auto all = mutableCopyOf(preferencesByService());
        const auto settings = mutableCopyOf(all->objectForKey(service).as<NSDictionary>());
        if (value) {
            settings->setObjectForKey(value, forKey);
        } else {
            settings->removeObjectForKey(forKey);
        }
        all->setObjectForKey(settings, service);
        setPreferencesByService(all);
    });
}

std::optional<std::string> QZSharedPreferences::selectedCountryForService(Text service) const {
    return unbox<std::string>(valueForKey(selectedCountryKey, service));
}

void QZSharedPreferences::setSelectedCountry(Text country, Text forService) {
    setValue(country, selectedCountryKey, forService);
}

}  // namespace qz
