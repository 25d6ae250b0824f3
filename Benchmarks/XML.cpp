// A feed of 50 MB read into dictionaries and into a tree, beside pugixml's and libxml2's own trees and the
// bare events of libxml2; and the trees written. Each reports MB/s of the feed in CPU time, and how much the
// process grew while the result was held. Python's parser: Benchmarks/xml_tree.py, on the file that
// QZ_FEED=FILE writes.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <pugixml.hpp>
#include <sstream>

#include "Platform/Foundation/NSDictionary.h"
#include "QZUtils/Markup/SPXML.h"
#include "QZUtils/Markup/XMLReader.h"

namespace {

constexpr std::size_t feedSize = 50'000'000;

const qz::NSData& feed() {
    static const auto data = [] {
        std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<feed xmlns=\"urn:feed\">\n";
        for (int i = 0; text.size() < feedSize; ++i) {
            const auto n = std::to_string(i);
            text += "  <issue id=\"";
            text += n;
            text += "\" date=\"2026-11-23\">\n    <title>Daily number ";
            text += n;
            text +=
                " \u2013 \u00C9dition de Paris</title>\n    <publisher>Miller &amp; Sons</publisher>\n"
                "    <summary>What happened yesterday, what it means, and what comes next: reports, "
                "comments and the weather.</summary>\n"
                "    <page file=\"p1.pdf\" width=\"620\" height=\"877\"/>\n"
                "    <page file=\"p2.pdf\" width=\"620\" height=\"877\"/>\n  </issue>\n";
        }
        text += "</feed>\n";
        if (const char* path = std::getenv("QZ_FEED")) {
            std::ofstream(path, std::ios::binary) << text;
        }
        return qz::NSData::dataWithText(text);
    }();
    return data;
}

/// Resident memory in MB.
double resident() {
    std::ifstream statm("/proc/self/statm");
    double pages = 0;
    statm >> pages >> pages;
    return pages * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

/// Times the making of a result; giving it up is part of what it costs.
template <class Make>
void measure(benchmark::State& state, Make make) {
    static_cast<void>(feed());
    ::malloc_trim(0);
    const auto before = resident();
    double grown = 0;
    for (auto _ : state) {
        [[maybe_unused]] const auto result = make();
        state.PauseTiming();
        grown = resident() - before;
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(feed().size()) * state.iterations());
    state.counters["held_MB"] = grown;
}

int feedLength() {
    return static_cast<int>(feed().size());
}

std::shared_ptr<xmlDoc> libxmlTree() {
    return {xmlReadMemory(feed().text().data(), feedLength(), nullptr, nullptr,
                          XML_PARSE_NOENT | XML_PARSE_NONET),
            &xmlFreeDoc};
}

std::shared_ptr<pugi::xml_document> pugiTree() {
    auto document = std::make_shared<pugi::xml_document>();
    document->load_buffer(feed().text().data(), feed().size(), pugi::parse_default | pugi::parse_ws_pcdata);
    return document;
}

qz::Ref<qz::SPXML> ourTree() {
    return qz::SPXML::initWithData(feed());
}

void readTree(benchmark::State& state) {
    measure(state, &ourTree);
}
BENCHMARK(readTree)->Unit(benchmark::kMillisecond);

void readTreeByLibxml(benchmark::State& state) {
    measure(state, &libxmlTree);
}
BENCHMARK(readTreeByLibxml)->Unit(benchmark::kMillisecond);

void readTreeByPugixml(benchmark::State& state) {
    measure(state, &pugiTree);
}
BENCHMARK(readTreeByPugixml)->Unit(benchmark::kMillisecond);

void readDictionary(benchmark::State& state) {
    measure(state, [] { return qz::XMLReader::dictionaryForXMLData(feed(), nullptr); });
}
BENCHMARK(readDictionary)->Unit(benchmark::kMillisecond);

void readEventsByLibxml(benchmark::State& state) {
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.characters = [](void*, const xmlChar*, int size) { benchmark::DoNotOptimize(size); };
    handler.ignorableWhitespace = handler.characters;
    handler.startElementNs = [](void*, const xmlChar* name, const xmlChar*, const xmlChar*, int,
                                const xmlChar**, int, int,
                                const xmlChar**) { benchmark::DoNotOptimize(name); };
    measure(state,
            [&] { return xmlSAXUserParseMemory(&handler, nullptr, feed().text().data(), feedLength()); });
}
BENCHMARK(readEventsByLibxml)->Unit(benchmark::kMillisecond);

void writeTree(benchmark::State& state) {
    const auto tree = ourTree();
    measure(state, [&] { return tree->save(); });
}
BENCHMARK(writeTree)->Unit(benchmark::kMillisecond);

void writeTreeByLibxml(benchmark::State& state) {
    const auto tree = libxmlTree();
    measure(state, [&] {
        xmlChar* text = nullptr;
        int size = 0;
        xmlDocDumpFormatMemory(tree.get(), &text, &size, 1);
        return std::shared_ptr<xmlChar>(text, xmlFree);
    });
}
BENCHMARK(writeTreeByLibxml)->Unit(benchmark::kMillisecond);

void writeTreeByPugixml(benchmark::State& state) {
    const auto tree = pugiTree();
    measure(state, [&] {
        std::ostringstream text;
        tree->save(text);
        return text.str();
    });
}
BENCHMARK(writeTreeByPugixml)->Unit(benchmark::kMillisecond);

}  // namespace
