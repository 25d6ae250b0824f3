// The archives of archives.py, made once in a process, and a destination for each test.
#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/QZUnzip/QZUnzip.h"
#include "Siblings/QZLog.h"
#include "Tests/Diagnostics/Recorder.h"
#include "Tests/Support/TemporaryDirectory.h"

namespace qz::test {

/// What archives.py writes where it needs more than a word.
inline std::string longText() {
    std::string text;
    for (int count = 0; count < 300; ++count) {
        text += "What is written here comes back. ";
    }
    return text;
}

class ArchiveTest : public testing::Test {
protected:
    using Files = std::map<std::string, std::string>;

    static void SetUpTestSuite() {
        DDLog::sharedInstance()->setConsoleLevel(LogLevel::Off);
        static bool isMade = false;
        if (!isMade) {
            const auto command = "python3 '" QZ_TEST_ARCHIVES "' '" + archives().string() + "'";
            ASSERT_EQ(std::system(command.c_str()), 0);
            isMade = true;
        }
    }
    [[nodiscard]] static const std::filesystem::path& archives() {
        static const TemporaryDirectory directory;
        return directory.path();
    }
    [[nodiscard]] static std::string archive(const std::string& name) { return archives() / name; }

    /// Below this test's own directory, so that what escapes from the destination is seen.
    [[nodiscard]] std::filesystem::path destination() const { return directory_.path() / "destination"; }
    [[nodiscard]] std::filesystem::path outside() const { return directory_.path(); }

    /// Every file below a directory with its contents; directories have a slash and none.
    static Files filesBelow(const std::filesystem::path& directory) {
        Files files;
        std::error_code none;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory, none)) {
            const auto name = entry.path().lexically_relative(directory).string();
            entry.is_directory() ? files[name + "/"] = "" : files[name] = contentOf(entry.path());
        }
        return files;
    }
    /// The warnings that a block logs.
    template <class F>
    static std::vector<std::string> warnings(F&& block) {
        const Recorder recorder(QZLog::sharedLog()->ddSyncLog(), LogLevel::Warning);
        block();
        std::vector<std::string> texts;
        for (const auto& line : recorder.lines()) {
            if (line.flag == LogFlag::Warning) {
                texts.push_back(line.text);
            }
        }
        return texts;
    }

private:
    TemporaryDirectory directory_;
};

}  // namespace qz::test
