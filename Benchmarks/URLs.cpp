// The query of a URL as a dictionary without escapes, beside libcurl's URL interface, which hands out the
// query as one text that a caller has to take apart.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <memory>
#include <string_view>
#include <unordered_map>

#include "QZUtils/Extensions/NSString/NSString+URL.h"
#include "QZUtils/Extensions/NSURL/NSURL+Extended.h"

namespace {

constexpr const char* text =
    "https://reader.example.org/issues/2026/11?title=Gr%C3%BC%C3%9Fe&page=12&zoom=1.5&token=abcdef0123456789";

void queryOfURL(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(qz::queryDictionary(qz::url(text)));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(queryOfURL);

void queryAlone(benchmark::State& state) {
    const auto url = qz::url(text);
    for (auto _ : state) {
        benchmark::DoNotOptimize(qz::urlParameters(url->query()));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(queryAlone);

std::string unescaped(std::string_view part) {
    int length = 0;
    const std::unique_ptr<char, decltype(&curl_free)> plain(
        curl_easy_unescape(nullptr, part.data(), static_cast<int>(part.size()), &length), &curl_free);
    return {plain.get(), static_cast<std::size_t>(length)};
}

void queryByCurl(benchmark::State& state) {
    for (auto _ : state) {
        const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), &curl_url_cleanup);
        char* part = nullptr;
        if (curl_url_set(url.get(), CURLUPART_URL, text, 0) != CURLUE_OK ||
            curl_url_get(url.get(), CURLUPART_QUERY, &part, 0) != CURLUE_OK) {
            state.SkipWithError("not parsed");
            return;
        }
        const std::unique_ptr<char, decltype(&curl_free)> query(part, &curl_free);
        std::unordered_map<std::string, std::string> entries;
        for (std::string_view rest = query.get(); !rest.empty();) {
            const auto end = std::min(rest.find('&'), rest.size());
            const auto equals = rest.find('=');
            entries.insert_or_assign(unescaped(rest.substr(0, equals)),
                                     unescaped(rest.substr(equals + 1, end - equals - 1)));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        benchmark::DoNotOptimize(entries);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(queryByCurl);

}  // namespace
