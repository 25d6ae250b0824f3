// NSData(Inflated): raw DEFLATE streams (RFC 1951) back into what was compressed.
//
//     if (const auto page = inflated(bytes)) { … }
//
// A raw stream has neither zlib's header nor a checksum: it is what a zip archive holds of an entry. What
// follows its end is not looked at.
//
// Costs what zlib's inflate() costs, since the result is inflated to where it stays. Memory is that of the
// result, plus 40 KiB, and is taken as the result grows: a stream can expand to 1032 times its size. Safe
// from any thread.
#pragma once

#include <optional>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"

namespace qz {

class NSError;

/// Errors of inflated(): the code is zlib's status, the description its message.
inline constexpr std::string_view NSDataInflationErrorDomain = "NSDataInflationErrorDomain";

/// The bytes that were compressed; empty for an empty buffer. A stream that is damaged, or ends before its
/// end, gives nullopt, and one line about it on standard output: what was inflated until then is dropped.
[[nodiscard]] QZ_EXPORT std::optional<NSData> inflated(const NSData& self);
/// The same without that line: `error`, which may be null, says what it would.
[[nodiscard]] QZ_EXPORT std::optional<NSData> inflated(const NSData& self, Ref<NSError>* error);

}  // namespace qz
