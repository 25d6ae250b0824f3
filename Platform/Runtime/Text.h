// Text: a read-only text argument that may be nil.
//
// Take std::string_view where nil makes no sense, and Text where nil and the empty text differ: Text is nil
// when made from nullptr, a null char pointer or an empty optional, and present otherwise, the empty text
// included. Like a view it does not own its characters; store `toString()`.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qz {

class Text {
public:
    constexpr Text() noexcept = default;
    constexpr Text(std::nullptr_t) noexcept {}
    constexpr Text(const char* text) noexcept : Text(text ? Text(std::string_view(text)) : Text()) {}
    constexpr Text(std::string_view text) noexcept : view_(text), present_(true) {}
    Text(const std::string& text) noexcept : Text(std::string_view(text)) {}
    Text(const std::optional<std::string>& text) noexcept : Text(text ? Text(*text) : Text()) {}

    [[nodiscard]] constexpr explicit operator bool() const noexcept { return present_; }

    /// The characters; empty when nil.
    [[nodiscard]] constexpr std::string_view view() const noexcept { return view_; }
    [[nodiscard]] constexpr std::string_view valueOr(std::string_view other) const noexcept {
        return present_ ? view_ : other;
    }

    /// An owned copy; nullopt when nil.
    [[nodiscard]] std::optional<std::string> toString() const {
        return present_ ? std::optional<std::string>(view_) : std::nullopt;
    }

    /// Two nils are equal; nil differs from the empty text.
    [[nodiscard]] friend constexpr bool operator==(const Text&, const Text&) noexcept = default;

private:
    std::string_view view_;
    bool present_ = false;
};

}  // namespace qz
