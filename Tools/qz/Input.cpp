// What the commands of qz are given.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <iterator>
#include <system_error>
#include <vector>

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

void readPieces(const std::string& file, const std::function<void(std::span<const std::byte>)>& take) {
    const auto require = [&](bool holds) {
        if (!holds) {
            throw Failure('"' + file + "\" cannot be read: " + std::generic_category().message(errno));
        }
    };
    struct Descriptor {
        int number;
        ~Descriptor() { ::close(number); }
    };
    const Descriptor input{file == "-" ? ::dup(STDIN_FILENO) : ::open(file.c_str(), O_RDONLY | O_CLOEXEC)};
    require(input.number >= 0);
    std::vector<std::byte> buffer(std::size_t{256} * 1024);
    for (;;) {
        const auto count = ::read(input.number, buffer.data(), buffer.size());
        if (count == 0) {
            return;
        }
        require(count > 0 || errno == EINTR);
        take(std::span(buffer).first(static_cast<std::size_t>(std::max<ssize_t>(count, 0))));
    }
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
