#include <cstdlib>
#include <span>

#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Diagnostics/Log.h"
#include "QZUtils/Extensions/NSString/NSString+QZStringExtendedByRegEx.h"
#include "QZUtils/Extensions/NSURL/NSURL+Parsing.h"

namespace qz {

namespace {

/// A service, by the patterns of its links and of the identifiers in them (group 1).
struct Service {
    std::string_view link;
    std::string_view videoId;
};

constexpr Service youtube{
    R"((https?:\/\/)?(www.)?(?:youtube(?:\.com)?|youtu(?:\.?be)?(?:\.com)?)\/.+)",
    R"((?:(?:\.be\/|embed\/|v\/|\?v=|\&v=|\/videos\/|shared\?ci=)|(?:[\w+]+#\w\/\w(?:\/[\w]+)?\/\w\/))([\w-_]+))"};
constexpr Service vimeo{R"((https?:\/\/)?(www.)?vimeo(?:\.com)?\/.+)",
                        R"((?:(?:\.com\/|\/videos\/|\/channels\/|\/video\/))([\d]+))"};

std::optional<std::string> matched(Text string, std::string_view pattern, std::size_t group) {
    return stringByMatching(string, pattern, group, NSRegularExpressionOptions::CaseInsensitive);
}

bool isLink(Text string, const Service& service) {
    return !matched(string, service.link, 0).value_or("").empty();
}

std::optional<std::string> videoIdFromLink(Text string, const Service& service) {
    return isLink(string, service) ? matched(string, service.videoId, 1) : std::nullopt;
}

// Where the identifier stands, the samples have "@".

constexpr std::string_view youtubeSamples[] = {
    "https://www.youtube.com/watch?v=@",
    "http://www.youtube.com/watch?v=@",
    "www.youtube.com/watch?v=@",
    "youtube.com/watch?v=@&t=42s",
    "https://m.youtube.com/watch?v=@",
    "https://www.youtube.com/watch?list=PL0123456789&v=@",
    "https://www.youtube.com/watch?feature=player_embedded&v=@&index=3",
    "https://www.youtube.com/watch?v=@#t=0m10s",
    "https://www.youtube.com/embed/@",
    "https://www.youtube.com/embed/@?rel=0&autoplay=1",
    "//www.youtube.com/embed/@?rel=0",
    "https://www.youtube.com/v/@",
    "https://www.youtube.com/v/@?version=3&hl=en_US",
    "https://youtu.be/@",
    "http://youtu.be/@?t=12",
    "youtu.be/@",
    "HTTPS://YouTu.be/@",
    "https://gdata.youtube.com/feeds/api/videos/@",
    "https://www.youtube.com/user/reader#p/a/u/1/@",
    "https://www.youtube.com/shared?ci=@",
};

constexpr std::string_view vimeoSamples[] = {
    "https://vimeo.com/@",
    "http://vimeo.com/@",
    "https://www.vimeo.com/@",
    "vimeo.com/@",
    "www.vimeo.com/@?autoplay=1",
    "https://vimeo.com/@#t=30s",
    "https://player.vimeo.com/video/@",
    "//player.vimeo.com/video/@?title=0&byline=0",
    "https://vimeo.com/channels/@",
    "https://vimeo.com/groups/readers/videos/@",
    "https://vimeo.com/album/2222/video/@",
    "HTTPS://Vimeo.com/groups/readers/videos/@?loop=1#comments",
};

void require(bool holds, std::string_view what, const std::string& link) {
    if (!holds) {
        logError("The link %@ %@", link, what);
        std::abort();
    }
}

using IsLink = bool (&)(Text);
using VideoId = std::optional<std::string> (&)(Text);

void testService(std::span<const std::string_view> samples, std::string_view videoId, IsLink isServiceLink,
                 VideoId videoIdOf) {
    for (const auto sample : samples) {
        std::string link(sample);
        link.replace(link.find('@'), 1, videoId);
        const auto url = NSURL::URLWithString(link);
        require(isServiceLink(link), "is not recognised", link);
        require(url && isServiceLink(url->absoluteString()), "is not recognised as a URL", link);
        require(videoIdOf(link) == videoId, "has another identifier", link);
        require(videoIdOf(url->absoluteString()) == videoId, "has another identifier as a URL", link);
    }
}

Text textOf(const Ref<NSURL>& url) {
    return url ? Text(url->absoluteString()) : Text();
}

}  // namespace

QZ_DEFINE_CATEGORY(NSURL, Parsing, cls) {
    using namespace NSURLClass;
    cls.classMethod("isYoutubeVideoLink:", [](Class&, Text string) { return isYoutubeVideoLink(string); });
    cls.classMethod("isVimeoVideoLink:", [](Class&, Text string) { return isVimeoVideoLink(string); });
    cls.classMethod("youtubeVideoIdFromLink:",
                    [](Class&, Text string) { return id(Text(youtubeVideoIdFromLink(string))); });
    cls.classMethod("vimeoVideoIdFromLink:",
                    [](Class&, Text string) { return id(Text(vimeoVideoIdFromLink(string))); });
    cls.classMethod("testRegularExpressions", [](Class&) { testRegularExpressions(); });
    cls.classMethod("testYoutubeRegexWithVideoId:",
                    [](Class&, std::string_view videoId) { testYoutubeRegexWithVideoId(videoId); });
    cls.classMethod("testVimeoRegexWithVideoId:",
                    [](Class&, std::string_view videoId) { testVimeoRegexWithVideoId(videoId); });
    cls.method("isYoutubeVideoURL", [](const NSURL& self) { return isYoutubeVideoURL(refTo(self)); });
    cls.method("isVimeoVideoURL", [](const NSURL& self) { return isVimeoVideoURL(refTo(self)); });
    cls.method("youtubeVideoId", [](const NSURL& self) { return id(Text(youtubeVideoId(refTo(self)))); });
    cls.method("vimeoVideoId", [](const NSURL& self) { return id(Text(vimeoVideoId(refTo(self)))); });
}

namespace NSURLClass {

bool isYoutubeVideoLink(Text string) {
    return isLink(string, youtube);
}

bool isVimeoVideoLink(Text string) {
    return isLink(string, vimeo);
}

std::optional<std::string> youtubeVideoIdFromLink(Text string) {
    return videoIdFromLink(string, youtube);
}

std::optional<std::string> vimeoVideoIdFromLink(Text string) {
    return videoIdFromLink(string, vimeo);
}

void testRegularExpressions() {
    testYoutubeRegexWithVideoId("xTmi7zzUa-M");
    testVimeoRegexWithVideoId("11111111");
}

void testYoutubeRegexWithVideoId(std::string_view videoId) {
    testService(youtubeSamples, videoId, isYoutubeVideoLink, youtubeVideoIdFromLink);
}

void testVimeoRegexWithVideoId(std::string_view videoId) {
    testService(vimeoSamples, videoId, isVimeoVideoLink, vimeoVideoIdFromLink);
}

}  // namespace NSURLClass

bool isYoutubeVideoURL(const Ref<NSURL>& self) {
    return NSURLClass::isYoutubeVideoLink(textOf(self));
}

bool isVimeoVideoURL(const Ref<NSURL>& self) {
    return NSURLClass::isVimeoVideoLink(textOf(self));
}

std::optional<std::string> youtubeVideoId(const Ref<NSURL>& self) {
    return NSURLClass::youtubeVideoIdFromLink(textOf(self));
}

std::optional<std::string> vimeoVideoId(const Ref<NSURL>& self) {
    return NSURLClass::vimeoVideoIdFromLink(textOf(self));
}

}  // namespace qz
