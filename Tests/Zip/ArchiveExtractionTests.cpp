// Archives of other programs, extracted: what lies where afterwards, and what the delegate hears.
#include <sys/stat.h>

#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/QZUnzip/QZUnzip.h"
#include "QZUtils/QZUnzip/SSZipArchive.h"
#include "Tests/Zip/Support.h"

namespace qz::test {

namespace fs = std::filesystem;

/// Writes down what it is told.
class Listener : public NSObject {
    QZ_OBJECT(Listener, NSObject)
public:
    std::string heard;

    void zipArchiveWillUnzipArchiveAtPath(std::string_view path, const ZipGlobalInfo& info) {
        note("begin " + nameOf(path) + " " + std::to_string(info.numberOfEntries));
    }
    void zipArchiveProgressEvent(std::int64_t loaded, std::int64_t total) {
        note(std::to_string(loaded) + "/" + std::to_string(total));
    }
    void zipArchiveWillUnzipFileAtIndex(std::int64_t index, std::int64_t total, std::string_view path,
                                        const ZipFileInfo& info) {
        note("will " + std::to_string(index) + "/" + std::to_string(total) + " " + nameOf(path) + " " +
             std::to_string(info.uncompressedSize));
    }
    void zipArchiveDidUnzipFileAtIndex(std::int64_t index, std::int64_t total, std::string_view,
                                       const ZipFileInfo& info) {
        note("did " + std::to_string(index) + "/" + std::to_string(total) + " " +
             std::to_string(info.date.year) + "-" + std::to_string(info.date.month));
    }
    void zipArchiveDidUnzipArchiveAtPath(std::string_view path, const ZipGlobalInfo& info,
                                         std::string_view unzippedPath) {
        note("end " + nameOf(path) + " " + std::to_string(info.numberOfEntries) + " " + nameOf(unzippedPath));
    }

protected:
    Listener() = default;

private:
    static std::string nameOf(std::string_view path) { return fs::path(path).filename(); }
    void note(const std::string& line) { heard += line + "\n"; }
};

QZ_DEFINE_CLASS(Listener, cls) {
    cls.adopts<SSZipArchiveDelegate>();
}

class ArchiveExtraction : public ZipTest {
protected:
    /// A program that adds entries to a.zip: add(name, bytes, mode or the whole attributes, date, system).
    [[nodiscard]] bool archive(const std::string& statements) const {
        return python(R"(
a = z.ZipFile('a.zip', 'w')
def add(name, data=b'', mode=0, date=(2020, 5, 6, 7, 8, 10), system=3):
    i = z.ZipInfo('x' * len(name), date)
    i.filename, i.external_attr, i.create_system = name, mode << 16, system
    a.writestr(i, data)
)" + statements + "\na.close()\n");
    }
    bool unzip(bool overwrite = true, Text password = nullptr) {
        error_ = nullptr;
        listener_->heard.clear();
        testing::internal::CaptureStderr();
        const bool result = SSZipArchive::unzipFileAtPathOverwrite(at("a.zip"), at("out/deep"), overwrite,
                                                                   password, &error_, listener_);
        log_ = testing::internal::GetCapturedStderr();
        return result;
    }
    [[nodiscard]] std::string extracted(const std::string& name) const { return content("out/deep/" + name); }
    [[nodiscard]] struct stat statusOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(::lstat(at("out/deep/" + name).c_str(), &status), 0) << name;
        return status;
    }

    const Ref<Listener> listener_ = make<Listener>();
    Ref<NSError> error_;
    std::string log_;
};

TEST_F(ArchiveExtraction, RestoresDatesModesAndLinks) {
    ASSERT_TRUE(archive(R"(
add('d/', mode=0o40550, date=(2001, 2, 3, 4, 5, 6))
add('d/link', b'../../elsewhere', mode=0o120777)
add('d/file', b'page' * 9000, mode=0x81A4)
add('d\\deep\\script', b'run', mode=0o755, system=0)
add('not a link', b'text', mode=0xA1FF, system=0)
add('gr\u00f6\u00dfe', b'umlaut')
)"));
    ASSERT_TRUE(unzip());
    EXPECT_EQ(log_, "");
    std::string page;
    for (int count = 0; count < 9000; ++count) {
        page += "page";
    }
    EXPECT_EQ(extracted("d/file"), page);
    EXPECT_EQ(extracted("d/deep/script"), "run");
    EXPECT_EQ(extracted("not a link"), "text");
    EXPECT_EQ(extracted("gr\u00F6\u00DFe"), "umlaut");
    EXPECT_EQ(fs::read_symlink(at("out/deep/d/link")), "../../elsewhere");
    EXPECT_EQ(statusOf("d/file").st_mode, 0100644U);
    EXPECT_EQ(statusOf("d/deep/script").st_mode, 0100755U);
    EXPECT_EQ(statusOf("d").st_mode, 040550U);  // although files were put into it
    const auto dateOf = [](unsigned word) {
        return static_cast<std::int64_t>(SSZipArchive::_dateWithMSDOSFormat(word)->timeIntervalSince1970());
    };
    const auto fileDate = dateOf(40U << 25U | 5U << 21U | 6U << 16U | 7U << 11U | 8U << 5U | 5U);
    EXPECT_EQ(statusOf("d/file").st_mtim.tv_sec, fileDate);
    // Writing into it came after its entry.
    EXPECT_EQ(statusOf("d").st_mtim.tv_sec,
              dateOf(21U << 25U | 2U << 21U | 3U << 16U | 4U << 11U | 5U << 5U | 3U));
    EXPECT_NE(statusOf("d/link").st_mtim.tv_sec, fileDate);  // links have no part in the second pass
    fs::permissions(at("out/deep/d"), fs::perms::owner_all);
}

TEST_F(ArchiveExtraction, TellsTheDelegateInOrder) {
    ASSERT_TRUE(archive("add('a', b'12345')\nadd('b', b'123')\nadd('c', b'1')"));
    const auto total = std::to_string(fs::file_size(at("a.zip")));
    ASSERT_TRUE(unzip());
    EXPECT_EQ(listener_->heard, "begin a.zip 3\n0/" + total + "\nwill 0/3 a.zip 5\n5/" + total +
                                    "\ndid 0/3 2020-4\nwill 1/3 a.zip 3\n8/" + total +
                                    "\ndid 1/3 2020-4\nwill 2/3 a.zip 1\n9/" + total +
                                    "\ndid 2/3 2020-4\nend a.zip 3 deep\n" + total + "/" + total + "\n");
    // A file that is kept has no end, and the next one its index.
    write("out/deep/b", "mine");
    fs::last_write_time(at("out/deep/b"), fs::file_time_type::clock::now());
    const auto date = statusOf("b").st_mtim.tv_sec;
    fs::remove(at("out/deep/c"));
    ASSERT_TRUE(unzip(false));
    EXPECT_EQ(extracted("b"), "mine");
    EXPECT_EQ(statusOf("b").st_mtim.tv_sec, date);
    EXPECT_EQ(extracted("c"), "1");
    EXPECT_EQ(listener_->heard, "begin a.zip 3\n0/" + total + "\nwill 0/3 a.zip 5\n5/" + total +
                                    "\nwill 0/3 a.zip 3\n8/" + total + "\nwill 0/3 a.zip 1\n9/" + total +
                                    "\ndid 0/3 2020-4\nend a.zip 3 deep\n" + total + "/" + total + "\n");
    // Delegates may have none of the operations, and the shorter forms work without one.
    EXPECT_TRUE(SSZipArchive::unzipFileAtPath(at("a.zip"), at("out/deep"), make<NSObject>()));
    EXPECT_EQ(extracted("b"), "123");
    EXPECT_TRUE(SSZipArchive::unzipFileAtPath(at("a.zip"), at("again")));
    EXPECT_EQ(content("again/a"), "12345");
}

TEST_F(ArchiveExtraction, StaysInsideTheDestination) {
    write("victim", "mine");
    fs::create_directories(at("out/outside"));
    ASSERT_TRUE(archive("v = '" + at("victim") + R"('
for n in (v, '../../victim', '..\\..\\victim', 'a/../../../victim', '../d/', '/tmp/..', '..', ''):
    add(n, b'bad', mode=0o777)
add('up', b'../..', mode=0o120777)
add('up/victim', b'bad', mode=0o777)
add('direct', b'../../victim', mode=0o120777)
add('direct', b'bad', mode=0o777)
add('../link', b'x', mode=0o120777)
add('good', b'good')
)"));
    const auto before = fs::last_write_time(at("victim"));
    ASSERT_TRUE(unzip());
    EXPECT_EQ(content("victim"), "mine");
    EXPECT_EQ(fs::last_write_time(at("victim")), before);
    EXPECT_EQ(fs::status(at("victim")).permissions() & fs::perms::others_write, fs::perms::none);
    EXPECT_EQ(std::distance(fs::directory_iterator(at("out")), {}), 2);
    EXPECT_EQ(fs::read_symlink(at("out/deep/direct")), "../../victim");
    EXPECT_EQ(extracted("good"), "good");
    EXPECT_EQ(log_, "");
    EXPECT_THAT(listener_->heard, testing::HasSubstr("did 13/14"));
}

TEST_F(ArchiveExtraction, TellsProblemsOnTheConsole) {
    ASSERT_TRUE(archive(R"(
add('file', b'1')
add('file/below', b'2')
add('file', b'target', mode=0o120777)
add('long', b't' * 5000, mode=0o120777)
)"));
    ASSERT_TRUE(unzip());
    EXPECT_EQ(extracted("file"), "1");
    const auto path = at("out/deep/file");
    EXPECT_THAT(log_, testing::ContainsRegex("^20..-..-.. ..:..:..\\..* \\[SSZipArchive\\] Error: "));
    EXPECT_THAT(
        log_, testing::HasSubstr("[SSZipArchive] Set attributes failed for directory: " + path + "/below."));
    EXPECT_THAT(log_, testing::HasSubstr("attribute: "));
    EXPECT_THAT(log_, testing::HasSubstr("Failed to set attributes - whilst setting modification date"));
    EXPECT_THAT(log_, testing::HasSubstr("Failed to create symbolic link at \"" + path +
                                         "\" to \"target\". symlink() error code: 17\n"));
    EXPECT_THAT(log_, testing::HasSubstr("symlink() error code: 36\n"));
    // Every creation fails, and the walk goes on.
    fs::remove_all(at("out"));
    write("out/deep", "a file");
    EXPECT_TRUE(unzip());
    EXPECT_EQ(content("out/deep"), "a file");
    EXPECT_THAT(listener_->heard, testing::HasSubstr("did 3/4"));
}

TEST_F(ArchiveExtraction, FailsWhereNothingCanBeRead) {
    const auto fails = [&](std::int64_t code, const char* text) {
        EXPECT_FALSE(unzip());
        ASSERT_TRUE(error_);
        EXPECT_EQ(error_->domain(), SSZipArchiveErrorDomain);
        EXPECT_EQ(error_->code(), code);
        EXPECT_EQ(error_->localizedDescription(), text);
        EXPECT_EQ(listener_->heard, "");
        EXPECT_FALSE(fs::exists(at("out")));
    };
    fails(-1, "failed to open zip file");
    write("a.zip", "no archive");
    fails(-1, "failed to open zip file");
    ASSERT_TRUE(archive(""));
    fails(-2, "failed to open first file in zip file");
    EXPECT_FALSE(SSZipArchive::unzipFileAtPathOverwrite(at("a.zip"), at("out"), true, nullptr, nullptr));
}

TEST_F(ArchiveExtraction, KeepsDamagedEntriesAndStopsAtUnreadableOnes) {
    ASSERT_TRUE(archive("add('first', b'content')\nadd('second', b'other')\nadd('third', b'more')"));
    auto bytes = content("a.zip");
    bytes.replace(bytes.find("content"), 7, "CONTENT");
    write("a.zip", bytes);
    EXPECT_TRUE(unzip());
    EXPECT_EQ(extracted("first"), "CONTENT");
    EXPECT_THAT(listener_->heard, testing::HasSubstr("did 2/3"));
    fs::remove_all(at("out"));
    bytes.replace(bytes.find("PK\3\4", 1), 4, "XXXX");  // where the second entry should begin
    write("a.zip", bytes);
    EXPECT_FALSE(unzip());
    EXPECT_FALSE(error_);
    EXPECT_EQ(extracted("first"), "CONTENT");
    EXPECT_EQ(extracted("second"), "(none)");
    const auto total = std::to_string(bytes.size());
    EXPECT_THAT(listener_->heard, testing::EndsWith("did 0/3 2020-4\n" + total + "/" + total + "\n"));
}

TEST_F(ArchiveExtraction, ReadsArchivesOfOtherPrograms) {
    write("in/d/plain", "text");
    write("in/d/big", std::string(300000, 'b'));
    write("in/gr\u00F6\u00DFe", "umlaut");
    for (const auto* command :
         {"zip -qr ../a.zip .", "zip -qr -P secret ../a.zip .", "bsdtar -c --format=zip -f ../a.zip *",
          "bsdtar -c --format=zip --options zip:encryption=aes256 --passphrase secret -f ../a.zip *",
          "7z a -tzip ../a.zip * >../7z.log", "7z a -tzip -psecret ../a.zip * >../7z.log",
          "7z a -tzip -mem=AES192 -psecret ../a.zip * >../7z.log", "python3 -m zipfile -c ../a.zip *"}) {
        fs::remove(at("a.zip"));
        fs::remove_all(at("out"));
        ASSERT_TRUE(shell(std::string("cd in && ") + command)) << command;
        EXPECT_TRUE(unzip(true, "secret")) << command;
        EXPECT_TRUE(shell("diff -r in out/deep")) << command;
        EXPECT_TRUE(QZUnzip::unzipArchiveAtPathOverwrite(at("a.zip"), at("out/plain"), true, "secret",
                                                         nullptr, nullptr));
        EXPECT_TRUE(shell("diff -r in out/plain")) << command;
    }
    // And its own, entry for entry.
    fs::remove_all(at("out"));
    ASSERT_TRUE(SSZipArchive::createZipFileAtPathWithContentsOfDirectory(at("a.zip"), at("in")));
    EXPECT_TRUE(unzip());
    EXPECT_TRUE(shell("diff -r in out/deep"));
}

}  // namespace qz::test
