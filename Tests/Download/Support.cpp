#include "Tests/Download/Support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace qz::test {

namespace {

class Scratch : public testing::Environment {
public:
    Scratch() {
        auto pattern = (std::filesystem::temp_directory_path() / "qz-download-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
        ::setenv("XDG_CACHE_HOME", (path / "cache").c_str(), 1);
        ::setenv("LC_ALL", "en_US.UTF-8", 1);  // dates of servers are read in the user's language
        ::setenv("no_proxy", "*", 1);
    }
    void TearDown() override { std::filesystem::remove_all(path); }

    std::filesystem::path path;
};

auto* const scratch = static_cast<Scratch*>(testing::AddGlobalTestEnvironment(new Scratch));

}  // namespace

std::filesystem::path scratchDirectory() {
    return scratch->path;
}

std::vector<std::filesystem::path> partialFiles() {
    const auto directory = scratch->path / "cache/QZUtils/Downloads";
    std::vector<std::filesystem::path> files;
    if (std::filesystem::exists(directory)) {
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            files.push_back(entry.path());
        }
    }
    return files;
}

std::string randomText(std::size_t size) {
    std::mt19937 random(7);
    std::string text(size, '\0');
    for (auto& c : text) {
        c = static_cast<char>(random());
    }
    return text;
}

}  // namespace qz::test
