// A directory of its own for each test, and other programs to judge archives.
#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace qz::test {

class ZipTest : public testing::Test {
protected:
    ZipTest() {
        auto pattern = (std::filesystem::temp_directory_path() / "qz-zip-XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
    }
    ~ZipTest() override { std::filesystem::remove_all(directory_); }

    [[nodiscard]] std::string at(const std::string& name) const { return directory_ / name; }
    void write(const std::string& name, std::string_view content) const {
        std::filesystem::create_directories(std::filesystem::path(at(name)).parent_path());
        std::ofstream(at(name), std::ios::binary) << content;
    }
    [[nodiscard]] std::string content(const std::string& name) const {
        std::ifstream file(at(name), std::ios::binary);
        return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "(none)";
    }
    /// Whether a command of the shell succeeds, in the test's directory.
    [[nodiscard]] bool shell(const std::string& command) const {
        return std::system(("cd '" + directory_.string() + "' && " + command).c_str()) == 0;
    }
    /// Whether Python's statements pass; z is its zipfile.
    [[nodiscard]] bool python(const std::string& statements) const {
        write("script.py",
              "import os, time, warnings, zipfile as z\nwarnings.simplefilter('ignore')\n" + statements);
        return shell("python3 script.py && rm script.py");
    }

    std::filesystem::path directory_;
};

}  // namespace qz::test
