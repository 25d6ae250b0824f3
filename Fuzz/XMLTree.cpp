// Documents from anywhere, as trees: nothing breaks, and what a tree is written as is read as the same tree,
// but for the blanks that writing adds.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "QZUtils/Markup/SPXML.h"

namespace {

std::string withoutBlanks(std::string text) {
    std::erase_if(text, [](char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; });
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto tree = qz::SPXML::initWithData(qz::NSData(std::as_bytes(std::span(data, size))));
    const auto top = tree ? tree->FirstNode() : nullptr;
    if (!top) {
        return 0;
    }
    const auto written = *qz::SPXML::xmlWithNode(top)->description();
    const auto again = qz::SPXML::initWithData(qz::NSData::dataWithText(written));
    if (!again || withoutBlanks(again->FirstNode()->description()) != withoutBlanks(top->description())) {
        std::abort();
    }
    return 0;
}
