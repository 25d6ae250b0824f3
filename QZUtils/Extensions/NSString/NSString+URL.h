// NSString(URL): texts as URLs, and queries as dictionaries.
//
//     const auto page = url("https://example.org/a?b=1");
//     urlParameters("a=%20x&b");                             // a: " x", b: ""
//
// Safe from any thread.
#pragma once

#include <string>
#include <unordered_map>

#include "Platform/Export.h"
#include "Platform/Foundation/NSURL.h"

namespace qz {

/// NSURL::URLWithString(): null for nil and for what is no URL.
[[nodiscard]] QZ_EXPORT Ref<NSURL> url(Text self);

/// What stands between "&" by what stands before "=", both without escapes. Empty parts do not count, so that
/// "=a" is the name "a" without a value, and "a==b" the value "b"; further parts are left out. A name with
/// broken escapes is left out, a value with broken escapes is empty; of equal names the last counts.
/// Linear in the text; empty for nil.
[[nodiscard]] QZ_EXPORT std::unordered_map<std::string, std::string> urlParameters(Text self);

}  // namespace qz
