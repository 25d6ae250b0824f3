// ResumeRecord: what a download task can be continued from, as the property list that callers keep.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Foundation/NSData.h"

namespace qz::internal {

struct ResumeRecord {
    std::string url;
    /// A strong entity tag, with its quotes.
    std::string validator;
    std::uint64_t bytesReceived = 0;
    /// Of the whole file; -1 when it is not known.
    std::int64_t expectedLength = -1;
    /// Of the partial file, and the digest of its end.
    std::string localPath;
    std::uint64_t tailDigest = 0;

    /// Nullopt when the bytes are no property list or do not hold a URL. What else is missing makes the task
    /// start over.
    [[nodiscard]] static std::optional<ResumeRecord> read(const NSData& data);
    /// Binary.
    [[nodiscard]] NSData data() const;
    /// Whether there is anything to go on from.
    [[nodiscard]] bool isContinuable() const { return bytesReceived > 0 && isStrongTag(validator); }

    /// Whether an entity tag may stand in If-Range (RFC 9110, section 13.1.5): weak ones may not.
    [[nodiscard]] static bool isStrongTag(const std::string& tag);
};

}  // namespace qz::internal
