// A directory of its own for each test, and other programs to judge archives.
#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Tests/Support/TemporaryDirectory.h"

namespace qz::test {

class ZipTest : public testing::Test {
protected:
    [[nodiscard]] std::string at(const std::string& name) const { return directory_.path() / name; }
    void write(const std::string& name, std::string_view content) const {
        std::filesystem::create_directories(std::filesystem::path(at(name)).parent_path());
        std::ofstream(at(name), std::ios::binary) << content;
    }
    [[nodiscard]] std::string content(const std::string& name) const {
        return std::filesystem::exists(at(name)) ? contentOf(at(name)) : "(none)";
    }
    /// Whether a command of the shell succeeds, in the test's directory.
    [[nodiscard]] bool shell(const std::string& command) const {
        return std::system(("cd '" + directory_.path().string() + "' && " + command).c_str()) == 0;
    }
    /// Whether Python's statements pass; z is its zipfile.
    [[nodiscard]] bool python(const std::string& statements) const {
        write("script.py",
              "import os, time, warnings, zipfile as z\nwarnings.simplefilter('ignore')\n" + statements);
        return shell("python3 script.py && rm script.py");
    }

private:
    TemporaryDirectory directory_;
};

}  // namespace qz::test
