#include "QZUtils/Markup/internal/CommonPrefix.h"

#include <algorithm>
#include <random>

namespace qz::internal {

namespace {

constexpr std::uint64_t modulus = (std::uint64_t{1} << 61) - 1;
constexpr std::size_t comparedPlainly = 32;

std::uint64_t product(std::uint64_t left, std::uint64_t right) {
    __extension__ using Wide = unsigned __int128;
    const auto wide = static_cast<Wide>(left) * right;
    const auto folded = static_cast<std::uint64_t>(wide & modulus) + static_cast<std::uint64_t>(wide >> 61);
    return folded >= modulus ? folded - modulus : folded;
}

std::uint64_t base() {
    static const auto drawn = [] {
        std::random_device device;
        return std::uniform_int_distribution<std::uint64_t>(std::uint64_t{1} << 32, modulus - 1)(device);
    }();
    return drawn;
}

}  // namespace

void CommonPrefix::prepare() {
    const auto factor = base();
    hashes_.reserve(text_.size() + 1);
    powers_.reserve(text_.size() + 1);
    hashes_.push_back(0);
    powers_.push_back(1);
    for (const auto unit : text_) {
        hashes_.push_back((product(hashes_.back(), factor) + unit + 1) % modulus);
        powers_.push_back(product(powers_.back(), factor));
    }
}

std::uint64_t CommonPrefix::hash(std::size_t start, std::size_t length) const {
    return (hashes_[start + length] + modulus - product(hashes_[start], powers_[length])) % modulus;
}

std::size_t CommonPrefix::length(std::size_t left, std::size_t right, std::size_t limit) {
    if (left == right) {
        return limit;
    }
    const auto plain = std::min(limit, comparedPlainly);
    for (std::size_t same = 0; same < plain; ++same) {
        if (text_[left + same] != text_[right + same]) {
            return same;
        }
    }
    if (plain == limit) {
        return limit;
    }
    if (hashes_.empty()) {
        prepare();
    }
    std::size_t same = plain;           // known to agree
    std::size_t differing = limit + 1;  // known, or beyond what is asked for
    while (differing - same > 1) {
        const auto middle = same + (differing - same) / 2;
        (hash(left, middle) == hash(right, middle) ? same : differing) = middle;
    }
    return same;
}

}  // namespace qz::internal
