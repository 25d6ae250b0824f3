#include "Platform/Foundation/internal/TextArrays.h"

namespace qz::internal {

Ref<NSArray> arrayOfTexts(const std::vector<std::string>& texts) {
    return NSArray::arrayWithObjects(std::vector<id>(texts.begin(), texts.end()));
}

std::vector<std::string> textsOfArray(const Ref<NSArray>& array) {
    std::vector<std::string> texts;
    for (std::size_t i = 0; array && i < array->count(); ++i) {
        texts.push_back(unbox<std::string>(array->objectAtIndex(i)).value_or(""));
    }
    return texts;
}

}  // namespace qz::internal
