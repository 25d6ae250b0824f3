#include <algorithm>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Extensions/NSLocale/NSLocale+QZExtensions.h"

namespace qz {

QZ_DEFINE_CATEGORY(NSLocale, QZExtensions, cls) {
    cls.classMethod("localeWithLocaleCode:",
                    [](Class&, Text code) { return NSLocaleClass::localeWithLocaleCode(code); });
    cls.classMethod("localizeLanguage:", [](Class&, std::string_view language) {
        return NSLocaleClass::localizeLanguage(language);
    });
    cls.method("languageNameWithIsoCode:", [](const NSLocale& self, std::string_view code) {
        return id(Text(self.localizedStringForLanguageCode(code)));
    });
}

namespace NSLocaleClass {

Ref<NSLocale> localeWithLocaleCode(Text localeCode) {
    auto identifier = std::string(localeCode.valueOr(""));
    if (identifier.empty()) {
        return nullptr;
    }
    std::replace(identifier.begin(), identifier.end(), '-', '_');
    return NSLocale::localeWithLocaleIdentifier(identifier);
}

std::string localizeLanguage(std::string_view language) {
    auto unchanged = std::string(language);
    const auto preferred = NSLocale::preferredLanguages();
    if (language.find('-') != std::string_view::npos || preferred.empty()) {
        return unchanged;
    }
    const auto components = NSLocale::componentsFromLocaleIdentifier(preferred.front());
    const auto country = unbox<std::string>(components->objectForKey(NSLocaleCountryCode)).value_or("");
    return country.empty() ? unchanged : unchanged + "-" + country;
}

}  // namespace NSLocaleClass

std::optional<std::string> languageNameWithIsoCode(const Ref<NSLocale>& self, std::string_view isoCode) {
    return self ? self->localizedStringForLanguageCode(isoCode) : std::nullopt;
}

std::optional<std::string> languageName(const Ref<NSLocale>& self, std::string_view isoCode) {
    return languageNameWithIsoCode(self, isoCode);
}

}  // namespace qz
