// NSURL(Extended): the query of a URL, and URLs with more of it.
//
//     valueOfQueryParameter(url, "page");                       // as it is written, escapes included
//     queryDictionary(url)["page"];                             // without its escapes
//     urlByAppendingURLParameters(url, {"page=2", "zoom=1"});
//
// All of it is linear in the query, and answers nothing for a null URL. Safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/NSURLComponents.h"

namespace qz {

namespace NSURLClass {

/// The pieces between "&" that have exactly one "=": what stands before it, and behind. Escapes stay, other
/// pieces are left out, and of equal names the last counts. Null for nil and for an empty query.
[[nodiscard]] QZ_EXPORT Ref<NSMutableDictionary> queryStringParameters(Text query);

}  // namespace NSURLClass

/// NSURLClass::queryStringParameters() of the URL's query; null when it has none.
[[nodiscard]] QZ_EXPORT Ref<NSMutableDictionary> queryParams(const Ref<NSURL>& self);
/// Nullopt when there is no such entry in queryParams().
[[nodiscard]] QZ_EXPORT std::optional<std::string> valueOfQueryParameter(const Ref<NSURL>& self,
                                                                         std::string_view name);

/// Those of NSURLComponents, of the text that the URL was made of, not of the base that it was resolved
/// against.
[[nodiscard]] QZ_EXPORT std::optional<std::vector<Ref<NSURLQueryItem>>> queryItems(const Ref<NSURL>& self);

/// The query items by name, without their escapes. An item without a value has the empty text, and of equal
/// names the last counts.
[[nodiscard]] QZ_EXPORT std::unordered_map<std::string, std::string> queryDictionary(const Ref<NSURL>& self);

/// Adds parameters, which are escaped already, with "?" before the first one if the URL has none so far, and
/// "&" before the others. Null when the result is no URL. What follows "#" is not looked for: the
/// parameters come last.
[[nodiscard]] QZ_EXPORT Ref<NSURL> urlByAppendingURLParameters(const Ref<NSURL>& self,
                                                               const std::vector<std::string>& parameters);

/// Whether the scheme is "https" or "http", in lower case. In spite of its name it does not tell encrypted
/// connections from others; callers rely on that.
[[nodiscard]] QZ_EXPORT bool isHTTPS(const Ref<NSURL>& self) noexcept;

}  // namespace qz
