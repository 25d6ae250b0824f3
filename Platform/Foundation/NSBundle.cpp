#include "Platform/Foundation/NSBundle.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/UINib.h"
#include "Platform/Foundation/internal/StringsTable.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/NSLocale.h"

namespace qz {

QZ_DEFINE_CLASS(NSBundle, cls) {
    using Self = NSBundle;
    cls.classMethod("bundleWithPath:", [](Class&, Text path) { return bundleWithPath(path); });
    cls.classMethod("bundleWithURL:", [](Class&, const Ref<NSURL>& url) { return bundleWithURL(url); });
    cls.classMethod("mainBundle", [](Class&) { return mainBundle(); });
    cls.property("bundlePath", &Self::bundlePath);
    cls.property("bundleURL", &Self::bundleURL);
    cls.property("resourcePath", &Self::resourcePath);
    cls.property("bundleIdentifier", [](const Self& self) { return id(Text(self.bundleIdentifier())); });
    cls.method("pathForResource:ofType:", [](const Self& self, Text name, Text type) {
        return id(Text(self.pathForResource(name, type)));
    });
    cls.method("URLForResource:withExtension:", &Self::URLForResource);
    cls.method("localizedStringForKey:value:table:", &Self::localizedStringForKey);
    cls.method("description",
               [](const Self& self) { return "<" + self.isa().name() + ": \"" + self.path_ + "\">"; });
}

namespace {

namespace fs = std::filesystem;

constexpr std::string_view folderExtension = ".lproj";

bool isDirectory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool exists(const std::string& path) {
    std::error_code error;
    return fs::exists(path, error);
}

/// The names in a directory, sorted; none when it cannot be read.
std::vector<std::string> namesIn(const std::string& directory) {
    std::vector<std::string> names;
    std::error_code error;
    for (auto entry = fs::directory_iterator(directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        names.push_back(entry->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string resourceDirectory(const std::string& path) {
    for (const auto* below : {"Contents/Resources", "Resources", "Contents"}) {
        if (auto directory = stringByAppendingPathComponent(path, below); isDirectory(directory)) {
            return directory;
        }
    }
    return path;
}

/// Whether a name stays inside of the bundle: it may have directories, but no way up.
bool staysInside(std::string_view name) {
    const auto components = pathComponents(name);
    return !components.empty() && std::find_if(components.begin(), components.end(), [](const auto& part) {
                                      return part == ".." || part == "/";
                                  }) == components.end();
}

/// "pt-BR" of "PT_br", as tags and folder names are compared.
std::string languageTag(std::string_view name) {
    auto tag = NSLocale::canonicalLocaleIdentifierFromString(name);
    std::replace(tag.begin(), tag.end(), '_', '-');
    return tag;
}

/// A language and those that it is a kind of: "zh-Hant-TW", "zh-Hant", "zh".
std::vector<std::string> withGeneralForms(std::string tag) {
    std::vector<std::string> forms{tag};
    for (auto dash = tag.rfind('-'); dash != std::string::npos; dash = tag.rfind('-')) {
        tag.resize(dash);
        forms.push_back(tag);
    }
    return forms;
}

/// A text of the bundle's Info.plist: that of the first such file that has it.
std::optional<std::string> informationFor(std::string_view key, const std::string& path) {
    for (const auto* place : {"Contents/Info.plist", "Info.plist", "Resources/Info.plist"}) {
        if (const auto data = dataWithContentsOfFile(stringByAppendingPathComponent(path, place), nullptr)) {
            const auto list = NSPropertyListSerialization::propertyListWithData(
                                  *data, NSPropertyListReadOptions::Immutable, nullptr, nullptr)
                                  .as<NSDictionary>();
            if (auto text = list ? unbox<std::string>(list->objectForKey(key)) : std::nullopt) {
                return text;
            }
        }
    }
    return std::nullopt;
}

std::string developmentLanguage(const std::string& path) {
    const auto region = informationFor("CFBundleDevelopmentRegion", path);
    return region ? languageTag(*region) : "en";
}

/// The directory of the resources that come with the library: beside it in a tree that was built, in the
/// data directory of the prefix where it is installed.
std::string libraryResourceDirectory() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<const void*>(&libraryResourceDirectory), &info) == 0 || !info.dli_fname) {
        return "";
    }
    std::error_code error;
    const auto library = fs::canonical(info.dli_fname, error).parent_path();
    for (const auto* place : {"share/QZUtils", QZ_RESOURCES_FROM_LIBRARY}) {
        if (auto directory = (library / place).lexically_normal().string(); isDirectory(directory)) {
            return directory;
        }
    }
    return "";
}

std::string programDirectory() {
    std::error_code error;
    const auto program = fs::read_symlink("/proc/self/exe", error);
    const auto directory = program.parent_path();
    if (directory.filename() == "bin") {
        const auto shared = directory.parent_path() / "share" / program.filename();
        if (isDirectory(shared.string())) {
            return shared.string();
        }
    }
    return directory.string();
}

struct MainBundle {
    std::mutex mutex;
    Ref<NSBundle> bundle;
};

MainBundle& hostsMainBundle() {
    static auto* const main = new MainBundle;  // used until the process is gone
    return *main;
}

}  // namespace

Ref<NSBundle> NSBundle::bundleWithPath(Text path) {
    if (!path || !isDirectory(std::string(path.view()))) {
        return nullptr;
    }
    return qz::make<NSBundle>(std::string(path.view()), "");
}

Ref<NSBundle> NSBundle::bundleWithURL(const Ref<NSURL>& url) {
    return url && url->isFileURL() ? bundleWithPath(url->path()) : nullptr;
}

Ref<NSBundle> NSBundle::mainBundle() {
    auto& main = hostsMainBundle();
    {
        const std::lock_guard lock(main.mutex);
        if (main.bundle) {
            return main.bundle;
        }
    }
    return ownBundle();
}

void NSBundle::setMainBundle(const Ref<NSBundle>& bundle) {
    auto& main = hostsMainBundle();
    const std::lock_guard lock(main.mutex);
    main.bundle = bundle;
}

Ref<NSBundle> NSBundle::ownBundle() {
    static const auto bundle = qz::make<NSBundle>(programDirectory(), libraryResourceDirectory());
    return bundle;
}

NSBundle::NSBundle(std::string path, std::string fallbackPath)
    : path_(std::move(path)),
      resourcePath_(resourceDirectory(path_)),
      fallbackPath_(std::move(fallbackPath)) {}

Ref<NSURL> NSBundle::bundleURL() const {
    return NSURL::fileURLWithPath(path_);
}

std::optional<std::string> NSBundle::bundleIdentifier() const {
    if (auto identifier = informationFor("CFBundleIdentifier", path_); identifier && !identifier->empty()) {
        return identifier;
    }
    return this == mainBundle().get() ? std::optional<std::string>(program_invocation_short_name)
                                      : std::nullopt;
}

// Resources.

std::optional<std::string> NSBundle::pathForResource(Text name, Text ofType) const {
    const auto extension = ofType.valueOr("").empty() ? std::string() : "." + std::string(ofType.view());
    const auto file = std::string(name.valueOr("")) + extension;
    if ((!name && extension.empty()) || (name && !staysInside(file))) {
        return std::nullopt;
    }
    return find(name, file);
}

/// With a nil name the file is what names end with.
std::optional<std::string> NSBundle::find(Text name, std::string_view file) const {
    const auto findIn = [&](const std::string& directory) -> std::optional<std::string> {
        if (!name) {
            for (const auto& one : namesIn(directory)) {
                if (one.ends_with(file)) {
                    return stringByAppendingPathComponent(directory, one);
                }
            }
            return std::nullopt;
        }
        auto path = stringByAppendingPathComponent(directory, file);
        return exists(path) ? std::optional(std::move(path)) : std::nullopt;
    };
    if (auto path = findIn(resourcePath_)) {
        return path;
    }
    for (const auto& folder : languageFolders()) {
        if (auto path = findIn(stringByAppendingPathComponent(resourcePath_, folder))) {
            return path;
        }
    }
    return fallbackPath_.empty() ? std::nullopt : findIn(fallbackPath_);
}

Ref<NSURL> NSBundle::URLForResource(Text name, Text withExtension) const {
    const auto path = pathForResource(name, withExtension);
    return path ? NSURL::fileURLWithPath(*path) : nullptr;
}

Ref<NSArray> NSBundle::loadNibNamed(Text name, Receiver owner) const {
    const auto nib = UINib::nibWithNibName(name, refTo(*this));
    return nib ? nib->instantiateWithOwner(owner, nullptr) : nullptr;
}

// Languages.

std::vector<std::string> NSBundle::localizations() const {
    std::vector<std::string> languages;
    for (const auto& name : namesIn(resourcePath_)) {
        if (name.ends_with(folderExtension) && name != "Base.lproj") {
            languages.push_back(name.substr(0, name.size() - folderExtension.size()));
        }
    }
    return languages;
}

std::vector<std::string> NSBundle::preferredLocalizations() const {
    const auto available = localizations();
    std::vector<std::string> preferred;
    const auto addThose = [&](const std::string& wanted) {
        for (const auto& form : withGeneralForms(wanted)) {
            for (const auto& one : available) {
                if (languageTag(one) == form) {
                    preferred.push_back(one);
                }
            }
        }
    };
    // Of the languages that the user reads the first that there is: its kinds serve too, the others do not.
    for (const auto& language : NSLocale::preferredLanguages()) {
        if (preferred.empty()) {
            addThose(languageTag(language));
        }
    }
    if (preferred.empty()) {
        addThose(developmentLanguage(path_));
    }
    return preferred;
}

const std::vector<std::string>& NSBundle::languageFolders() const {
    const std::lock_guard lock(mutex_);
    if (!languageFolders_) {
        auto languages = preferredLocalizations();
        languages.emplace_back("Base");
        languages.push_back(developmentLanguage(path_));
        for (auto& language : languages) {
            language += folderExtension;
        }
        languageFolders_ = std::move(languages);
    }
    return *languageFolders_;
}

std::string NSBundle::localizedStringForKey(Text key, Text value, Text table) const {
    if (!key) {
        return std::string(value.valueOr(""));
    }
    const auto texts = this->table(table.valueOr("").empty() ? "Localizable" : table.view());
    if (const auto* text = texts->find(key.view())) {
        return *text;
    }
    return std::string(value.valueOr("").empty() ? key.view() : value.view());
}

std::shared_ptr<const internal::StringsTable> NSBundle::table(std::string_view name) const {
    {
        const std::lock_guard lock(mutex_);
        if (const auto place = tables_.find(name); place != tables_.end()) {
            return place->second;
        }
    }
    // Two threads may both read it; the first one's counts.
    const auto path = pathForResource(name, "strings");
    const auto texts =
        path ? internal::StringsTable::read(*path) : std::make_shared<const internal::StringsTable>();
    const std::lock_guard lock(mutex_);
    return tables_.emplace(name, texts).first->second;
}

}  // namespace qz
