// Archives that are created: what other programs find in them.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <optional>

#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/QZUnzip/SSZipArchive.h"
#include "Tests/Zip/Support.h"

namespace qz::test {

namespace fs = std::filesystem;

class ArchiveCreation : public ZipTest {
protected:
    [[nodiscard]] bool othersAccept(const std::string& archive) const {
        return shell("unzip -tqq " + archive + " && 7z t " + archive + " >others.log && bsdtar -xOf " +
                     archive + " >others.log && python3 -m zipfile -t " + archive + " >others.log");
    }
    Ref<NSError> error_;
};

TEST_F(ArchiveCreation, StoresTheFilesOfADirectory) {
    const auto large = std::string(100000, 'x') + "end";
    write("shelf/a/b.txt", "page");
    write("shelf/a/large", large);
    write("shelf/gr\u00F6\u00DFe.txt", "umlaut");
    write("shelf/a.old", "");
    write("shelf/bytes\xFF", "no UTF-8");
    fs::create_directories(at("shelf/nothing"));
    fs::create_symlink("b.txt", at("shelf/a/link"));
    fs::create_symlink("..", at("shelf/a/circle"));
    fs::create_symlink("nowhere", at("shelf/broken"));
    ASSERT_EQ(::mkfifo(at("shelf/pipe").c_str(), 0600), 0);
    ::chmod(at("shelf/a/b.txt").c_str(), 0644);
    ::chmod(at("shelf/a/large").c_str(), 04750);
    ASSERT_TRUE(shell("touch -d '2024-02-29 23:59:59' shelf/a/b.txt && touch -d '1970-02-01' shelf/a.old"));

    const auto archive = at("shelf/archive.zip");  // which does not become an entry of itself
    EXPECT_TRUE(SSZipArchive::createZipFileAtPathWithContentsOfDirectory(archive, at("shelf")));
    EXPECT_TRUE(othersAccept("shelf/archive.zip"));
    EXPECT_TRUE(python(R"(
a = z.ZipFile('shelf/archive.zip')
raw = b'bytes\xff'.decode('cp437')
assert a.namelist() == ['a/b.txt', 'a/large', 'a/link', 'a.old', raw, 'gr\u00f6\u00dfe.txt'], a.namelist()
i = a.getinfo('a/b.txt')
assert i.external_attr == 0x81A40000 and i.create_system == 3 and i.compress_type == 8 and i.flag_bits == 0, i
assert i.date_time == (2024, 2, 29, 23, 59, 58), i.date_time
assert a.getinfo('a.old').date_time == (1980, 1, 1, 0, 0, 0), a.getinfo('a.old')
assert a.getinfo('a/large').external_attr >> 16 == 0o104750
assert a.getinfo('gr\u00f6\u00dfe.txt').flag_bits & 0x800 and not a.getinfo(raw).flag_bits & 0x800
assert a.read('a/large') == b'x' * 100000 + b'end' and a.read('a/link') == b'page'
)"));
    // The form that gives errors tells of what could not be stored.
    EXPECT_FALSE(SSZipArchive::createZipFileAtPathWithContentsOfDirectory(archive, at("shelf"), &error_));
    EXPECT_THAT(error_->localizedDescription(), testing::HasSubstr("archive.zip"));
}

TEST_F(ArchiveCreation, StoresListedFilesUnderTheirNames) {
    write("one/a.txt", "1");
    write("two/b.txt", "2");
    const std::vector files{at("one/a.txt"), at("missing"), at("one"), at("two/b.txt")};
    EXPECT_TRUE(SSZipArchive::createZipFileAtPathWithFilesAtPaths(at("list.zip"), files));
    EXPECT_FALSE(SSZipArchive::createZipFileAtPathWithFilesAtPaths(at("list.zip"), files, &error_));
    EXPECT_THAT(error_->localizedDescription(), testing::HasSubstr("missing"));
    EXPECT_TRUE(othersAccept("list.zip"));
    EXPECT_TRUE(python("assert z.ZipFile('list.zip').namelist() == ['a.txt', 'b.txt']"));
    EXPECT_FALSE(SSZipArchive::createZipFileAtPathWithFilesAtPaths(at("no/such/list.zip"), files));
    EXPECT_FALSE(
        SSZipArchive::createZipFileAtPathWithContentsOfDirectory(at("no/x.zip"), at("one"), &error_));
    EXPECT_THAT(error_->localizedDescription(), testing::HasSubstr("x.zip"));
}

TEST_F(ArchiveCreation, WritesEntryByEntry) {
    write("file", "content");
    const auto archive = SSZipArchive::initWithPath(at("entries.zip"));
    const auto data = NSData::dataWithText("bytes");
    EXPECT_FALSE(archive->writeData(data, "early"));  // not open
    EXPECT_TRUE(archive->writeFile(at("file")));      // it could be read, which is all that this says
    ASSERT_TRUE(archive->open());
    EXPECT_FALSE(archive->error());
    EXPECT_FALSE(archive->writeData(std::nullopt, "nil"));
    EXPECT_FALSE(archive->writeFile(at("missing")));
    EXPECT_TRUE(archive->error());
    EXPECT_TRUE(archive->writeData(NSData(), "empty"));
    EXPECT_TRUE(archive->writeData(data, "deep/name"));
    EXPECT_TRUE(archive->writeData(data, std::string(70000, 'n')));  // left out: no archive can hold it
    EXPECT_TRUE(archive->writeFileAtPath(at("file"), "renamed"));
    EXPECT_TRUE(archive->close());
    EXPECT_FALSE(archive->writeData(data, "late"));
    EXPECT_TRUE(archive->close());
    EXPECT_TRUE(othersAccept("entries.zip"));
    EXPECT_TRUE(python(R"(
a = z.ZipFile('entries.zip')
assert {n: a.read(n) for n in a.namelist()} == {'empty': b'', 'deep/name': b'bytes', 'renamed': b'content'}
i = a.getinfo('deep/name')
assert i.external_attr == 0 and i.create_system == 0 and not a.comment, i
assert abs(time.time() - time.mktime((*i.date_time, 0, 0, -1))) < 60, i.date_time
)"));
}

TEST_F(ArchiveCreation, HasMoreEntriesThanTheOldFormatCounts) {
    for (const int count : {65535, 65536}) {
        const auto archive = SSZipArchive::initWithPath(at("many.zip"));
        ASSERT_TRUE(archive->open());
        for (int number = 0; number < count; ++number) {
            archive->writeData(NSData(), std::to_string(number));
        }
        archive->close();
        EXPECT_FALSE(archive->error());
        EXPECT_TRUE(shell("unzip -tqq many.zip && bsdtar -tf many.zip >others.log")) << count;
        EXPECT_TRUE(python("assert len(z.ZipFile('many.zip').namelist()) == " + std::to_string(count)));
    }
}

TEST_F(ArchiveCreation, TellsOfAFullDisk) {
    std::string noise(200000, '\0');
    for (std::size_t index = 0; index < noise.size(); ++index) {
        noise[index] = static_cast<char>(index * index * index >> 7U);
    }
    write("noise", noise);
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const rlimit small{1000, old.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &small);
    const bool isCreated = SSZipArchive::createZipFileAtPathWithFilesAtPaths(at("x.zip"), {at("noise")});
    const bool isComplete =
        SSZipArchive::createZipFileAtPathWithFilesAtPaths(at("x.zip"), {at("noise")}, &error_);
    ::setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_TRUE(isCreated);
    EXPECT_FALSE(isComplete);
    EXPECT_TRUE(error_);
}

TEST_F(ArchiveCreation, StoresFilesOfMoreThanFourGigabytes) {
    write("big", "start");
    fs::resize_file(at("big"), (std::uintmax_t{4} << 30U) + 7);
    ASSERT_TRUE(SSZipArchive::createZipFileAtPathWithFilesAtPaths(at("big.zip"), {at("big")}, &error_));
    EXPECT_TRUE(python(
        "f = z.ZipFile('big.zip').open('big')\n"
        "assert f.read(7) == b'start\\0\\0' and z.ZipFile('big.zip').infolist()[0].file_size == 2**32 + 7"));
}

TEST(ArchiveDates, ArePackedAndUnpackedInTheProcessTimeZone) {
    const auto* old = std::getenv("TZ");
    const auto zone = old ? std::optional<std::string>(old) : std::nullopt;
    ::setenv("TZ", "Europe/Berlin", 1);
    struct Case {
        std::uint32_t word;
        double seconds;
    };
    for (const auto& [word, seconds] : {
             Case{0x5865BF7D, 1709679598},  // 5 March 2024, 23:59:58, winter time
             Case{0x58F14000, 1721196000},  // 17 July 2024, 8:00, summer time
         }) {
        const auto date = SSZipArchive::_dateWithMSDOSFormat(word);
        EXPECT_EQ(date->timeIntervalSince1970(), seconds);
        ZipFileInfo info;
        SSZipArchive::zipInfoSetDate(info, *date);
        const auto& [second, minute, hour, day, month, year] = info.date;
        EXPECT_EQ(
            (year - 1980) << 25U | (month + 1) << 21U | day << 16U | hour << 11U | minute << 5U | second / 2,
            word);
    }
    // Month and day 0: the last day of November before the first year.
    EXPECT_EQ(SSZipArchive::_dateWithMSDOSFormat(0)->timeIntervalSince1970(), 312764400);
    zone ? ::setenv("TZ", zone->c_str(), 1) : ::unsetenv("TZ");
}

}  // namespace qz::test
