// QZNSBundle: where the library and its applications get their texts and interface resources from.
//
//     QZNSBundle::localizedStringForKey("CannotOpenFile");       // "The file cannot be opened."
//     QZNSBundle::adjustedLocalizedPluralStringForKey("Issues", 3);
//     QZNSBundle::pathForResource("cover", "png");
//
// Three bundles are asked, in this order: updated resources, which a host has downloaded and set; custom
// resources, which the user default "CustomResourcesBundle" names, or else the main bundle; and the instance,
// the resource "QuillmarkResources.bundle" of the main bundle, or else the main bundle. When none of them has
// a text in the user's language, their English tables are asked, unless the user's language is "en" or
// "en-US". Last of all a key stands for itself, so that an interface shows something.
//
// Keys live in the namespace "QZ.iPad.", which is put before those that lack it. There are no objects of this
// class: all of it is asked of the class, and a subclass may be asked instead. One that answers
// "updatedResourceBundle" (or a host that adds that message to the class) replaces the updated bundle.
//
// May be used from several threads at once. The instance and the English tables are found under one lock, the
// updated bundle is stored and loaded without it. The custom bundle and the SF bundle are found once in a
// process.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSBundle.h"

namespace qz {

class UINib;
class UIStoryboard;

/// Which bundle is asked first, after the updated one.
enum class QZPreferredBundle : std::uint64_t { Custom = 0, Instance = 1 };

class QZ_EXPORT QZNSBundle : public NSBundle {
    QZ_OBJECT(QZNSBundle, NSBundle)
public:
    // Bundles. Null where there is none.

    /// Never null.
    [[nodiscard]] static Ref<NSBundle> instance();
    /// Whether instance() was asked for and not dismissed since.
    [[nodiscard]] static bool hasInstance();
    [[nodiscard]] static Ref<NSBundle> customResourcesBundle();
    [[nodiscard]] static Ref<NSBundle> SFBundle();
    [[nodiscard]] static Ref<NSBundle> _updatedResourcesBundle();
    static void set_updatedResourcesBundle(const Ref<NSBundle>& bundle);
    /// Forgets the updated bundle.
    static void resetUpdatedBundle();
    /// Forgets the instance, too, after cancelling delayed messages to it. It is found anew when needed.
    static void dismiss();
    /// Always null: the main bundle of the platform is NSBundle::mainBundle(), and this name hides it on
    /// purpose.
    [[nodiscard]] static Ref<NSBundle> mainBundle() { return nullptr; }

    /// The English tables of the instance, the custom and the updated bundle, as bundles.
    [[nodiscard]] static Ref<NSBundle> preferredLanguageBundle();
    [[nodiscard]] static Ref<NSBundle> customPreferredLanguageBundle();
    [[nodiscard]] static Ref<NSBundle> preferredLanguageBundleInUpdatedResourceBundle();

    // Texts.

    /// The bundle's own text, without the namespace being added; nullopt when it has none, or is null.
    [[nodiscard]] static std::optional<std::string> localizedStringForKeyInBundle(
        Text key, const Ref<NSBundle>& bundle);
    /// Nullopt for a nil key alone.
    template <class Self = QZNSBundle>
    [[nodiscard]] static std::optional<std::string> localizedStringForKey(Text key) {
        return localizedStringForKeyPreferredBundle<Self>(key, QZPreferredBundle::Custom);
    }
    template <class Self = QZNSBundle>
    [[nodiscard]] static std::optional<std::string> localizedStringForKeyPreferredBundle(
        Text key, QZPreferredBundle preferredBundle) {
        return resolve(Self::cls(), key, preferredBundle);
    }
    /// The text of the table "UISpecific" of the instance; nullopt when it has none.
    [[nodiscard]] static std::optional<std::string> specificLocalizedStringForKey(Text key);

    /// Which of four forms a number takes: 0 for one, 1 for 21, 31, 101 …, 2 for 2 to 4, 22 to 24 …, 3 for
    /// the rest. The sign does not count.
    [[nodiscard]] static std::int32_t pluralStringFormForNumber(std::int64_t number) noexcept;
    /// The text under the key with ".Form1" to ".Form3" behind it, or under the key itself for form 0 and
    /// where the other is missing. The form is what the class answers to "pluralStringFormForNumber:". For a
    /// key with the namespace in front, a missing form's key is taken for its text, and callers rely on it.
    template <class Self = QZNSBundle>
    [[nodiscard]] static std::optional<std::string> adjustedLocalizedPluralStringForKey(
        Text key, std::uint64_t number) {
        return resolvePlural(Self::cls(), key, number);
    }

    // Resources of the custom bundle, or else the instance.

    /// Of the main bundle as a last resort.
    [[nodiscard]] static std::optional<std::string> pathForResource(Text name, Text ofType);
    /// The bundle that has it; null when neither does.
    [[nodiscard]] static Ref<NSBundle> bundleForResource(Text name, Text ofType);
    /// Of the main bundle as a last resort; null when that lacks it too.
    [[nodiscard]] static Ref<UIStoryboard> storyboardWithName(Text name);
    [[nodiscard]] static Ref<UINib> nibWithName(Text name);
    /// The objects of a nib; null when no bundle has it.
    [[nodiscard]] static Ref<NSArray> loadNibNamed(Text name, Receiver owner);

protected:
    using NSBundle::NSBundle;

private:
    [[nodiscard]] static std::optional<std::string> resolve(Class& receiver, Text key,
                                                            QZPreferredBundle preferredBundle);
    [[nodiscard]] static std::optional<std::string> resolvePlural(Class& receiver, Text key,
                                                                  std::uint64_t number);
};

}  // namespace qz
