#include <unicode/utf8.h>

#include "QZUtils/Extensions/NSString/NSString+Hash.h"

namespace qz {

namespace {

/// Folds the scalar values of a text into an unsigned hash, whose overflow wraps.
template <class Step>
std::int64_t foldScalars(std::string_view text, std::uint64_t hash, Step step) noexcept {
    // The macros count in a type of the caller's: a 32-bit one would not reach the end of every text.
    const auto length = static_cast<std::int64_t>(text.size());
    for (std::int64_t index = 0; index < length;) {
        UChar32 scalar = 0;
        U8_NEXT_OR_FFFD(text.data(), index, length, scalar);
        hash = step(hash, static_cast<std::uint64_t>(scalar));
    }
    return static_cast<std::int64_t>(hash);
}

}  // namespace

std::int64_t djb2hash(std::string_view self) noexcept {
    return foldScalars(self, 5381, [](auto hash, auto scalar) { return hash * 33 + scalar; });
}

std::int64_t sdbmhash(std::string_view self) noexcept {
    return foldScalars(self, 0, [](auto hash, auto scalar) {
        if (hash == std::uint64_t{1} << 63U) {
            __builtin_trap();
        }
        return hash * 65599 + scalar;
    });
}

}  // namespace qz
