// Files: what is done with them by path, whole or not at all; progress and dates.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSFileManager.h"
#include "Platform/Foundation/NSProgress.h"
#include "Platform/Text/NSDateFormatter.h"
#include "Platform/Text/NSLocale.h"

namespace qz::test {

namespace fs = std::filesystem;

class Files : public testing::Test {
protected:
    Files() {
        auto pattern = (fs::temp_directory_path() / "qz-files-XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
    }
    ~Files() override { fs::remove_all(directory_); }

    [[nodiscard]] std::string at(const std::string& name) const { return directory_ / name; }
    [[nodiscard]] std::size_t count() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory_), {}));
    }
    static std::string content(const std::string& path) {
        const auto data = dataWithContentsOfFile(path, nullptr);
        return data ? std::string(data->text()) : "(none)";
    }

    fs::path directory_;
    const Ref<NSFileManager> manager_ = NSFileManager::defaultManager();
    Ref<NSError> error_;
};

TEST_F(Files, AreWrittenWholeOrNotAtAll) {
    const auto path = at("file");
    EXPECT_TRUE(writeToFile(NSData::dataWithText("old"), path, true, &error_));
    ::chmod(path.c_str(), 0640);
    EXPECT_TRUE(writeToFile(NSData::dataWithText("new"), path, true, &error_));
    EXPECT_EQ(content(path), "new");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0640));
    // A disk that is full leaves the old one.
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const rlimit small{1000, old.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_FALSE(writeToFile(NSData::dataWithText(std::string(5000, 'x')), path, true, &error_));
    ::setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(error_->code(), static_cast<std::int64_t>(NSCocoaErrorCode::FileWriteOutOfSpace));
    EXPECT_EQ(content(path), "new");
    EXPECT_EQ(count(), 1);  // nothing beside it
    EXPECT_FALSE(writeToFile(NSData(), at("no/such/directory"), true, &error_));
    EXPECT_EQ(error_->domain(), NSCocoaErrorDomain);
    EXPECT_EQ(error_->userInfo()->objectForKey(NSFilePathErrorKey), id(at("no/such/directory")));
}

TEST_F(Files, AreMovedCopiedAndRemoved) {
    EXPECT_TRUE(manager_->createDirectoryAtPath(at("a/b"), true, nullptr, &error_));
    EXPECT_TRUE(manager_->createDirectoryAtPath(at("a/b"), true, nullptr, &error_));
    EXPECT_FALSE(manager_->createDirectoryAtPath(at("a/b"), false, nullptr, &error_));
    EXPECT_FALSE(manager_->createDirectoryAtPath(at("x/y"), false, nullptr, &error_));
    std::ofstream(at("a/b/file")) << "text";
    fs::create_symlink("/nowhere", at("a/link"));
    EXPECT_TRUE(manager_->copyItemAtPath(at("a"), at("copy"), &error_));
    EXPECT_EQ(content(at("copy/b/file")), "text");
    EXPECT_EQ(fs::read_symlink(at("copy/link")), "/nowhere");
    EXPECT_FALSE(manager_->moveItemAtPath(at("a/b/file"), at("copy/b/file"), &error_));  // is taken
    EXPECT_EQ(error_->code(), static_cast<std::int64_t>(NSCocoaErrorCode::FileWriteFileExists));
    EXPECT_FALSE(manager_->moveItemAtPath(at("none"), at("other"), &error_));
    EXPECT_EQ(error_->code(), static_cast<std::int64_t>(NSCocoaErrorCode::FileNoSuchFile));
    EXPECT_TRUE(manager_->moveItemAtPath(at("a"), at("moved"), &error_));
    EXPECT_FALSE(manager_->fileExistsAtPath(at("a")));
    EXPECT_FALSE(manager_->fileExistsAtPath(at("moved/link")));  // leads nowhere
    bool isDirectory = false;
    EXPECT_TRUE(manager_->fileExistsAtPath(at("moved"), &isDirectory) && isDirectory);
    EXPECT_TRUE(manager_->removeItemAtPath(at("moved"), &error_));
    EXPECT_TRUE(manager_->removeItemAtPath(at("copy"), &error_));
    EXPECT_FALSE(manager_->removeItemAtPath(at("copy"), &error_));
    EXPECT_EQ(count(), 0);
}

TEST_F(Files, AreMovedAcrossFileSystems) {
    const fs::path other = "/dev/shm";
    struct stat here {};
    struct stat there {};
    if (::stat(other.c_str(), &there) != 0 || ::stat(directory_.c_str(), &here) != 0 ||
        here.st_dev == there.st_dev) {
        GTEST_SKIP() << "there is one file system only";
    }
    auto pattern = (other / "qz-files-XXXXXX").string();
    const fs::path away = ::mkdtemp(pattern.data());
    std::ofstream(away / "file") << "text";
    EXPECT_TRUE(manager_->moveItemAtPath((away / "file").string(), at("file"), &error_));
    EXPECT_EQ(content(at("file")), "text");
    EXPECT_TRUE(fs::is_empty(away));
    EXPECT_EQ(count(), 1);
    fs::remove_all(away);
}

TEST_F(Files, HaveAttributes) {
    std::ofstream(at("file")) << "text";
    const auto date = NSDate::dateWithTimeIntervalSince1970(784111777);
    EXPECT_TRUE(manager_->setAttributes(
        NSDictionary::dictionary({{NSFileModificationDate, date}, {NSFilePosixPermissions, 0600}}),
        at("file"), &error_));
    const auto attributes = manager_->attributesOfItemAtPath(at("file"), &error_);
    EXPECT_EQ(attributes->objectForKey(NSFileSize), id(4));
    EXPECT_EQ(attributes->objectForKey(NSFileModificationDate), id(date));
    EXPECT_EQ(attributes->objectForKey(NSFilePosixPermissions), id(0600));
    EXPECT_EQ(attributes->objectForKey(NSFileType), id(NSFileTypeRegular));
    EXPECT_EQ(manager_->contentsOfDirectoryAtPath(directory_.string(), &error_)->count(), 1);
    EXPECT_FALSE(manager_->attributesOfItemAtPath(at("none"), &error_));
}

TEST(Progress, AddsUpItsChildren) {
    const auto whole = NSProgress::progressWithTotalUnitCount(10);
    const auto part = NSProgress::progressWithTotalUnitCount(4);
    whole->addChild(part, 5);
    part->setCompletedUnitCount(2);
    EXPECT_DOUBLE_EQ(whole->fractionCompleted(), 0.25);
    part->setCompletedUnitCount(4);
    EXPECT_EQ(whole->completedUnitCount(), 5);
    const auto endless = NSProgress::progressWithTotalUnitCount(-1);
    EXPECT_TRUE(endless->isIndeterminate());
    int calls = 0;
    endless->setCancellationHandler([&] { ++calls; });
    endless->setPausingHandler([&] { calls += 10; });
    whole->addChild(endless, 5);
    whole->pause();
    whole->pause();
    whole->cancel();
    EXPECT_TRUE(endless->isPaused() && endless->isCancelled());
    EXPECT_EQ(calls, 11);
    EXPECT_ANY_THROW(NSProgress::progressWithTotalUnitCount(1)->addChild(endless, 1));
}

TEST(Dates, AreReadInTheFormattersLanguage) {
    const auto formatter = NSDateFormatter::init();
    formatter->setDateFormat("EEE, dd MMM yyyy HH:mm:ss zzz");
    formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en_US"));
    const auto date = formatter->dateFromString("Sun, 06 Nov 1994 08:49:37 GMT");
    ASSERT_TRUE(date);
    EXPECT_EQ(date->timeIntervalSince1970(), 784111777);
    for (const auto* text : {"", "Sun, 06 Nov 1994", "So., 06 Nov. 1994 08:49:37 GMT",
                             "Sun, 06 Nov 1994 08:49:37 GMT and more"}) {
        EXPECT_FALSE(formatter->dateFromString(text)) << text;
    }
    formatter->setTimeZoneName("GMT");
    EXPECT_EQ(formatter->stringFromDate(date), "Sun, 06 Nov 1994 08:49:37 GMT");
    formatter->setLocale(NSLocale::localeWithLocaleIdentifier("fr_FR"));
    formatter->setDateFormat("d MMMM yyyy");
    EXPECT_EQ(formatter->stringFromDate(date), "6 novembre 1994");
}

}  // namespace qz::test
