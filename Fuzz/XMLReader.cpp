// Documents from anywhere, as dictionaries: nothing breaks, and a document is read or there is an error.
#include "QZUtils/Markup/XMLReader.h"

#include <cstdint>
#include <cstdlib>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qz::Ref<qz::NSError> error;
    const auto dictionary =
        qz::XMLReader::dictionaryForXMLData(qz::NSData(std::as_bytes(std::span(data, size))), &error);
    if ((dictionary != nullptr) == (error != nullptr) || (dictionary && dictionary->count() != 1)) {
        std::abort();
    }
    return 0;
}
