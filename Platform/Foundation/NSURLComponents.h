// NSURLComponents and NSURLQueryItem: the query of a URL, item by item.
//
//     for (const auto& item : NSURLComponents::componentsWithURL(url, false)->queryItems().value_or({})) {…}
//
// Linear in the query. Immutable; may be used from several threads at once.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSURL.h"

namespace qz {

class QZ_EXPORT NSURLQueryItem : public NSObject {
    QZ_OBJECT(NSURLQueryItem, NSObject)
public:
    /// The value may be nil.
    [[nodiscard]] static Ref<NSURLQueryItem> queryItemWithName(std::string_view name, Text value);

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    /// Nullopt for an item without "=".
    [[nodiscard]] const std::optional<std::string>& value() const noexcept { return value_; }

protected:
    NSURLQueryItem(std::string name, std::optional<std::string> value)
        : name_(std::move(name)), value_(std::move(value)) {}

private:
    const std::string name_;
    const std::optional<std::string> value_;
};

class QZ_EXPORT NSURLComponents : public NSObject {
    QZ_OBJECT(NSURLComponents, NSObject)
public:
    /// Of the whole URL, or of the text that it was made of. Null for a null URL.
    [[nodiscard]] static Ref<NSURLComponents> componentsWithURL(const Ref<NSURL>& url,
                                                                bool resolvingAgainstBaseURL);

    /// Nullopt when there is no "?".
    [[nodiscard]] const std::optional<std::string>& percentEncodedQuery() const noexcept { return query_; }

    /// What stands between "&", each split at its first "=", without its escapes (a text whose escapes do
    /// not give UTF-8 keeps them). Nullopt when there is no query, none for an empty one.
    [[nodiscard]] std::optional<std::vector<Ref<NSURLQueryItem>>> queryItems() const;

protected:
    explicit NSURLComponents(std::optional<std::string> query) : query_(std::move(query)) {}

private:
    const std::optional<std::string> query_;
};

/// A text without its percent-escapes (RFC 3986, section 2.1); nullopt when an escape is not complete, or the
/// bytes are no UTF-8.
[[nodiscard]] QZ_EXPORT std::optional<std::string> stringByRemovingPercentEncoding(std::string_view self);

}  // namespace qz
