// What the commands of qz are given.
#include <iostream>
#include <iterator>

#include "Command.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSError.h"

namespace qz::tool {

NSData contentOf(const std::string& file) {
    if (file == "-") {
        return NSData::dataWithText(std::string(std::istreambuf_iterator(std::cin), {}));
    }
    Ref<NSError> error;
    const auto data = dataWithContentsOfFile(file, &error);
    return data ? *data : throw Failure(error->localizedDescription());
}

NSData bytesOfHex(const std::string& digits, const std::string& option) {
    const auto isHex = digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    if (!isHex || digits.size() % 2 != 0) {
        throw Failure(option + " takes two hexadecimal digits a byte", wrongUsage);
    }
    return NSData::dataWithCapacity(digits.size() / 2, [&](std::span<std::byte> bytes) {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<std::byte>(std::stoi(digits.substr(2 * i, 2), nullptr, 16));
        }
        return bytes.size();
    });
}

}  // namespace qz::tool
