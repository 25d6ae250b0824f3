// What the tests of this directory share.
#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace qz::test {

/// A home of its own for each test; stores are closed when their last object is gone, so none outlives it.
class StorageTest : public testing::Test {
protected:
    StorageTest() {
        auto pattern = (std::filesystem::temp_directory_path() / "qz-storage-XXXXXX").string();
        home_ = ::mkdtemp(pattern.data());
        ::setenv("HOME", home_.c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (home_ / "config").c_str(), 1);
        ::setenv("XDG_DATA_HOME", (home_ / "data").c_str(), 1);
        ::setenv("XDG_CACHE_HOME", (home_ / "cache").c_str(), 1);
    }
    ~StorageTest() override { std::filesystem::remove_all(home_); }

    [[nodiscard]] std::filesystem::path home() const { return home_; }
    [[nodiscard]] std::filesystem::path stores() const { return home_ / "config/QZUtils/Defaults"; }

private:
    std::filesystem::path home_;
};

/// Makes a file with its directories.
inline void writeFile(const std::filesystem::path& path, std::string_view bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

[[nodiscard]] inline std::string contentsOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

[[nodiscard]] inline unsigned modeOf(const std::filesystem::path& path) {
    return static_cast<unsigned>(std::filesystem::status(path).permissions());
}

}  // namespace qz::test
