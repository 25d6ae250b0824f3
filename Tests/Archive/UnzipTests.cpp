// What ordinary archives become, in each of the three ways.
#include <minizip/unzip.h>

#include <chrono>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Device/QZNSBundle.h"
#include "QZUtils/QZUnzip/unzLocateFileRegex.h"
#include "Tests/Archive/Support.h"

namespace qz::test {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class Unzip : public ArchiveTest {
protected:
    [[nodiscard]] bool extract(const std::string& name, bool overwrite = true, Text password = nullptr,
                               const QZUnzip::Filter& filter = nullptr) const {
        Ref<NSError> error;
        const bool result = QZUnzip::unzipArchiveAtPathOverwrite(archive(name), destination().string(),
                                                                 overwrite, password, filter, &error);
        EXPECT_EQ(error, nullptr);
        return result;
    }
    static std::time_t modified(const std::filesystem::path& path) {
        return std::chrono::system_clock::to_time_t(
            std::chrono::file_clock::to_sys(std::filesystem::last_write_time(path)));
    }
    static id value(const Ref<NSMutableDictionary>& tree, const std::vector<std::string>& path) {
        id current = tree;
        for (const auto& key : path) {
            const auto dictionary = current.as<NSMutableDictionary>();
            current = dictionary ? dictionary->objectForKey(key) : id();
        }
        return current;
    }
    static std::string text(const id& data) {
        const auto bytes = unbox<NSData>(data);
        return bytes ? std::string(bytes->text()) : "(none)";
    }
};

TEST_F(Unzip, PlacesFilesWithDirectoriesAndDates) {
    EXPECT_TRUE(extract("plain.zip"));
    EXPECT_EQ(filesBelow(destination()), (Files{{"Cover.PNG", "png"},
                                                {"a.txt", "first"},
                                                {"back/", ""},
                                                {"dir/", ""},
                                                {"dir/b.txt", longText()},
                                                {"nothing", ""},
                                                {"one.pdf", "1"},
                                                {"two.pdf", "2"},
                                                {"win/", ""},
                                                {"win/deep/", ""},
                                                {"win/deep/c.txt", "third"},
                                                {"x.pdf.txt", "no"}}));
    // The packed word of 2020-05-17 12:30:08, as seconds.
    const auto word = ((2020 - 1980) << 9 | 5 << 5 | 17) << 16 | 12 << 11 | 30 << 5 | 8 / 2;
    std::tm newYear{};
    newYear.tm_year = 80;
    newYear.tm_mday = 1;
    newYear.tm_isdst = -1;
    EXPECT_EQ(modified(destination() / "a.txt"), std::mktime(&newYear) + word);
    EXPECT_NEAR(static_cast<double>(modified(destination() / "dir/b.txt")),
                static_cast<double>(std::time(nullptr)), 60);
}

TEST_F(Unzip, TellsWhetherAFileCameOut) {
    for (const auto* name : {"empty.zip", "commented.zip", "directories.zip"}) {
        EXPECT_FALSE(extract(name)) << name;
    }
    EXPECT_FALSE(extract("plain.zip", true, nullptr, [](const auto&) { return std::nullopt; }));
    EXPECT_EQ(filesBelow(destination()), (Files{{"one/", ""}, {"one/two/", ""}}));
    for (const auto& path : {std::string("/does/not/exist"), std::string(QZ_TEST_ARCHIVES),
                             archives().string(), std::string("/dev/zero")}) {
        Ref<NSError> error;
        EXPECT_FALSE(QZUnzip::unzipArchiveAtPath(path, destination().string(), &error));
        ASSERT_NE(error, nullptr) << path;
        EXPECT_EQ(error->domain(), "UnzipArchiveErrorDomain");
        EXPECT_EQ(error->code(), -1);
        EXPECT_EQ(error->userInfo()->count(), 1U);
        EXPECT_EQ(error->localizedDescription(), QZNSBundle::localizedStringForKey("CannotOpenFile"));
        EXPECT_FALSE(QZUnzip::unzipArchiveAtPath(path, destination().string()));
    }
}

TEST_F(Unzip, KeepsExistingFilesUnlessTold) {
    std::filesystem::create_directories(destination());
    std::ofstream(destination() / "a.txt") << "a much longer text that is mine";
    const auto onlyA = [](const std::string& name) {
        return name == "a.txt" ? std::optional(name) : std::nullopt;
    };
    EXPECT_THAT(warnings([&] { EXPECT_FALSE(extract("plain.zip", false, nullptr, onlyA)); }), IsEmpty());
    EXPECT_EQ(contentOf(destination() / "a.txt"), "a much longer text that is mine");
    EXPECT_TRUE(extract("plain.zip", true, nullptr, onlyA));
    EXPECT_EQ(contentOf(destination() / "a.txt"), "first");
}

TEST_F(Unzip, AsksTheFilterWhereToPlaceEntries) {
    std::vector<std::string> asked;
    const auto filter = [&](const std::string& name) -> std::optional<std::string> {
        asked.push_back(name);
        return name == "dir/" ? "moved" : name == "one.pdf" ? "moved/1" : std::optional<std::string>();
    };
    EXPECT_TRUE(extract("plain.zip", true, nullptr, filter));
    EXPECT_THAT(asked, ElementsAre("a.txt", "dir/", "dir/b.txt", "win/deep/c.txt", "back/", "Cover.PNG",
                                   "x.pdf.txt", "one.pdf", "two.pdf", "nothing"));
    EXPECT_EQ(filesBelow(destination()), (Files{{"moved/", ""}, {"moved/1", "1"}}));
}

TEST_F(Unzip, RemovesDamagedFilesAndKeepsTheOthers) {
    struct Case {
        const char* archive;
        const char* gone;
        int status;
    };
    for (const auto& damage : {Case{"damaged.zip", "bad.txt", -105}, {"broken.zip", "deflated", -3}}) {
        const auto logged = warnings([&] { EXPECT_TRUE(extract(damage.archive)); });
        EXPECT_THAT(logged, ElementsAre("Unable to uznip file " + std::string(damage.gone) +
                                        ": data currupted: " + std::to_string(damage.status)));
        const auto files = filesBelow(destination());
        EXPECT_FALSE(files.contains(damage.gone));
        EXPECT_EQ(files.at("good.txt"), "good");
        std::filesystem::remove_all(destination());
    }
}

TEST_F(Unzip, DeciphersWithThePasswordAlone) {
    const Files secrets{{"deflated.txt", longText()}, {"stored.txt", "secret"}};
    for (const std::string name :
         {"secret.zip", "aes-7z-128-0.zip", "aes-7z-128-6.zip", "aes-7z-192-0.zip", "aes-7z-192-6.zip",
          "aes-7z-256-0.zip", "aes-7z-256-6.zip", "aes-bsdtar-128.zip", "aes-bsdtar-256.zip", "forged.zip"}) {
        for (const auto& password : {Text("pass"), Text("Pass"), Text(), Text(""), Text("päss")}) {
            const bool isOpened = name == "secret.zip" || password == "pass" || password == "Pass";
            const bool isRight = password == "pass" && name != "forged.zip";
            const auto logged = warnings([&] { (void)extract(name, true, password); });
            EXPECT_EQ(logged.size() >= 2, !isRight) << name;
            EXPECT_THAT(logged, Each(isOpened ? StartsWith("Unable to uznip file ")
                                              : StartsWith("Unable to open current file")));
            auto files = filesBelow(destination());
            files.erase("nothing");   // which bsdtar does not encipher
            files.erase("open.txt");  // which needs no password
            EXPECT_EQ(files, isRight ? secrets : Files()) << name;
            std::filesystem::remove_all(destination());
            Ref<NSError> error;
            const auto data =
                QZUnzip::extractDataFromFilePassword("stored.txt", archive(name), password, false, &error);
            EXPECT_EQ(data.value_or(NSData()).text(), isRight ? "secret" : "") << name;
            EXPECT_EQ(error ? error->code() : 0, isRight ? 0 : isOpened ? -105 : -103) << name;
        }
    }
    EXPECT_TRUE(extract("secret.zip"));
    EXPECT_EQ(filesBelow(destination()), (Files{{"open.txt", "open"}}));
}

TEST_F(Unzip, FindsOneEntry) {
    struct Case {
        std::string name;
        bool regex;
        std::optional<std::string> content;
        std::int64_t code;
    };
    const auto path = archive("plain.zip");
    for (const auto& [name, regex, content, code] : {
             Case{"cover.png", false, "png", 0},
             {"DIR/B.TXT", false, longText(), 0},
             {"nothing", false, "", 0},
             {"\\.pdf$", true, "1", 0},
             {"cover", true, {}, -100},
             {"c.t", true, "third", 0},
             {"\\(", true, {}, -102},
             {std::string(255, 'a'), true, {}, -100},
             {std::string(256, 'a'), true, {}, -102},
             {std::string(256, 'a'), false, {}, -102},
             {"absent", false, {}, -100},
         }) {
        Ref<NSError> error;
        const auto data = QZUnzip::extractDataFromFileRegex(name, path, regex, &error);
        EXPECT_EQ(data ? std::optional(std::string(data->text())) : std::nullopt, content) << name;
        EXPECT_EQ(error ? error->code() : 0, code) << name;
        EXPECT_EQ(QZUnzip::checkFileRegex(name, path, regex, nullptr), content.has_value()) << name;
        if (error) {
            EXPECT_EQ(error->localizedDescription(),
                      QZNSBundle::localizedStringForKey("CannotLocateFileInArchive"));
        }
    }
    EXPECT_EQ(QZUnzip::extractDataFromFileJustChecking("a.txt", path, nullptr, false, true, nullptr),
              NSData());
    EXPECT_TRUE(QZUnzip::checkFile("bad.txt", archive("damaged.zip"), nullptr));
    Ref<NSError> error;
    EXPECT_FALSE(QZUnzip::extractDataFromFile("bad.txt", archive("damaged.zip"), &error));
    EXPECT_EQ(error->localizedDescription(), QZNSBundle::localizedStringForKey("FileCurruptedInArchive"));
    EXPECT_FALSE(QZUnzip::checkFile("a", archive("empty.zip"), &error));
    EXPECT_EQ(error->code(), -100);
    // The end of broken data is not reached, and closing them has nothing to say.
    EXPECT_TRUE(QZUnzip::extractDataFromFile("deflated", archive("broken.zip"), nullptr));
}

TEST_F(Unzip, LocatesByPatternOnAnyHandle) {
    const auto handle = ::unzOpen64(archive("plain.zip").c_str());
    const auto current = [&] {
        std::array<char, 64> name{};
        ::unzGetCurrentFileInfo64(handle, nullptr, name.data(), name.size(), nullptr, 0, nullptr, 0);
        return std::string(name.data());
    };
    EXPECT_EQ(unzLocateFileRegex(handle, "o.*pdf"), UNZ_OK);
    EXPECT_EQ(current(), "one.pdf");
    EXPECT_EQ(unzLocateFileRegex(handle, "none"), UNZ_END_OF_LIST_OF_FILE);
    EXPECT_EQ(current(), "one.pdf");
    EXPECT_EQ(::unzGoToNextFile(handle), UNZ_OK);
    EXPECT_EQ(current(), "two.pdf");
    EXPECT_EQ(unzLocateFileRegex(handle, "["), UNZ_PARAMERROR);
    EXPECT_EQ(current(), "a.txt");
    EXPECT_EQ(unzLocateFileRegex(nullptr, "a"), UNZ_PARAMERROR);
    EXPECT_EQ(unzLocateFileRegex(handle, nullptr), UNZ_PARAMERROR);
    ::unzClose(handle);
}

TEST_F(Unzip, BuildsATreeInMemory) {
    const auto tree = NSMutableDictionary::dictionary({{"mine", "stays"}});
    EXPECT_THAT(warnings([&] { QZUnzip::extractFiles(archive("plain.zip"), tree); }), IsEmpty());
    EXPECT_EQ(text(value(tree, {"a.txt"})), "first");
    EXPECT_EQ(text(value(tree, {"dir", "b.txt"})), longText());
    EXPECT_EQ(text(value(tree, {"win", "deep", "c.txt"})), "third");
    EXPECT_EQ(text(value(tree, {"nothing"})), "");
    EXPECT_EQ(tree->count(), 9U) << "with what was there, and without the empty directory";

    const auto unable = *QZNSBundle::localizedStringForKey("UnableToUnpack");
    const auto read = [&](const char* name) {
        return warnings([&] { QZUnzip::extractFiles(archive(name), tree); });
    };
    EXPECT_THAT(
        read("none.zip"),
        ElementsAre(unable + ": " + *QZNSBundle::localizedStringForKey("Unzip couldn't locate pack file")));
    EXPECT_THAT(read("empty.zip"),
                ElementsAre(": " + unable + ": -102, " +
                            *QZNSBundle::localizedStringForKey("Unzip: getCurrenFileInfo error")));
    EXPECT_THAT(read("damaged.zip"),
                ElementsAre("bad.txt: " + unable + ": -105, " +
                            *QZNSBundle::localizedStringForKey("Unzip: read file corrupted")));
    EXPECT_EQ(tree->count(), 11U);
    // A file stands where a directory is needed; what stands there stays.
    EXPECT_EQ(read("clash.zip").size(), 1U);
    EXPECT_EQ(text(value(tree, {"a"})), "file");
    EXPECT_EQ(text(value(tree, {"c"})), "after");
}

TEST_F(Unzip, EndsWhereItIsTold) {
    const auto tree = NSMutableDictionary::dictionary();
    const auto read = [&](const char* name, std::uint64_t limit, const std::stop_token& stop = {}) {
        tree->removeAllObjects();
        return QZUnzip::extractFilesUntil(stop, archive(name), tree, limit);
    };
    EXPECT_TRUE(read("trailing.zip", 4)) << "a directory at the end";
    EXPECT_EQ(text(value(tree, {"a", "b"})), "deep");
    EXPECT_FALSE(read("trailing.zip", 3));
    EXPECT_EQ(tree->count(), 0U);
    EXPECT_FALSE(read("bomb.zip", 1 << 20));
    EXPECT_EQ(tree->count(), 1U) << "what came before the large one";
    EXPECT_FALSE(read("damaged.zip", 1 << 20));
    EXPECT_EQ(tree->count(), 2U);
    EXPECT_FALSE(read("none.zip", 1));
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(read("plain.zip", 1 << 20, stop.get_token()));
    EXPECT_EQ(tree->count(), 0U);
}

TEST_F(Unzip, PutsObjectsBelowDictionaries) {
    const auto root = NSMutableDictionary::dictionary();
    const auto put = [&](const std::vector<std::string>& path) {
        return QZUnzip::putObjectToDictionary(root, path, "object").get();
    };
    EXPECT_EQ(put({"key"}), root.get());
    const auto* inner = put({"a", "b", ""});
    EXPECT_EQ(inner, value(root, {"a", "b"}).get());
    EXPECT_EQ(value(root, {"a", "b"}).as<NSMutableDictionary>()->count(), 0U);
    EXPECT_EQ(put({"a", "b", "c"}), inner);
    EXPECT_EQ(unbox<std::string>(value(root, {"a", "b", "c"})), "object");
    EXPECT_EQ(put({}), root.get());
    EXPECT_THROW(put({"key", "c"}), NSException);
}

TEST_F(Unzip, AnswersMessages) {
    Ref<NSError> error;
    auto& receiver = QZUnzip::cls();
    const QZUnzip::Filter filter = [](const std::string& name) { return std::optional(name); };
    EXPECT_TRUE(send<bool>(receiver, "unzipArchiveAtPath:toDestination:overwrite:password:filter:error:"_sel,
                           archive("good.zip"), destination().string(), true, Text(), filter, &error));
    EXPECT_EQ(contentOf(destination() / "good.txt"), "good");
    EXPECT_TRUE(send<std::optional<NSData>>(receiver, "extractDataFromFile:inArchive:error:"_sel, "good.txt",
                                            archive("good.zip"), &error));
}

}  // namespace

}  // namespace qz::test
