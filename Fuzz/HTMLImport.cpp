// HTML from anywhere: nothing breaks, and what was read is written in every form and can be read again.
#include <cstdint>
#include <cstdlib>

#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+HTML.h"
#include "QZUtils/Extensions/NSAttributedString/NSAttributedString+Rendering.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = qz::NSAttributedStringClass::attributedStringWithHTML(
        std::string_view(reinterpret_cast<const char*>(data), size));
    if (!text) {
        return 0;
    }
    if (!qz::NSAttributedStringClass::attributedStringWithHTML(qz::HTMLString(text))) {
        std::abort();
    }
    if ((qz::pangoMarkup(text) + qz::terminalString(text)).empty() && text->length() > 0) {
        std::abort();
    }
    return 0;
}
