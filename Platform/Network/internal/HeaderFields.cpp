#include "Platform/Network/internal/HeaderFields.h"

#include <algorithm>
#include <array>

namespace qz::internal {

namespace {

// ASCII alone, whatever the locale.
constexpr char lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr char upper(char c) noexcept {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

/// Names whose capitals are not those of words between hyphens.
constexpr std::array irregularNames{"ETag", "WWW-Authenticate", "Content-MD5", "TE", "DNT", "P3P"};

}  // namespace

bool isSameField(std::string_view left, std::string_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

std::optional<std::string> nameOfField(const NSDictionary& fields, std::string_view field) {
    for (const auto& entry : fields) {
        auto name = unbox<std::string>(entry.first);
        if (name && isSameField(*name, field)) {
            return name;
        }
    }
    return std::nullopt;
}

std::optional<std::string> valueOfField(const NSDictionary& fields, std::string_view field) {
    const auto name = nameOfField(fields, field);
    return name ? unbox<std::string>(fields.objectForKey(*name)) : std::nullopt;
}

std::string usualFieldName(std::string_view field) {
    for (const std::string_view name : irregularNames) {
        if (isSameField(name, field)) {
            return std::string(name);
        }
    }
    std::string usual(field);
    bool startsWord = true;
    for (auto& c : usual) {
        c = startsWord ? upper(c) : lower(c);
        startsWord = c == '-';
    }
    return usual;
}

}  // namespace qz::internal
