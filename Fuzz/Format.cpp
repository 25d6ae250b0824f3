// Formats from anywhere, with arguments of every kind: nothing is read that is not there, and no output grows
// beyond what the format's length allows.
#include "Platform/Foundation/Format.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Foundation/NSError.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view format(reinterpret_cast<const char*>(data), size);
    static const auto error = qz::NSError::errorWithDomain("Fuzz", 1, nullptr);
    const char* text = "text";
    const char* nothing = nullptr;
    // The longest print of one conversion: a long double's 4933 digits before, and the widest precision
    // after.
    constexpr std::size_t longest = 3UL * qz::maximumFormatWidth;
    const std::string results[] = {
        qz::stringWithFormat(format),
        qz::stringWithFormat(format, 1, -2L, 3ULL, 2.5, 1e4000L, 'c', true, text, nothing, nullptr, error),
        qz::stringWithFormat(format, error, text, std::string("a\0b", 3), U'\U0010FFFF', u"wide\xD800",
                             INT64_MIN, qz::id(5), qz::Text(), static_cast<const void*>(text)),
        qz::stringWithFormat(format, 1e308, text, 7, -1e308, UINT64_MAX, "x", static_cast<short>(-1)),
    };
    for (const auto& result : results) {
        if (result.size() > (size + 1) * longest) {
            std::abort();
        }
    }
    return 0;
}
