// StringsTable: texts by key, as they stand in a file.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace qz::internal {

class StringsTable {
public:
    /// The texts of a file in any of its three forms. One that cannot be read has none and is logged.
    [[nodiscard]] static std::shared_ptr<const StringsTable> read(const std::string& path);

    /// Null when there is none; lives as long as the table.
    [[nodiscard]] const std::string* find(std::string_view key) const {
        const auto place = texts_.find(key);
        return place == texts_.end() ? nullptr : &place->second;
    }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept {
            return std::hash<std::string_view>()(text);
        }
    };
    std::unordered_map<std::string, std::string, Hash, std::equal_to<>> texts_;
};

}  // namespace qz::internal
