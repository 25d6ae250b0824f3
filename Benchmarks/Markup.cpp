// Markup beside ICU's own matcher, and HTML import beside libxml2's parser alone.
#include <benchmark/benchmark.h>
#include <libxml/HTMLparser.h>

#include "Platform/Text/HTMLImporter.h"
#include "Platform/Text/NSRegularExpression.h"
#include "Platform/Text/UIFont.h"
#include "Platform/Text/UTF16.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Markup.h"

namespace {

std::string repeated(std::string_view part, std::int64_t size) {
    std::string text;
    while (text.size() < static_cast<std::size_t>(size)) {
        text += part;
    }
    return text;
}

/// The tags of interface texts, in one line, or with a line each.
std::string markup(std::int64_t size, bool isOneLine) {
    return repeated(
        isOneLine ? "A <b>bold</b> word, <i>more</i> of it; " : "A <b>bold</b> word, <i>more</i> of it;\n",
        size);
}

void markupText(benchmark::State& state, bool isOneLine) {
    const auto text = markup(state.range(0), isOneLine);
    const auto attributes =
        qz::NSDictionary::dictionary({{qz::NSFontAttributeName, qz::UIFont::systemFontOfSize(12)}});
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            qz::NSAttributedStringClass::attributedStringWithCommonMarkupString(text, attributes));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

/// Only the search for the tags, which is part of what is measured above.
void searchOfICU(benchmark::State& state, bool isOneLine) {
    const auto text = qz::utf16(markup(state.range(0), isOneLine));
    const auto tags = qz::NSRegularExpression::regularExpressionWithPattern(
        R"(<(\S+)(?:\s+(?<attrs>.*))?>(?<text>.*?)</(\1)>)", qz::NSRegularExpressionOptions::None, nullptr);
    std::size_t found = 0;
    for (auto _ : state) {
        found = tags->numberOfMatchesInString(text, qz::NSMatchingOptions::None, {0, text.size()});
    }
    state.counters["tags"] = static_cast<double>(found);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

BENCHMARK_CAPTURE(markupText, oneLine, true)->Arg(1 << 10)->Arg(16 << 10)->Arg(100 << 10)->Arg(1 << 20);
BENCHMARK_CAPTURE(searchOfICU, oneLine, true)->Arg(1 << 10)->Arg(16 << 10)->Arg(100 << 10);
BENCHMARK_CAPTURE(markupText, lines, false)->Arg(1 << 10)->Arg(100 << 10)->Arg(1 << 20);
BENCHMARK_CAPTURE(searchOfICU, lines, false)->Arg(1 << 10)->Arg(100 << 10)->Arg(1 << 20);

std::string article(std::int64_t size) {
    return repeated(
        "<h2>Title</h2><p>A paragraph with <b>bold</b> and <a href=\"https://example.org/\">linked</a> "
        "words, "
        "&eacute;&amp; and so on, until it ends.</p><ul><li>one</li><li>two</li></ul>\n",
        size);
}

void importHTML(benchmark::State& state) {
    const auto html = article(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(qz::attributedStringFromHTML(html));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(html.size()));
}
BENCHMARK(importHTML)->Arg(10 << 10)->Arg(1 << 20);

void treeOfLibxml2(benchmark::State& state) {
    const auto html = article(state.range(0));
    for (auto _ : state) {
        xmlFreeDoc(htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, "UTF-8",
                                  HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(html.size()));
}
BENCHMARK(treeOfLibxml2)->Arg(10 << 10)->Arg(1 << 20);

}  // namespace
