// NSLocale: a language and a region, and what they are called. Immutable; may be used from any thread.
//
//     NSLocale::preferredLanguages();                                  // {"de-AT", "de", "en"}
//     NSLocale::localeWithLocaleIdentifier("fr_CA")->languageCode();   // "fr"
//
// Identifiers are "language_REGION", also with a script in between; "-" serves for "_".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSDictionary;

/// Keys of componentsFromLocaleIdentifier().
inline constexpr std::string_view NSLocaleLanguageCode = "kCFLocaleLanguageCodeKey";
inline constexpr std::string_view NSLocaleCountryCode = "kCFLocaleCountryCodeKey";
inline constexpr std::string_view NSLocaleScriptCode = "kCFLocaleScriptCodeKey";

class QZ_EXPORT NSLocale : public NSObject {
    QZ_OBJECT(NSLocale, NSObject)
public:
    /// That of the user's environment now: the first of LC_ALL, LC_TIME, LANG that is set and not empty; "C"
    /// and "POSIX" are "en_US_POSIX".
    [[nodiscard]] static Ref<NSLocale> currentLocale();
    /// An identifier that means nothing is kept, and behaves as the root locale.
    template <class Self = NSLocale>
    [[nodiscard]] static Ref<Self> localeWithLocaleIdentifier(std::string_view identifier) {
        return make<Self>(canonicalLocaleIdentifierFromString(identifier));
    }
    /// The languages that the user wants to read, best first, as language tags ("de-AT"): those of LANGUAGE,
    /// or else that of the first of LC_ALL, LC_MESSAGES, LANG that is set and not empty. "C" and "POSIX" mean
    /// "en", and LANGUAGE, as in gettext, does not count beside them. Read from the environment at each call;
    /// never empty.
    [[nodiscard]] static std::vector<std::string> preferredLanguages();
    /// Case and separators as they are usual: "en_US" of "EN-us".
    [[nodiscard]] static std::string canonicalLocaleIdentifierFromString(std::string_view identifier);
    /// Texts under the keys above, as far as the identifier has them.
    [[nodiscard]] static Ref<NSDictionary> componentsFromLocaleIdentifier(std::string_view identifier);

    [[nodiscard]] const std::string& localeIdentifier() const noexcept { return identifier_; }
    /// Empty when the identifier has none.
    [[nodiscard]] std::string languageCode() const;
    [[nodiscard]] std::optional<std::string> countryCode() const;
    [[nodiscard]] std::optional<std::string> scriptCode() const;

    /// What a language, or a region, is called in this locale: "Französisch"; nullopt when it has no name.
    [[nodiscard]] std::optional<std::string> localizedStringForLanguageCode(std::string_view code) const;
    [[nodiscard]] std::optional<std::string> localizedStringForCountryCode(std::string_view code) const;

protected:
    explicit NSLocale(std::string identifier) : identifier_(std::move(identifier)) {}

private:
    const std::string identifier_;
};

}  // namespace qz
