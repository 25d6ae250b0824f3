// Selector: the interned name of a message, for example "downloadTo:from:"_sel.
//
// Two selectors of one text are the same pointer, so they compare and hash at the cost of one. The literal
// interns its text the first time it is evaluated and costs a load afterwards; Selector(text) looks the text
// up every time. Interned texts are kept until the process ends: do not make selectors from unbounded input.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <string_view>

#include "Platform/Export.h"

namespace qz {

namespace internal {

struct SelectorData {
    std::string_view name;
    std::size_t hash = 0;
};

QZ_EXPORT const SelectorData* internSelector(std::string_view name);

template <std::size_t N>
struct FixedString {
    char text[N] = {};
    consteval FixedString(const char (&literal)[N]) { std::copy_n(literal, N, text); }
    [[nodiscard]] constexpr std::string_view view() const { return {text, N - 1}; }
};

template <FixedString Name>
inline constinit std::atomic<const SelectorData*> selectorLiteral{nullptr};

}  // namespace internal

class Selector {
public:
    /// The null selector, which nothing responds to.
    constexpr Selector() noexcept = default;
    explicit Selector(std::string_view name) : data_(internal::internSelector(name)) {}
    constexpr explicit Selector(const internal::SelectorData* data) noexcept : data_(data) {}

    /// The full text, colons included; valid for ever. Empty for the null selector.
    [[nodiscard]] std::string_view name() const noexcept { return data_ ? data_->name : std::string_view(); }
    /// The number of colons.
    [[nodiscard]] std::size_t argumentCount() const noexcept {
        const auto text = name();
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), ':'));
    }
    [[nodiscard]] std::size_t hash() const noexcept { return data_ ? data_->hash : 0; }
    [[nodiscard]] constexpr explicit operator bool() const noexcept { return data_ != nullptr; }
    [[nodiscard]] friend constexpr bool operator==(Selector, Selector) noexcept = default;

private:
    const internal::SelectorData* data_ = nullptr;
};

[[nodiscard]] inline Selector NSSelectorFromString(std::string_view name) {
    return Selector(name);
}
[[nodiscard]] inline std::string_view NSStringFromSelector(Selector selector) {
    return selector.name();
}

inline namespace literals {

template <internal::FixedString Name>
[[nodiscard]] inline Selector operator""_sel() {
    auto& cached = internal::selectorLiteral<Name>;
    const auto* data = cached.load(std::memory_order_acquire);
    if (!data) [[unlikely]] {
        data = internal::internSelector(Name.view());
        cached.store(data, std::memory_order_release);
    }
    return Selector(data);
}

}  // namespace literals
}  // namespace qz

template <>
struct std::hash<qz::Selector> {
    std::size_t operator()(qz::Selector selector) const noexcept { return selector.hash(); }
};
