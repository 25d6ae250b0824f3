// Bundles for tests, made in a directory of their own.
#pragma once

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>

namespace qz::test {

class BundleTest : public testing::Test {
protected:
    BundleTest() {
        auto pattern = (std::filesystem::temp_directory_path() / "qz-bundle-XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
    }
    ~BundleTest() override { std::filesystem::remove_all(directory_); }

    /// Writes a file below the directory.
    void write(const std::string& place, std::string_view content) const {
        std::filesystem::create_directories((directory_ / place).parent_path());
        std::ofstream(directory_ / place, std::ios::binary) << content;
    }
    [[nodiscard]] std::string at(const std::string& place) const { return directory_ / place; }

    /// In a process of its own, for what is found out once in a process.
    static void inChild(const char* languages, const std::function<void()>& block) {
        const auto child = ::fork();
        if (child == 0) {
            ::setenv("LC_ALL", "de_DE.UTF-8", 1);
            ::setenv("LANGUAGE", languages, 1);
            block();
            std::cerr.flush();
            std::cout.flush();
            ::_exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << "in a process for " << languages;
    }

    std::filesystem::path directory_;
};

}  // namespace qz::test
