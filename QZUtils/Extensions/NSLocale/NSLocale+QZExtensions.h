// NSLocale(QZExtensions): language codes as services send them, and what languages are called.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Text/NSLocale.h"

namespace qz {

namespace NSLocaleClass {

/// The locale of a code with "-" or "_" in it; null for nil and the empty code.
[[nodiscard]] QZ_EXPORT Ref<NSLocale> localeWithLocaleCode(Text localeCode);
/// A language with the country of the user's first language: "en" becomes "en-CA" for who reads French as in
/// Canada. A code with a "-", and any code where that language names no country, comes back as it is.
[[nodiscard]] QZ_EXPORT std::string localizeLanguage(std::string_view language);

}  // namespace NSLocaleClass

/// What a language is called in the locale; nullopt when it has no name, and for a null locale.
[[nodiscard]] QZ_EXPORT std::optional<std::string> languageNameWithIsoCode(const Ref<NSLocale>& self,
                                                                           std::string_view isoCode);
/// The same.
[[nodiscard]] QZ_EXPORT std::optional<std::string> languageName(const Ref<NSLocale>& self,
                                                                std::string_view isoCode);

}  // namespace qz
