#include "Platform/Network/internal/ResumeRecord.h"

#include <charconv>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"

namespace qz::internal {

namespace {

constexpr std::string_view urlKey = "NSURLSessionDownloadURL";
constexpr std::string_view entityTagKey = "NSURLSessionResumeEntityTag";
constexpr std::string_view bytesReceivedKey = "NSURLSessionResumeBytesReceived";
constexpr std::string_view expectedLengthKey = "NSURLSessionResumeExpectedLength";
constexpr std::string_view localPathKey = "NSURLSessionResumeInfoLocalPath";
constexpr std::string_view tailDigestKey = "NSURLSessionResumeTailDigest";
constexpr std::string_view versionKey = "NSURLSessionResumeInfoVersion";
constexpr std::int64_t version = 1;

}  // namespace

std::optional<ResumeRecord> ResumeRecord::read(const NSData& data) {
    const auto entries = NSPropertyListSerialization::propertyListWithData(
                             data, NSPropertyListReadOptions::Immutable, nullptr, nullptr)
                             .as<NSDictionary>();
    const auto url = entries ? unbox<std::string>(entries->objectForKey(urlKey)) : std::nullopt;
    if (!url) {
        return std::nullopt;
    }
    ResumeRecord record;
    record.url = *url;
    if (unbox<std::int64_t>(entries->objectForKey(versionKey)) != version) {
        return record;  // of another program or a later version: its URL is all that is sure
    }
    const auto text = [&](std::string_view key) {
        return unbox<std::string>(entries->objectForKey(key)).value_or("");
    };
    record.validator = text(entityTagKey);
    record.bytesReceived = unbox<std::uint64_t>(entries->objectForKey(bytesReceivedKey)).value_or(0);
    record.expectedLength = unbox<std::int64_t>(entries->objectForKey(expectedLengthKey)).value_or(-1);
    record.localPath = text(localPathKey);
    const auto digest = text(tailDigestKey);
    std::from_chars(digest.data(), digest.data() + digest.size(), record.tailDigest, 16);
    return record;
}

NSData ResumeRecord::data() const {
    const auto list = NSDictionary::dictionary({
        {urlKey, url},
        {entityTagKey, validator},
        {bytesReceivedKey, bytesReceived},
        {expectedLengthKey, expectedLength},
        {localPathKey, localPath},
        {tailDigestKey, stringWithFormat("%016llx", tailDigest)},
        {versionKey, version},
    });
    return NSPropertyListSerialization::dataWithPropertyList(list, NSPropertyListFormat::Binary, nullptr)
        .value_or(NSData());
}

bool ResumeRecord::isStrongTag(const std::string& tag) {
    if (tag.size() < 2 || tag.front() != '"' || tag.back() != '"') {
        return false;
    }
    // As much as a header field can carry safely, whatever stood in the record.
    for (const char c : std::string_view(tag).substr(1, tag.size() - 2)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x21 || byte == '"' || byte == 0x7F) {
            return false;
        }
    }
    return true;
}

}  // namespace qz::internal
