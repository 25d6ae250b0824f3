// Archives that lie, or that are after files outside of the destination.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <set>
#include <thread>

#include "Platform/Foundation/NSDictionary.h"
#include "QZUtils/QZUnzip/SSZipArchive.h"
#include "Tests/Archive/Support.h"

namespace qz::test {

namespace {

using testing::Contains;
using testing::Each;
using testing::StartsWith;

class HostileArchives : public ArchiveTest {
protected:
    [[nodiscard]] bool extract(const std::string& path) const {
        return QZUnzip::unzipArchiveAtPath(path, destination().string());
    }
    /// Writes an archive and reads it in all ways: what came out, but of the facade, which keeps what is
    /// damaged.
    Files readAll(const std::string& bytes, bool& isOpened) {
        const auto path = (outside() / "changed.zip").string();
        const auto other = outside() / "other";
        std::ofstream(path, std::ios::binary) << bytes;
        Ref<NSError> error;
        (void)QZUnzip::unzipArchiveAtPathOverwrite(path, destination().string(), true, "pass", nullptr,
                                                   &error);
        isOpened = error == nullptr;
        (void)QZUnzip::extractDataFromFileRegex("t", path, true, nullptr);
        (void)QZUnzip::extractDataFromFile("deflated", path, nullptr);
        (void)QZUnzip::extractFilesUntil({}, path, NSMutableDictionary::dictionary(), 1 << 20);
        const bool isWalked =
            SSZipArchive::unzipFileAtPathOverwrite(path, other.string(), true, "pass", &error);
        EXPECT_EQ(isWalked && !isOpened, false);
        auto files = filesBelow(destination());
        std::filesystem::remove_all(destination());
        std::filesystem::remove_all(other);
        std::filesystem::remove(path);
        EXPECT_TRUE(filesBelow(outside()).empty());
        return files;
    }
};

TEST_F(HostileArchives, StayInsideTheDestination) {
    std::filesystem::create_directories(destination());
    std::ofstream(outside() / "mine") << "mine";
    std::filesystem::create_directory_symlink("..", destination() / "link");
    std::filesystem::create_symlink("../mine", destination() / "linked.txt");
    const auto logged = warnings([&] { EXPECT_TRUE(extract(archive("hostile.zip"))); });
    EXPECT_EQ(logged.size(), 11U) << testing::PrintToString(logged);
    EXPECT_THAT(logged, Each(StartsWith("Unable to create file " + destination().string())));
    std::filesystem::remove(destination() / "link");
    std::filesystem::remove(destination() / "linked.txt");
    const auto files = filesBelow(destination());
    EXPECT_EQ(files.at("nul"), "plain name");
    EXPECT_EQ(files.at("fine.txt"), "fine");
    std::filesystem::remove_all(destination());
    EXPECT_EQ(filesBelow(outside()), (Files{{"mine", "mine"}}));

    const auto filter = [](const std::string& name) { return std::optional("../" + name); };
    EXPECT_FALSE(QZUnzip::unzipArchiveAtPathOverwrite(archive("good.zip"), destination().string(), true,
                                                      nullptr, filter, nullptr));
    EXPECT_FALSE(std::filesystem::exists(outside() / "good.txt"));
}

TEST_F(HostileArchives, CannotBeJoinedBySomebodyWhoSwapsInLinks) {
    const auto target = outside() / "target";
    std::filesystem::create_directories(target);
    const auto swap = [&](const std::filesystem::path& one, const std::filesystem::path& other) {
        return ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
    };
    // Between two files of one directory, at a moment that is known.
    std::filesystem::create_directory_symlink(target, outside() / "link");
    const auto filter = [&](const std::string& name) -> std::optional<std::string> {
        EXPECT_TRUE(name != "good.txt" || swap(destination() / "in", outside() / "link"));
        return "in/" + name;
    };
    EXPECT_TRUE(QZUnzip::unzipArchiveAtPathOverwrite(archive("good.zip"), destination().string(), true,
                                                     nullptr, filter, nullptr));
    EXPECT_TRUE(std::filesystem::is_symlink(destination() / "in"));
    // At any moment.
    std::filesystem::remove_all(destination());
    std::filesystem::remove_all(outside() / "link");
    std::filesystem::create_directory_symlink(target, outside() / "link");
    std::filesystem::create_directories(destination() / "dir");
    std::atomic<int> swaps = 0;
    std::jthread swapper([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            swaps += swap(destination() / "dir", outside() / "link") ? 1 : 0;
        }
    });
    testing::internal::CaptureStderr();
    for (int count = 0; count < 200 || swaps < 200; ++count) {
        (void)extract(archive("plain.zip"));
        (void)SSZipArchive::unzipFileAtPath(archive("plain.zip"), destination().string());
    }
    swapper.request_stop();
    swapper.join();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(filesBelow(target), Files());
}

TEST_F(HostileArchives, MeetWhatCannotBeWrittenTo) {
    std::ofstream(destination()) << "a file";
    EXPECT_EQ(warnings([&] { EXPECT_FALSE(extract(archive("good.zip"))); }).size(), 3U);
    EXPECT_EQ(contentOf(destination()), "a file");
    std::filesystem::remove(destination());
    std::filesystem::create_directories(destination() / "good.txt");
    ASSERT_EQ(::mkfifo((destination() / "bad.txt").c_str(), 0600), 0);
    EXPECT_EQ(warnings([&] { EXPECT_TRUE(extract(archive("good.zip"))); }).size(), 2U);
    EXPECT_EQ(contentOf(destination() / "deflated"), longText());
}

TEST_F(HostileArchives, LeaveNothingHalfOnAFullDisk) {
    // In a process of its own, since the limit stands for the disk.
    EXPECT_EXIT(
        {
            rlimit limit{};
            limit.rlim_cur = limit.rlim_max = 4096;
            ::setrlimit(RLIMIT_FSIZE, &limit);
            ::signal(SIGXFSZ, SIG_IGN);
            const bool result = extract(archive("good.zip"));
            const auto files = filesBelow(destination());
            ::_exit(result && !files.contains("deflated") && files.contains("good.txt") ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(HostileArchives, LieAboutSizes) {
    const auto logged = warnings([&] { EXPECT_TRUE(extract(archive("lies.zip"))); });
    EXPECT_EQ(logged.size(), 2U) << testing::PrintToString(logged);
    EXPECT_EQ(filesBelow(destination()), (Files{{"good", "good"}}));
    const auto tree = NSMutableDictionary::dictionary();
    EXPECT_FALSE(QZUnzip::extractFilesUntil({}, archive("lies.zip"), tree, 1 << 20));
    EXPECT_EQ(tree->count(), 1U);
    Ref<NSError> error;
    EXPECT_FALSE(QZUnzip::extractDataFromFile("less", archive("lies.zip"), &error));
    EXPECT_EQ(error->code(), -105);
    std::filesystem::remove_all(destination());
    EXPECT_TRUE(SSZipArchive::unzipFileAtPath(archive("lies.zip"), destination().string()));
    EXPECT_EQ(filesBelow(destination()),
              (Files{{"good", "good"}, {"less", longText().substr(0, 100)}, {"more", longText()}}));
}

TEST_F(HostileArchives, HaveNamesOfAllKinds) {
    const auto logged = warnings([&] { EXPECT_TRUE(extract(archive("names.zip"))); });
    EXPECT_EQ(logged.size(), 3U) << "256 bytes and 60 KiB are no file names here, and one is not UTF-8";
    EXPECT_THAT(logged, Contains("Unable to get information about current file for unzipping"));
    const auto files = filesBelow(destination());
    EXPECT_EQ(files.at("last"), "last");
    EXPECT_EQ(files.size(), 602U) << "600 directories in each other and two files";
    const auto tree = NSMutableDictionary::dictionary();
    EXPECT_FALSE(QZUnzip::extractFilesUntil({}, archive("names.zip"), tree, 1 << 20));
    EXPECT_EQ(tree->count(), 3U) << "without the one that is too deep and the one that is not UTF-8";
    EXPECT_EQ(unbox<NSData>(tree->objectForKey(std::string(61440, 'n'))), NSData::dataWithText("60 KiB"));
}

TEST_F(HostileArchives, HaveEntriesAnywhere) {
    const auto inner = contentOf(archive("good.zip"));
    const Files good{{"bad.txt", "damaged here"}, {"deflated", longText()}, {"good.txt", "good"}};
    for (const auto& [name, files] :
         {std::pair{"overlap.zip", Files{{"aa", inner}, {"bb", inner}, {"good.txt", "good"}}},
          {"behind.zip", good},
          {"far.zip", Files{{"far", "far"}, {"farther", longText()}}}}) {
        EXPECT_TRUE(extract(archive(name))) << name;
        EXPECT_EQ(filesBelow(destination()), files) << name;
        std::filesystem::remove_all(destination());
    }
}

TEST_F(HostileArchives, HaveManyOrLargeEntries) {
    const auto tree = NSMutableDictionary::dictionary();
    EXPECT_TRUE(QZUnzip::extractFilesUntil({}, archive("many.zip"), tree, 1 << 20));
    EXPECT_EQ(tree->count(), 65537U);
    EXPECT_EQ(QZUnzip::extractDataFromFile("last", archive("many.zip"), nullptr),
              NSData::dataWithText("last"));
    for (const auto* name : {"zip64.zip", "large.zip"}) {
        EXPECT_EQ(QZUnzip::extractDataFromFile("large", archive(name), nullptr),
                  NSData::dataWithText(longText()))
            << name;
    }
    EXPECT_EQ(QZUnzip::extractDataFromFile("after", archive("large.zip"), nullptr),
              NSData::dataWithText("after"));
}

TEST_F(HostileArchives, BreakAnywhere) {
    testing::internal::CaptureStderr();
    for (const auto* name : {"plain.zip", "good.zip", "secret.zip", "large.zip", "aes-bsdtar-256.zip"}) {
        const auto whole = contentOf(archive(name));
        bool isOpened = false;
        for (std::size_t length = 0; length < whole.size(); length += 100) {
            EXPECT_TRUE(readAll(whole.substr(0, length), isOpened).empty()) << name << " at " << length;
            EXPECT_FALSE(isOpened) << name << " at " << length;
        }
    }
    const std::set<std::string> contents{"", "damaged here", longText(), "good", "secret"};
    for (const auto& [name, changes] :
         {std::pair{"good.zip", std::vector{0x01, 0x80, 0xff}}, {"aes-7z-128-6.zip", std::vector{0x10}}}) {
        const auto whole = contentOf(archive(name));
        for (std::size_t index = 0; index < whole.size(); ++index) {
            for (const int change : changes) {
                auto changed = whole;
                changed[index] = static_cast<char>(changed[index] ^ change);
                bool isOpened = false;
                for (const auto& [file, content] : readAll(changed, isOpened)) {
                    EXPECT_TRUE(contents.contains(content))
                        << name << ": " << file << " with a change at " << index;
                }
            }
        }
    }
    testing::internal::GetCapturedStderr();
}

}  // namespace

}  // namespace qz::test
