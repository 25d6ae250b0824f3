#include "Platform/Text/NSLocale.h"

#include <unicode/locid.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <cstdlib>
#include <initializer_list>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

namespace {

/// The first of the variables that is set and not empty.
std::string_view environmentValue(std::initializer_list<const char*> names) {
    for (const auto* name : names) {
        if (const auto* value = std::getenv(name); value && *value) {
            return value;
        }
    }
    return {};
}

/// "de_AT" of "de_AT.UTF-8@euro".
std::string_view withoutEncoding(std::string_view name) {
    return name.substr(0, name.find_first_of(".@"));
}

bool isPortable(std::string_view name) {
    return name.empty() || name == "C" || name == "POSIX";
}

std::string languageTag(std::string_view name) {
    std::string tag = NSLocale::canonicalLocaleIdentifierFromString(name);
    std::replace(tag.begin(), tag.end(), '_', '-');
    return tag;
}

/// What ICU writes into a buffer of the caller's: the function is called with buffer, size and error.
template <class F>
std::string fromICU(F&& function) {
    char buffer[ULOC_FULLNAME_CAPACITY];
    UErrorCode error = U_ZERO_ERROR;
    const auto size = function(buffer, static_cast<std::int32_t>(sizeof buffer), &error);
    return U_SUCCESS(error) && size > 0 ? std::string(buffer, static_cast<std::size_t>(size)) : std::string();
}

std::optional<std::string> orNil(std::string text) {
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

std::string languageOf(const std::string& identifier) {
    return fromICU([&](char* buffer, std::int32_t size, UErrorCode* error) {
        return uloc_getLanguage(identifier.c_str(), buffer, size, error);
    });
}
std::string countryOf(const std::string& identifier) {
    return fromICU([&](char* buffer, std::int32_t size, UErrorCode* error) {
        return uloc_getCountry(identifier.c_str(), buffer, size, error);
    });
}
std::string scriptOf(const std::string& identifier) {
    return fromICU([&](char* buffer, std::int32_t size, UErrorCode* error) {
        return uloc_getScript(identifier.c_str(), buffer, size, error);
    });
}

/// A display name that only repeats the code is none.
std::optional<std::string> nameUnlessCode(const icu::UnicodeString& name, const std::string& code) {
    std::string text;
    name.toUTF8String(text);
    return text.empty() || text == code ? std::nullopt : std::optional(text);
}

}  // namespace

QZ_DEFINE_CLASS(NSLocale, cls) {
    cls.classMethod("currentLocale", [](Class&) { return currentLocale(); });
    cls.classMethod("localeWithLocaleIdentifier:",
                    [](Class&, std::string_view name) { return localeWithLocaleIdentifier(name); });
    cls.property("localeIdentifier", &NSLocale::localeIdentifier);
    cls.property("languageCode", &NSLocale::languageCode);
    cls.property("countryCode", [](const NSLocale& self) { return id(Text(self.countryCode())); });
    cls.method("description", &NSLocale::localeIdentifier);
    cls.method("isEqual:", [](const NSLocale& self, const id& other) {
        const auto locale = other.as<NSLocale>();
        return locale && locale->localeIdentifier() == self.localeIdentifier();
    });
    cls.method("hash",
               [](const NSLocale& self) { return std::hash<std::string>()(self.localeIdentifier()); });
}

Ref<NSLocale> NSLocale::currentLocale() {
    const auto name = withoutEncoding(environmentValue({"LC_ALL", "LC_TIME", "LANG"}));
    return localeWithLocaleIdentifier(isPortable(name) ? "en_US_POSIX" : name);
}

std::vector<std::string> NSLocale::preferredLanguages() {
    std::vector<std::string> languages;
    const auto add = [&](std::string_view name) {
        auto tag = isPortable(name) ? "en" : languageTag(name);
        if (!tag.empty() && std::find(languages.begin(), languages.end(), tag) == languages.end()) {
            languages.push_back(std::move(tag));
        }
    };
    const auto locale = withoutEncoding(environmentValue({"LC_ALL", "LC_MESSAGES", "LANG"}));
    // Like gettext, LANGUAGE counts only in a locale that speaks a language.
    auto list = isPortable(locale) ? std::string_view() : environmentValue({"LANGUAGE"});
    while (!list.empty()) {
        const auto colon = list.find(':');
        if (const auto name = withoutEncoding(list.substr(0, colon)); !name.empty()) {
            add(name);
        }
        list.remove_prefix(colon == std::string_view::npos ? list.size() : colon + 1);
    }
    if (languages.empty()) {
        add(locale);
    }
    return languages;
}

std::string NSLocale::canonicalLocaleIdentifierFromString(std::string_view identifier) {
    const std::string given(identifier.substr(0, identifier.find('\0')));
    auto canonical = fromICU([&](char* buffer, std::int32_t size, UErrorCode* error) {
        return uloc_getName(given.c_str(), buffer, size, error);
    });
    return canonical.empty() ? given : canonical;
}

Ref<NSDictionary> NSLocale::componentsFromLocaleIdentifier(std::string_view identifier) {
    const auto canonical = canonicalLocaleIdentifierFromString(identifier);
    const auto components = NSMutableDictionary::dictionary();
    const auto add = [&](std::string_view key, const std::string& value) {
        if (!value.empty()) {
            components->setObjectForKey(value, key);
        }
    };
    add(NSLocaleLanguageCode, languageOf(canonical));
    add(NSLocaleScriptCode, scriptOf(canonical));
    add(NSLocaleCountryCode, countryOf(canonical));
    return components->copy();
}

std::string NSLocale::languageCode() const {
    return languageOf(identifier_);
}
std::optional<std::string> NSLocale::countryCode() const {
    return orNil(countryOf(identifier_));
}
std::optional<std::string> NSLocale::scriptCode() const {
    return orNil(scriptOf(identifier_));
}

std::optional<std::string> NSLocale::localizedStringForLanguageCode(std::string_view code) const {
    const std::string language(code);
    icu::UnicodeString name;
    icu::Locale(language.c_str()).getDisplayLanguage(icu::Locale(identifier_.c_str()), name);
    return nameUnlessCode(name, language);
}

std::optional<std::string> NSLocale::localizedStringForCountryCode(std::string_view code) const {
    const std::string country(code);
    icu::UnicodeString name;
    icu::Locale("", country.c_str()).getDisplayCountry(icu::Locale(identifier_.c_str()), name);
    return nameUnlessCode(name, country);
}

}  // namespace qz
