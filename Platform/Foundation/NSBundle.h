// NSBundle: a directory of resources: files by name, and texts by key in the user's language.
//
//     const auto bundle = NSBundle::bundleWithPath("/usr/share/reader");
//     bundle->localizedStringForKey("Open", nullptr, nullptr);    // of Localizable.strings
//     bundle->pathForResource("cover", "png");
//
// Resources lie in the directory itself, or in Resources, Contents/Resources or Contents below it. Those that
// differ by language lie in folders named "<language>.lproj" there ("de", "pt-BR", "pt_BR"); "Base.lproj" and
// the development language ("en", or what CFBundleDevelopmentRegion of Info.plist says) serve everybody else.
// The user's languages are those of NSLocale::preferredLanguages() when the bundle is first asked for one.
//
// A table of texts is a file "<table>.strings": `"key" = "value";` with comments and escapes, in UTF-8 or,
// with a byte order mark, UTF-16, or a property list in XML or binary form. Of equal keys the last counts. A
// table that cannot be read has no texts; that is logged once. Tables are read when they are first needed and
// kept; a look-up then costs a lock and a hash.
//
// May be used from several threads at once.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSArray;
class NSURL;

namespace internal {
class StringsTable;
}

class QZ_EXPORT NSBundle : public NSObject {
    QZ_OBJECT(NSBundle, NSObject)
public:
    /// Null for nil and for what is no directory.
    [[nodiscard]] static Ref<NSBundle> bundleWithPath(Text path);
    /// Null, too, for other than file: URLs.
    [[nodiscard]] static Ref<NSBundle> bundleWithURL(const Ref<NSURL>& url);

    /// The program's own: the directory share/PROGRAM beside the executable's bin directory if there is
    /// one, the executable's directory otherwise. What it lacks is looked for among the resources that come
    /// with this library.
    [[nodiscard]] static Ref<NSBundle> mainBundle();
    /// Makes another one the main bundle, or with null the program's own again. For a host, as it starts.
    static void setMainBundle(const Ref<NSBundle>& bundle);

    [[nodiscard]] const std::string& bundlePath() const noexcept { return path_; }
    [[nodiscard]] Ref<NSURL> bundleURL() const;
    /// The directory that resources lie in.
    [[nodiscard]] const std::string& resourcePath() const noexcept { return resourcePath_; }
    /// CFBundleIdentifier of Info.plist, read anew each time. Where that says none, the program's name for
    /// the main bundle, so that every program has one, and nullopt for others.
    [[nodiscard]] std::optional<std::string> bundleIdentifier() const;

    /// A file or directory: one for everybody first, then that of the best language. A nil or empty type
    /// means that the name is whole; with a nil name it is the first resource of the type. Nullopt when there
    /// is none, and for names that lead out of the bundle.
    [[nodiscard]] std::optional<std::string> pathForResource(Text name, Text ofType) const;
    [[nodiscard]] Ref<NSURL> URLForResource(Text name, Text withExtension) const;

    /// The text under the key in a table, "Localizable" for nil and the empty name. When there is none: the
    /// given value, or the key if that is nil or empty. A nil key gives the value, or the empty text.
    [[nodiscard]] std::string localizedStringForKey(Text key, Text value, Text table) const;

    /// The languages that the bundle has folders for, sorted.
    [[nodiscard]] std::vector<std::string> localizations() const;
    /// Those of them that serve the user, best first.
    [[nodiscard]] std::vector<std::string> preferredLocalizations() const;

    /// The objects of a nib (UINib.h); null when there is none of that name, or it cannot be read.
    [[nodiscard]] Ref<NSArray> loadNibNamed(Text name, Receiver owner) const;

protected:
    NSBundle(std::string path, std::string fallbackPath);

private:
    [[nodiscard]] static Ref<NSBundle> ownBundle();
    [[nodiscard]] std::optional<std::string> find(Text name, std::string_view file) const;
    [[nodiscard]] const std::vector<std::string>& languageFolders() const;
    [[nodiscard]] std::shared_ptr<const internal::StringsTable> table(std::string_view name) const;

    const std::string path_;
    const std::string resourcePath_;
    const std::string fallbackPath_;                                   // searched last; empty for none
    mutable std::mutex mutex_;                                         // guards all that follows
    mutable std::optional<std::vector<std::string>> languageFolders_;  // with their extension, best first
    mutable std::map<std::string, std::shared_ptr<const internal::StringsTable>, std::less<>> tables_;
};

}  // namespace qz
