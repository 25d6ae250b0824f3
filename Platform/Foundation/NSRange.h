// NSRange: a stretch of a text or a list: where it begins and how much of it there is. In texts both count
// UTF-16 units, whatever the text is stored in.
#pragma once

#include <cstddef>
#include <limits>

namespace qz {

/// The location of what was not found.
inline constexpr std::size_t NSNotFound =
    static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());

struct NSRange {
    std::size_t location = 0;
    std::size_t length = 0;

    [[nodiscard]] constexpr std::size_t end() const noexcept { return location + length; }
    /// Whether it lies in a text of so many units.
    [[nodiscard]] constexpr bool isWithin(std::size_t count) const noexcept {
        return location <= count && length <= count - location;
    }
    [[nodiscard]] friend constexpr bool operator==(const NSRange&, const NSRange&) noexcept = default;
};

/// The range of what was not found.
inline constexpr NSRange NSRangeNotFound{NSNotFound, 0};

}  // namespace qz
