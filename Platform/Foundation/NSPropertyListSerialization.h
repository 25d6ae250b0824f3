// NSPropertyListSerialization: property lists as bytes: texts, numbers, truth values, dates, data, arrays and
// dictionaries with texts as keys.
//
//     Ref<NSError> error;
//     auto format = NSPropertyListFormat::Binary;
//     const auto list = NSPropertyListSerialization::propertyListWithData(
//         data, NSPropertyListReadOptions::Immutable, &format, &error);
//
// Three forms are read: the binary one, XML, and the old text form, which is not written. References by
// number (PropertyListUID) are held by the binary form, and by XML as a dictionary with the key "CF$UID".
//
// Foreign bytes do no harm: time and memory grow with their number alone, nesting is bounded
// (maximumDepth), no entity is expanded and nothing is fetched. Of equal keys in a dictionary the last
// counts. An object that a binary file refers to twice is one object, also where it is mutable.
//
// Errors are of NSCocoaErrorDomain (CocoaErrors.h): 3840 for bytes that are no property list, 3852 for an
// object that cannot be written. Safe from any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSError;

enum class NSPropertyListFormat : std::uint64_t { OpenStep = 1, XML = 100, Binary = 200 };

/// Whether containers come back mutable. Texts have no mutable kind, so the last two are the same.
enum class NSPropertyListReadOptions : std::uint64_t {
    Immutable = 0,
    MutableContainers = 1,
    MutableContainersAndLeaves = 2,
};

class QZ_EXPORT NSPropertyListSerialization {
public:
    /// How many containers may stand in each other.
    static constexpr int maximumDepth = 512;

    /// Nil with an error when the bytes are no property list; `format` then stays as it was. Both pointers
    /// may be null.
    [[nodiscard]] static id propertyListWithData(const NSData& data, NSPropertyListReadOptions options,
                                                 NSPropertyListFormat* format, Ref<NSError>* error);

    /// Nullopt with an error for a format that is not written, and for an object that the format does not
    /// hold: nil, other classes, keys that are no texts, containers that contain themselves, numbers beyond
    /// 64 bits' reach, texts that are not UTF-8 or, in XML, have control characters.
    [[nodiscard]] static std::optional<NSData> dataWithPropertyList(const id& propertyList,
                                                                    NSPropertyListFormat format,
                                                                    Ref<NSError>* error);

    /// Whether dataWithPropertyList() would succeed.
    [[nodiscard]] static bool propertyListIsValidForFormat(const id& propertyList,
                                                           NSPropertyListFormat format);
};

}  // namespace qz
