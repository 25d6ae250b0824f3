// Two classic hashes of texts that are the same in every process and on every machine, for keys and buckets
// that are stored. They do not protect: whoever wants two texts with the same hash finds them.
//
// Both go over the Unicode scalar values of the text; what is not UTF-8 counts as U+FFFD. Arithmetic wraps
// at 64 bits. Safe from any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "Platform/Export.h"

namespace qz {

/// D. J. Bernstein's: 5381 for the empty text, then hash * 33 + value.
[[nodiscard]] QZ_EXPORT std::int64_t djb2hash(std::string_view self) noexcept;

/// That of the sdbm library: 0 for the empty text, then hash * 65599 + value. A text with a character after
/// the hash has come to exactly -2^63 ends the program by a trap instead of wrapping, and callers rely on
/// that: give it no texts of people who could make such a one.
[[nodiscard]] QZ_EXPORT std::int64_t sdbmhash(std::string_view self) noexcept;

}  // namespace qz
