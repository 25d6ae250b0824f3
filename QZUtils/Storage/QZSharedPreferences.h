// QZSharedPreferences: settings of each service that the user reads, shared by the applications and
// extensions of one group.
//
//     const auto preferences = QZSharedPreferences::init();
//     preferences->setSelectedCountry("de", "daily");
//     const auto server = preferences->randomThumbnailURLForService("daily");
//
// They are kept in a suite of user defaults (NSUserDefaults.h) as one dictionary, "preferencesByService", of
// a dictionary for each service. Every write of a setting rewrites that whole dictionary, in a transaction:
// two processes that write at once lose nothing of each other's. What fails there reads as nil or is not
// written.
//
// Safe from any thread.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"
#include "QZUtils/Concurrency/QZSynchronizedCollection.h"

namespace qz {

class NSArray;
class NSDictionary;
class NSUserDefaults;

class QZ_EXPORT QZSharedPreferences : public NSObject {
    QZ_OBJECT(QZSharedPreferences, NSObject)
public:
    /// The suite of the group, which the applications and their extensions have in common.
    static constexpr std::string_view appGroupSuiteName = "group.com.quillmark";

    template <class Self = QZSharedPreferences>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }
    /// Stores the dictionary, unless there is one already or the given one is empty or null.
    template <class Self = QZSharedPreferences>
    [[nodiscard]] static Ref<Self> initWithPreferencesByService(const Ref<NSDictionary>& preferences) {
        auto made = make<Self>();
        made->seed(preferences);
        return made;
    }

    /// Where everything is kept: the suite of the group unless another was set. Made when it is asked for
    /// first.
    [[nodiscard]] Ref<NSUserDefaults> appGroupDefaults() const;
    /// Null brings the group's suite back.
    void setAppGroupDefaults(const Ref<NSUserDefaults>& defaults);

    /// `preferences[key]` reads that key of the suite, and assigning to it writes there; nil removes.
    [[nodiscard]] auto operator[](std::string_view key) noexcept {
        return SynchronizedSubscript<QZSharedPreferences, std::string, &QZSharedPreferences::objectForKey,
                                     &QZSharedPreferences::setObjectForKey>(*this, std::string(key));
    }

    /// The whole dictionary; null when there is none.
    [[nodiscard]] Ref<NSDictionary> preferencesByService() const;
    void setPreferencesByService(const Ref<NSDictionary>& preferences);

    /// A setting of a service; nil when it has none.
    [[nodiscard]] id valueForKey(std::string_view key, Text service) const;
    /// Nil removes the setting; the service stays, with what else it has. A nil service is ignored. Raises
    /// NSInvalidArgumentException for what is no property list.
    void setValue(const id& value, std::string_view forKey, Text service);

    /// The code of a country.
    [[nodiscard]] std::optional<std::string> selectedCountryForService(Text service) const;
    void setSelectedCountry(Text country, Text forService);

    // Addresses of a service's resource servers: arrays of texts; setting null removes.

    /// Those that were set, or else two that serve every service.
    [[nodiscard]] Ref<NSArray> thumbnailURLsForService(Text service) const;
    void setThumbnailURLs(const Ref<NSArray>& urls, Text forService);
    /// One of them by chance (NSArray+Extended.h).
    [[nodiscard]] std::string randomThumbnailURLForService(Text service) const;
    /// Null when none were set; so for the images.
    [[nodiscard]] Ref<NSArray> mediaURLsForService(Text service) const;
    void setMediaURLs(const Ref<NSArray>& urls, Text forService);
    [[nodiscard]] Ref<NSArray> imageURLsForService(Text service) const;
    void setImageURLs(const Ref<NSArray>& urls, Text forService);

protected:
    QZSharedPreferences() = default;

private:
    void seed(const Ref<NSDictionary>& preferences);
    [[nodiscard]] id objectForKey(const std::string& key) const;
    void setObjectForKey(const id& object, const std::string& forKey);

    mutable std::mutex mutex_;  // guards the field
    mutable Ref<NSUserDefaults> appGroupDefaults_;
};

}  // namespace qz
