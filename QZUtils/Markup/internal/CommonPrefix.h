// CommonPrefix: how far two places of one text agree, in logarithmic time, by hashes of its beginnings
// (Karp and Rabin 1987) modulo 2^61 - 1. Two unequal stretches of a text have the same hash with a
// probability of about their length in 2^61, over the base, which is drawn at random once a process.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace qz::internal {

class CommonPrefix {
public:
    /// The text has to outlive this object.
    explicit CommonPrefix(std::u16string_view text) : text_(text) {}

    /// The number of units, up to `limit`, that are the same from both places on. The limit has to keep both
    /// within the text.
    [[nodiscard]] std::size_t length(std::size_t left, std::size_t right, std::size_t limit);

private:
    void prepare();
    [[nodiscard]] std::uint64_t hash(std::size_t start, std::size_t length) const;

    std::u16string_view text_;
    // Empty until a comparison is long enough to need them: those of ordinary texts are not.
    std::vector<std::uint64_t> hashes_;
    std::vector<std::uint64_t> powers_;
};

}  // namespace qz::internal
