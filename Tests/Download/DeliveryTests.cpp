// Packages from a server to files in a directory.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/Delivery/QZDelivery.h"
#include "QZUtils/Download/QZDownload.h"
#include "QZUtils/QZUnzip/SSZipArchive.h"
#include "Tests/Download/Support.h"
#include "Tests/Support/FaultServer.h"

namespace qz::test {

namespace fs = std::filesystem;
using testing::SizeIs;

class Delivery : public testing::Test {
protected:
    Delivery() { fs::create_directories(directory_); }
    ~Delivery() override {
        fs::remove_all(directory_);
        for (const auto& file : partialFiles()) {
            fs::remove(file);  // of a delivery that was stopped
        }
    }

    [[nodiscard]] std::string contentOf(const fs::path& file) const {
        std::ifstream stream(directory_ / file, std::ios::binary);
        return {std::istreambuf_iterator(stream), {}};
    }
    /// The bytes of an archive with one page.
    [[nodiscard]] std::string package() const {
        const auto path = directory_ / "made.zip";
        const auto archive = SSZipArchive::initWithPath(path.string());
        EXPECT_TRUE(archive->open() && archive->writeData(NSData::dataWithText(page_), "pages/1") &&
                    archive->close());
        return contentOf("made.zip");
    }
    [[nodiscard]] QZDeliveryRequest request(std::vector<std::string> mirrors) const {
        return {.file = directory_ / "issue.zip",
                .mirrors = std::move(mirrors),
                .directory = directory_ / "issue"};
    }

    const fs::path directory_ = scratchDirectory() / "delivery";
    const std::string page_ = randomText(300'000);
};

TEST_F(Delivery, FetchesOnceForAllWhoAskAtTheSameTime) {
    const auto body = package();
    std::promise<void> secondAsked;
    FaultServer server([&](const FaultServer::Request&, const FaultServer::Connection& connection) {
        connection.send("HTTP/1.1 200 OK\r\nETag: \"v1\"\r\nContent-Length: " + std::to_string(body.size()) +
                        "\r\n\r\n" + body.substr(0, body.size() / 2));
        secondAsked.get_future().wait();
        connection.send(body.substr(body.size() / 2));
    });
    std::vector<Ref<QZDownload>> downloads;
    auto wanted = request({server.url("/issue")});
    wanted.configure = [&](const Ref<QZDownload>& download) { downloads.push_back(download); };
    const auto first = deliver(wanted);
    const auto second = deliver(wanted);
    secondAsked.set_value();
    EXPECT_TRUE(first->wait() && second->wait());
    EXPECT_TRUE(first->isFulfilled() && second->isFulfilled());
    EXPECT_EQ(first->value(), id((directory_ / "issue").string()));
    EXPECT_EQ(downloads.at(0), downloads.at(1));
    EXPECT_THAT(server.requests(), SizeIs(1));
    EXPECT_EQ(contentOf("issue/pages/1"), page_);

    // Known to be there, it is not fetched again, and what exists may be kept.
    wanted.length = static_cast<std::int64_t>(body.size());
    wanted.overwrite = false;
    std::ofstream(directory_ / "issue/pages/1") << "mine";
    const auto third = deliver(wanted);
    EXPECT_TRUE(third->wait() && third->isFulfilled());
    EXPECT_THAT(server.requests(), SizeIs(1));
    EXPECT_EQ(contentOf("issue/pages/1"), "mine");
}

TEST_F(Delivery, AlwaysSaysWhyThereIsNothing) {
    auto damaged = package();
    damaged[damaged.size() / 2] ^= 1;
    const FaultServer missing(status(404));
    const FaultServer empty(ServedFile{.body = ""});
    const FaultServer text(ServedFile{.body = "no archive"});
    const FaultServer broken(ServedFile{.body = damaged});
    const struct {
        std::vector<std::string> mirrors;
        std::string domain;
        std::int64_t code;
        std::string text;
    } cases[] = {
        {{}, "QZDownloadErrorDomain", 2, "No URLs provided for download"},
        {{missing.url("/a")}, "QZDownloadDomain", 404, "not found"},
        {{missing.url("/a"), empty.url("/a")}, "QZDownloadDomain", 10, "The file on the server is empty."},
        {{"no URL"}, "QZDownloadDomain", 10, "The transfer ended before the file was complete."},
        {{text.url("/a")}, "UnzipArchiveErrorDomain", -1, "The archive cannot be opened."},
        {{broken.url("/a")}, "UnzipArchiveErrorDomain", -103, "Unable to unpack"},
    };
    for (const auto& [mirrors, domain, code, description] : cases) {
        SCOPED_TRACE(description);
        const auto promise = deliver(request(mirrors));
        EXPECT_TRUE(promise->wait());
        const auto error = promise->error();
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), domain);
        EXPECT_EQ(error->code(), code);
        EXPECT_EQ(error->localizedDescription(), description);
        const auto warnings = error->userInfo()->objectForKey(QZDeliveryWarningsKey).as<NSArray>();
        EXPECT_EQ(warnings ? warnings->count() : 0, code == -103 ? 1U : 0U);
        EXPECT_EQ(contentOf("issue/pages/1"), "");
    }
}

TEST_F(Delivery, StopsWhenItIsTold) {
    const auto body = package();
    const FaultServer server(ServedFile{.body = body, .stallAt = body.size() / 2});
    for (const bool isLate : {false, true}) {
        std::stop_source stop;
        auto wanted = request({server.url("/issue")});
        wanted.stop = stop.get_token();
        if (isLate) {
            wanted.configure = [&](const Ref<QZDownload>& download) {
                download->setProgressBlock([&](const Ref<QZDownload>& self) {
                    if (self->currentLength() > 0) {
                        stop.request_stop();
                    }
                });
            };
        } else {
            stop.request_stop();
        }
        const auto promise = deliver(wanted);
        EXPECT_TRUE(promise->wait());
        ASSERT_TRUE(promise->error());
        EXPECT_EQ(promise->error()->localizedDescription(), "Cancelled by user");
        EXPECT_EQ(fs::exists(directory_ / "issue.zip.resumeData"), isLate);
        EXPECT_EQ(server.requests().size(), isLate ? 1U : 0U);
    }
}

}  // namespace qz::test
