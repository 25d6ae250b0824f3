// What the tests of downloads share: a directory of their own, caches included, that goes at the end.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace qz::test {

[[nodiscard]] std::filesystem::path scratchDirectory();
/// Where downloads keep what has arrived.
[[nodiscard]] std::vector<std::filesystem::path> partialFiles();
/// The same bytes each time.
[[nodiscard]] std::string randomText(std::size_t size);

}  // namespace qz::test
