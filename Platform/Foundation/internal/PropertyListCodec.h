// The three forms of property lists. Each reader and writer throws PropertyListFailure for what it cannot
// do; NSPropertyListSerialization makes an error of it.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Runtime/Id.h"

namespace qz::internal {

struct PropertyListFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Makes the containers of a list that is read.
class ContainerMaker {
public:
    explicit ContainerMaker(NSPropertyListReadOptions options) noexcept
        : isMutable_(options != NSPropertyListReadOptions::Immutable) {}

    [[nodiscard]] id array(std::vector<id> items) const;
    [[nodiscard]] id dictionary(const Ref<NSMutableDictionary>& entries) const;

private:
    bool isMutable_;
};

/// Counts the containers around the present place; beyond the limit it fails.
class DepthGuard {
public:
    explicit DepthGuard(int& depth) : depth_(depth) {
        if (depth_ >= NSPropertyListSerialization::maximumDepth) {
            throw PropertyListFailure("containers are nested too deeply");
        }
        ++depth_;
    }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;
    ~DepthGuard() { --depth_; }

private:
    int& depth_;
};

[[nodiscard]] id readBinaryPropertyList(std::string_view bytes, const ContainerMaker& containers);
[[nodiscard]] NSData writeBinaryPropertyList(const id& list);

[[nodiscard]] id readXMLPropertyList(std::string_view bytes, const ContainerMaker& containers);
[[nodiscard]] NSData writeXMLPropertyList(const id& list);

/// `text` is UTF-8.
[[nodiscard]] id readTextPropertyList(std::string_view text, const ContainerMaker& containers);

/// UTF-16 in the byte order given, as UTF-8; half characters become U+FFFD.
[[nodiscard]] std::string utf8FromUTF16(std::string_view bytes, bool isBigEndian);
/// The units of a text, big-endian. Fails where it is not UTF-8.
[[nodiscard]] std::string utf16BigEndianFromUTF8(std::string_view text);
void requireUTF8(std::string_view text);

}  // namespace qz::internal
