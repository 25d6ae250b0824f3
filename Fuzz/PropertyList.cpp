// Property lists from anywhere: nothing breaks, and what was read is written and read back as the same.
#include <cstdint>
#include <cstdlib>

#include "Platform/Foundation/NSPropertyListSerialization.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using List = qz::NSPropertyListSerialization;
    const auto bytes = qz::NSData(std::as_bytes(std::span(data, size)));
    const auto list =
        List::propertyListWithData(bytes, qz::NSPropertyListReadOptions::Immutable, nullptr, nullptr);
    for (const auto format : {qz::NSPropertyListFormat::Binary, qz::NSPropertyListFormat::XML}) {
        // XML does not hold every text, date and number.
        const auto written = list ? List::dataWithPropertyList(list, format, nullptr) : std::nullopt;
        if (written && !List::propertyListWithData(*written, qz::NSPropertyListReadOptions::MutableContainers,
                                                   nullptr, nullptr)) {
            std::abort();
        }
    }
    return 0;
}
