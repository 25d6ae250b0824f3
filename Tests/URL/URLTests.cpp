// URL helpers: queries as they are written and without escapes, links to videos, statuses as errors.
#include <gmock/gmock.h>

#include <chrono>

#include "Platform/Foundation/NSException.h"
#include "Platform/Network/NSURLError.h"
#include "QZUtils/Extensions/NSError/NSError+NSHTTPURLResponse.h"
#include "QZUtils/Extensions/NSString/NSString+QZStringExtendedByRegEx.h"
#include "QZUtils/Extensions/NSString/NSString+URL.h"
#include "QZUtils/Extensions/NSURL/NSURL+Extended.h"
#include "QZUtils/Extensions/NSURL/NSURL+Parsing.h"

namespace qz::test {

using namespace std::string_literals;
using Options = NSRegularExpressionOptions;
using Entries = std::unordered_map<std::string, std::string>;

Entries plain(const Ref<NSDictionary>& dictionary) {
    Entries entries;
    for (const auto& [name, value] : *dictionary) {
        entries[descriptionOf(name)] = descriptionOf(value);
    }
    return entries;
}

TEST(URLHelpers, ReadQueriesAsTheyAreWritten) {
    const std::pair<const char*, Entries> cases[] = {
        {"a=1&b&c=2=3", {{"a", "1"}}},
        {"a=1&a=2", {{"a", "2"}}},
        {"a=%20&b=+", {{"a", "%20"}, {"b", "+"}}},
        {"a=", {{"a", ""}}},
        {"=a", {{"", "a"}}},
        {"=", {{"", ""}}},
        {"&&", {}},
        {"a==b", {}},
    };
    for (const auto& [query, entries] : cases) {
        EXPECT_EQ(plain(NSURLClass::queryStringParameters(query)), entries) << query;
    }
    EXPECT_FALSE(NSURLClass::queryStringParameters(""));
    EXPECT_FALSE(NSURLClass::queryStringParameters(nullptr));
    EXPECT_FALSE(queryParams(url("http://x.org/")));
    EXPECT_FALSE(queryParams(nullptr));
    EXPECT_EQ(valueOfQueryParameter(url("http://x.org/?a=1&b=%31"), "b"), "%31");
    EXPECT_EQ(valueOfQueryParameter(url("http://x.org/?a=1"), "b"), std::nullopt);
}

TEST(URLHelpers, ReadQueriesWithoutTheirEscapes) {
    const std::pair<const char*, Entries> cases[] = {
        {"a=%20x&b", {{"a", " x"}, {"b", ""}}},
        {"%C3%A4=%c3%b6", {{"ä", "ö"}}},
        {"a=1&a=2", {{"a", "2"}}},
        {"a=1=2", {{"a", "1"}}},
        {"=a&a==b&&=&", {{"a", "b"}}},
        {"%=1&%4=1&%zz=1&%FF=1&b=%&c=%FF&d=%4&e=1%2", {{"b", ""}, {"c", ""}, {"d", ""}, {"e", ""}}},
        {"%26=%3D", {{"&", "="}}},
        {"a=%41", {{"a", "A"}}},
        {"", {}},
    };
    for (const auto& [query, entries] : cases) {
        EXPECT_EQ(urlParameters(query), entries) << query;
    }
    EXPECT_EQ(urlParameters(nullptr), Entries());
    EXPECT_EQ(queryDictionary(url("http://x.org/?a=%20x&b&c=1=2&c=3&d=%FF")),
              (Entries{{"a", " x"}, {"b", ""}, {"c", "3"}, {"d", "%FF"}}));
    EXPECT_EQ(queryDictionary(url("http://x.org/")), Entries());
    EXPECT_EQ(queryDictionary(nullptr), Entries());
    const auto items = queryItems(url("?a&a=&b=1=2"));
    ASSERT_TRUE(items && items->size() == 3);
    EXPECT_EQ((*items)[0]->value(), std::nullopt);
    EXPECT_EQ((*items)[1]->value(), "");
    EXPECT_EQ((*items)[2]->value(), "1=2");
    EXPECT_FALSE(queryItems(url("x")));
    EXPECT_EQ(queryItems(url("x?")), std::vector<Ref<NSURLQueryItem>>());
    // A reference that is only a fragment takes the query of its base, but not here.
    const auto fragment = NSURL::URLWithString("#f", url("http://x.org/?a=1"));
    EXPECT_TRUE(queryParams(fragment));
    EXPECT_FALSE(queryItems(fragment));
}

TEST(URLHelpers, AppendParameters) {
    const auto appended = [](const char* to, const std::vector<std::string>& parameters) {
        const auto made = urlByAppendingURLParameters(url(to), parameters);
        return made ? made->absoluteString() : "null";
    };
    EXPECT_EQ(appended("http://x.org/a", {"x=1", "y=2"}), "http://x.org/a?x=1&y=2");
    EXPECT_EQ(appended("http://x.org/a?b", {"x=1", "y=2"}), "http://x.org/a?b&x=1&y=2");
    EXPECT_EQ(appended("http://x.org/a", {}), "http://x.org/a");
    EXPECT_EQ(appended("http://x.org/a", {"x= "}), "null");
    EXPECT_FALSE(urlByAppendingURLParameters(nullptr, {"x=1"}));
}

TEST(URLHelpers, TakePlainHTTPForHTTPS) {
    for (const auto* text : {"http://x.org", "https://x.org", "http:"}) {
        EXPECT_TRUE(isHTTPS(url(text))) << text;
    }
    for (const auto* text : {"HTTP://x.org", "Https://x.org", "httpss://x.org", "x.org", "mailto:a@x.org"}) {
        ASSERT_TRUE(url(text)) << text;
        EXPECT_FALSE(isHTTPS(url(text))) << text;
    }
    EXPECT_FALSE(isHTTPS(url("no url")));
}

TEST(URLHelpers, MatchPartsOfTexts) {
    EXPECT_EQ(stringByMatching("päge 12", R"((GE) (\d)?)", 2, Options::CaseInsensitive), "1");
    EXPECT_EQ(stringByMatching("page 12", R"((\d+)(x)?)", 2, Options::None), std::nullopt);  // took no part
    EXPECT_EQ(stringByMatching("page 12", R"((\d+)(x)?)", 4, Options::None), "12");          // the whole
    EXPECT_EQ(stringByMatching("page", R"((\d*))", 1, Options::None), "");
    EXPECT_EQ(stringByMatching("page", R"(\d)", 0, Options::None), std::nullopt);
    EXPECT_EQ(stringByMatching("page", "(", 0, Options::None), std::nullopt);
    EXPECT_EQ(stringByMatching(nullptr, "a", 0, Options::None), std::nullopt);
    EXPECT_THROW(static_cast<void>(stringByMatching("page 12", R"((\d+)(x)?)", 3, Options::None)),
                 NSException);
}

TEST(URLHelpers, RecogniseVideos) {
    NSURLClass::testRegularExpressions();
    NSURLClass::testVimeoRegexWithVideoId("7");
    EXPECT_DEATH(NSURLClass::testVimeoRegexWithVideoId("letters"), "");
    for (const auto* link :
         {"https://www.youtube.com", "https://www.youtube.com/", "https://x.org/watch?v=a", ""}) {
        EXPECT_FALSE(NSURLClass::isYoutubeVideoLink(link)) << link;
        EXPECT_EQ(NSURLClass::youtubeVideoIdFromLink(link), std::nullopt) << link;
    }
    EXPECT_TRUE(NSURLClass::isVimeoVideoLink("https://vimeo.com/about"));
    EXPECT_EQ(NSURLClass::vimeoVideoIdFromLink("https://vimeo.com/about"), std::nullopt);
    EXPECT_EQ(vimeoVideoId(url("https://x.org/video/12")), std::nullopt);
    EXPECT_EQ(youtubeVideoId(url("https://youtu.be/a_b-C?x")), "a_b-C");
    EXPECT_TRUE(isVimeoVideoURL(url("https://vimeo.com/12")));
    EXPECT_FALSE(isYoutubeVideoURL(nullptr));
}

TEST(URLHelpers, MakeErrorsOfStatuses) {
    const auto error = [](std::int64_t status) {
        return NSErrorClass::errorWithHttpResponse(
            NSHTTPURLResponse::initWithURL(url("http://x.org/"), status, nullptr, nullptr));
    };
    EXPECT_FALSE(error(399));
    EXPECT_FALSE(error(-400));
    EXPECT_FALSE(NSErrorClass::errorWithHttpResponse(nullptr));
    for (const std::int64_t status : {400, 404, 999}) {
        ASSERT_TRUE(error(status));
        EXPECT_EQ(error(status)->domain(), NSURLErrorDomain);
        EXPECT_EQ(error(status)->code(), status);
        EXPECT_EQ(error(status)->localizedDescription(),
                  NSHTTPURLResponse::localizedStringForStatusCode(status));
    }
}

TEST(URLHelpers, StayLinear) {
    const auto seconds = [](std::string_view part, std::size_t size) {
        std::string query;
        while (query.size() < size) {
            query += part;
        }
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(NSURLClass::queryStringParameters(query));
        EXPECT_LT(urlParameters(query).size(), 3U);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    };
    for (const auto* part : {"&", "=", "&=", "a=&", "=a", "a=%41&", "%"}) {
        EXPECT_LT(seconds(part, std::size_t{1} << 20), 24 * seconds(part, std::size_t{1} << 17) + 0.5)
            << part;
    }
}

}  // namespace qz::test
