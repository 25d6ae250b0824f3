// NSURL(Parsing): links to videos of two services, and the videos' identifiers.
//
//     if (NSURLClass::isYoutubeVideoLink(text)) {
//         play(NSURLClass::youtubeVideoIdFromLink(text).value_or(""));
//     }
//
// Links are recognised by their host and a path, wherever they stand in the text, in any case of letters.
// Each call costs some microseconds. Safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSURL.h"

namespace qz {

namespace NSURLClass {

[[nodiscard]] QZ_EXPORT bool isYoutubeVideoLink(Text string);
[[nodiscard]] QZ_EXPORT bool isVimeoVideoLink(Text string);
/// Nullopt for links of other kinds, and for those without an identifier.
[[nodiscard]] QZ_EXPORT std::optional<std::string> youtubeVideoIdFromLink(Text string);
[[nodiscard]] QZ_EXPORT std::optional<std::string> vimeoVideoIdFromLink(Text string);

// Self-tests, over links of each form that the services have had. A link that is not recognised, or has
// another identifier, ends the program.

QZ_EXPORT void testRegularExpressions();
QZ_EXPORT void testYoutubeRegexWithVideoId(std::string_view videoId);
QZ_EXPORT void testVimeoRegexWithVideoId(std::string_view videoId);

}  // namespace NSURLClass

// The same for the whole text of a URL; false and nullopt for null.

[[nodiscard]] QZ_EXPORT bool isYoutubeVideoURL(const Ref<NSURL>& self);
[[nodiscard]] QZ_EXPORT bool isVimeoVideoURL(const Ref<NSURL>& self);
[[nodiscard]] QZ_EXPORT std::optional<std::string> youtubeVideoId(const Ref<NSURL>& self);
[[nodiscard]] QZ_EXPORT std::optional<std::string> vimeoVideoId(const Ref<NSURL>& self);

}  // namespace qz
