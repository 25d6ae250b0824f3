#include "Platform/Foundation/NSPropertyListSerialization.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/internal/PropertyListCodec.h"
#include "Platform/Foundation/internal/UTF8.h"

namespace qz {

using internal::PropertyListFailure;

namespace internal {

id ContainerMaker::array(std::vector<id> items) const {
    return isMutable_ ? id(NSMutableArray::arrayWithObjects(std::move(items)))
                      : id(NSArray::arrayWithObjects(std::move(items)));
}

id ContainerMaker::dictionary(const Ref<NSMutableDictionary>& entries) const {
    return isMutable_ ? id(entries) : id(entries->copy());
}

std::string utf8FromUTF16(std::string_view bytes, bool isBigEndian) {
    std::u16string units(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
        const auto first = static_cast<unsigned char>(bytes[2 * i]);
        const auto second = static_cast<unsigned char>(bytes[2 * i + 1]);
        units[i] = static_cast<char16_t>(isBigEndian ? first << 8U | second : second << 8U | first);
    }
    std::string text;
    icu::UnicodeString(false, units.data(), static_cast<std::int32_t>(units.size())).toUTF8String(text);
    return text;
}

void requireUTF8(std::string_view text) {
    if (!isUTF8(text)) {
        throw PropertyListFailure("a text is not UTF-8");
    }
}

std::string utf16BigEndianFromUTF8(std::string_view text) {
    const auto units =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    std::string bytes;
    bytes.reserve(static_cast<std::size_t>(units.length()) * 2);
    for (std::int32_t i = 0; i < units.length(); ++i) {
        bytes += static_cast<char>(units[i] >> 8);
        bytes += static_cast<char>(units[i] & 0xFF);
    }
    return bytes;
}

}  // namespace internal

namespace {

constexpr std::string_view byteOrderMark8 = "\xEF\xBB\xBF";
constexpr std::string_view bigEndianMark = "\xFE\xFF";
constexpr std::string_view littleEndianMark = "\xFF\xFE";

void report(NSCocoaErrorCode code, const char* reason, Ref<NSError>* error) {
    if (error) {
        *error = NSError::errorWithDomain(std::string(NSCocoaErrorDomain), static_cast<std::int64_t>(code),
                                          NSDictionary::dictionary({{NSLocalizedDescriptionKey, reason}}));
    }
}

/// The text of a list in one of the two text forms.
std::string decodedText(std::string_view bytes) {
    if (bytes.starts_with(bigEndianMark) || bytes.starts_with(littleEndianMark)) {
        return internal::utf8FromUTF16(bytes.substr(2), bytes.starts_with(bigEndianMark));
    }
    if (bytes.starts_with(byteOrderMark8)) {
        bytes.remove_prefix(byteOrderMark8.size());
    }
    internal::requireUTF8(bytes);
    return std::string(bytes);
}

/// Data in the old form begin with "<" too, but with a digit or a blank behind it.
bool looksLikeXML(std::string_view text) {
    const auto start = text.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos) {
        return false;
    }
    text.remove_prefix(start);
    return text.starts_with("<?") || text.starts_with("<!") || text.starts_with("<plist");
}

/// XML says its own encoding, so it is recognised without being decoded.
bool isXML(std::string_view bytes) {
    if (bytes.starts_with(bigEndianMark) || bytes.starts_with(littleEndianMark)) {
        const auto start = bytes.substr(0, std::min<std::size_t>(bytes.size(), 256));
        return looksLikeXML(internal::utf8FromUTF16(start.substr(2), bytes.starts_with(bigEndianMark)));
    }
    if (bytes.starts_with(byteOrderMark8)) {
        bytes.remove_prefix(byteOrderMark8.size());
    }
    return looksLikeXML(bytes);
}

NSPropertyListFormat formatOf(std::string_view bytes) {
    if (bytes.starts_with("bplist")) {
        return NSPropertyListFormat::Binary;
    }
    return isXML(bytes) ? NSPropertyListFormat::XML : NSPropertyListFormat::OpenStep;
}

id read(std::string_view bytes, NSPropertyListFormat format, const internal::ContainerMaker& containers) {
    switch (format) {
        case NSPropertyListFormat::Binary:
            return internal::readBinaryPropertyList(bytes, containers);
        case NSPropertyListFormat::XML:
            return internal::readXMLPropertyList(bytes, containers);
        case NSPropertyListFormat::OpenStep:
            break;
    }
    return internal::readTextPropertyList(decodedText(bytes), containers);
}

NSData write(const id& list, NSPropertyListFormat format) {
    switch (format) {
        case NSPropertyListFormat::Binary:
            return internal::writeBinaryPropertyList(list);
        case NSPropertyListFormat::XML:
            return internal::writeXMLPropertyList(list);
        case NSPropertyListFormat::OpenStep:
            break;
    }
    throw PropertyListFailure("the format is not written");
}

}  // namespace

id NSPropertyListSerialization::propertyListWithData(const NSData& data, NSPropertyListReadOptions options,
                                                     NSPropertyListFormat* format, Ref<NSError>* error) {
    try {
        const auto found = formatOf(data.text());
        auto list = read(data.text(), found, internal::ContainerMaker(options));
        if (format) {
            *format = found;
        }
        return list;
    } catch (const PropertyListFailure& failure) {
        report(NSCocoaErrorCode::PropertyListReadCorrupt, failure.what(), error);
        return nullptr;
    }
}

std::optional<NSData> NSPropertyListSerialization::dataWithPropertyList(const id& propertyList,
                                                                        NSPropertyListFormat format,
                                                                        Ref<NSError>* error) {
    try {
        return write(propertyList, format);
    } catch (const PropertyListFailure& failure) {
        report(NSCocoaErrorCode::PropertyListWriteInvalid, failure.what(), error);
        return std::nullopt;
    }
}

bool NSPropertyListSerialization::propertyListIsValidForFormat(const id& propertyList,
                                                               NSPropertyListFormat format) {
    return dataWithPropertyList(propertyList, format, nullptr).has_value();
}

}  // namespace qz
