// Downloads from servers that behave, and from servers that do not.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/NSURLError.h"
#include "Platform/Network/NSURLRequest.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionConfiguration.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"
#include "Platform/Network/NSURLSessionTask.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Concurrency/QZSynchronizedMapTable.h"
#include "QZUtils/Download/QZDownload.h"
#include "QZUtils/Observation/QZKeyPathBlockObserver.h"
#include "Tests/Download/Support.h"
#include "Tests/Support/FaultServer.h"

namespace qz::test {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Handler = FaultServer::Handler;
using Handlers = std::vector<Handler>;

/// A download whose waits are over at once, and are written down.
class TestDownload : public QZDownload {
    QZ_OBJECT(TestDownload, QZDownload)
public:
    double timeout = 30;
    std::vector<double> waits;  // written on the session's queue before the next attempt can begin

protected:
    Ref<NSURLSessionConfiguration> sessionConfiguration() const override {
        auto configuration = QZDownload::sessionConfiguration();
        configuration->setTimeoutIntervalForRequest(timeout);
        return configuration;
    }
    void performOnMainQueueAfter(double seconds, std::function<void()> block) override {
        waits.push_back(seconds);
        DispatchQueue::main().async(std::move(block));
    }
};
QZ_DEFINE_CLASS(TestDownload, cls) {
    static_cast<void>(cls);
}

class Reader : public NSObject {
    QZ_OBJECT(Reader, NSObject)
public:
    std::vector<std::string> messages;
    void onDownloadError(const Ref<QZDownload>&) { messages.emplace_back("error"); }
    void onDownloadFinished(const Ref<QZDownload>&) { messages.emplace_back("finished"); }
};
QZ_DEFINE_CLASS(Reader, cls) {
    cls.adopts<QZDownloadDelegate>();
}

class Download : public testing::Test {
protected:
    Download()
        : sink_(DDLog::sharedInstance()->addSink([this](const LogMessage& line) {
              const std::lock_guard lock(logMutex_);
              (log_ += line.text) += '\n';
          })) {
        fs::create_directories(directory_);
    }
    ~Download() override {
        DDLog::sharedInstance()->removeSink(sink_);
        fs::remove_all(directory_);
        // The network's own thread removes the bytes of a transfer that was cancelled.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!partialFiles().empty() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        EXPECT_THAT(partialFiles(), IsEmpty());
    }

    /// A server whose path "/0" is answered by the first handler, and so on.
    static FaultServer::Handler mirrors(Handlers handlers) {
        return [handlers = std::move(handlers)](const auto& request, const auto& connection) {
            handlers.at(std::stoul(request.path.substr(1)))(request, connection);
        };
    }
    static QZDownload::URLs urls(const FaultServer& server, std::size_t count) {
        QZDownload::URLs urls;
        for (std::size_t i = 0; i < count; ++i) {
            urls.push_back(server.url("/" + std::to_string(i)));
        }
        return urls;
    }

    /// Runs the main loop until the condition holds, which the key's changes bring about.
    static void waitUntil(const Ref<QZDownload>& download, std::string_view key,
                          const std::function<bool()>& condition) {
        const auto loop = NSRunLoop::mainRunLoop();
        const auto observer = QZKeyPathBlockObserver::initWithObject(
            download, key, [loop](const auto&...) { loop->perform([] {}); });
        EXPECT_TRUE(loop->runUntil(std::chrono::steady_clock::now() + std::chrono::seconds(60), condition))
            << key;
    }
    static void waitForEnd(const Ref<QZDownload>& download) {
        waitUntil(download, "active", [&] { return !download->isActive(); });
    }

    Ref<TestDownload> fetch(const QZDownload::URLs& from,
                            const std::function<void(TestDownload&)>& prepare = nullptr) {
        auto download = TestDownload::init<TestDownload>();
        if (prepare) {
            prepare(*download);
        }
        promise_ = download->downloadTo(target_, from);
        waitForEnd(download);
        return download;
    }
    /// Stops a transfer of the only mirror in its middle, so that there are resume data.
    void fetchHalf(const ServedFile& file) {
        auto half = file;
        half.cutAt = body.size() / 2;
        const FaultServer server(mirrors({half}));
        fetch(urls(server, 1));
        ASSERT_TRUE(fs::exists(record_));
        ASSERT_FALSE(fs::exists(target_));
    }

    /// Compares without printing all of it.
    [[nodiscard]] bool holdsBody() const {
        const auto data = dataWithContentsOfFile(target_, nullptr);
        return data && data->text() == body;
    }
    void expectFinished() {
        EXPECT_TRUE(promise_->isFulfilled()) << log();
        EXPECT_TRUE(holdsBody());
        EXPECT_FALSE(fs::exists(record_));
        EXPECT_THAT(partialFiles(), IsEmpty());
    }
    void expectFailed(std::string_view domain, std::int64_t code) {
        ASSERT_TRUE(promise_->error()) << log();
        EXPECT_EQ(promise_->error()->domain(), domain);
        EXPECT_EQ(promise_->error()->code(), code) << descriptionOf(promise_->error());
        EXPECT_FALSE(fs::exists(target_));
    }

    /// The lines so far.
    [[nodiscard]] std::string log() {
        DDLog::sharedInstance()->flush();
        const std::lock_guard lock(logMutex_);
        return log_;
    }

    inline static const std::string body = randomText(300'000);
    const ServedFile whole{body};
    const fs::path directory_ = scratchDirectory() / "shelf";
    const std::string target_ = directory_ / "issue.zip";
    const std::string record_ = target_ + ".resumeData";
    std::mutex logMutex_;
    std::string log_;
    LogSinkIdentifier sink_;
    Ref<QZPromise> promise_;
};

TEST_F(Download, FetchesAFile) {
    auto file = whole;
    file.fields = "Last-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n";
    const FaultServer server(mirrors({file}));
    const auto reader = make<Reader>();
    const auto download = TestDownload::init<TestDownload>();
    std::vector<std::uint64_t> lengths;
    download->setProgressBlock([&](const auto& self) { lengths.push_back(self->currentLength()); });
    download->setDelegate(reader);
    const auto from = urls(server, 1);
    promise_ = download->downloadTo(target_, from);
    EXPECT_EQ(promise_->identifier(), "QZDownload" + target_);
    EXPECT_EQ(QZDownload::getActiveDownloadWithFile(target_, from), download);
    EXPECT_TRUE(download->downloadFile(target_, from));  // is running already
    waitForEnd(download);
    EXPECT_TRUE(
        NSRunLoop::mainRunLoop()->runUntil(std::chrono::steady_clock::now() + std::chrono::seconds(60),
                                           [&] { return !reader->messages.empty(); }));
    expectFinished();
    EXPECT_EQ(promise_->value(), id(download));
    EXPECT_THAT(reader->messages, ElementsAre("finished"));
    EXPECT_EQ(lengths.back(), body.size());
    EXPECT_EQ(download->fileLength(), body.size());
    EXPECT_TRUE(download->progress()->isFinished());
    EXPECT_EQ(download->lastModified()->timeIntervalSince1970(), 784111777);
    EXPECT_EQ(fs::last_write_time(target_),
              std::chrono::file_clock::from_sys(std::chrono::sys_seconds(std::chrono::seconds(784111777))));
    EXPECT_FALSE(download->session());
    EXPECT_FALSE(download->delegate());
    EXPECT_THAT(server.requests(), SizeIs(1));
    EXPECT_EQ(server.requests()[0].field("accept-encoding"), "identity");
    EXPECT_EQ(server.requests()[0].field("range"), "");
}

TEST_F(Download, FetchesWhatHasNoLengthOrStandsElsewhere) {
    auto chunked = whole;
    chunked.isChunked = true;
    auto closed = whole;
    closed.hasLength = false;
    auto untagged = whole;
    untagged.tag = "";
    const auto redirected = [](int code) { return status(code, "Location: /0\r\n"); };
    const FaultServer server(mirrors({whole, chunked, closed, untagged, redirected(301), redirected(302),
                                      redirected(307), redirected(308)}));
    for (const auto& url : urls(server, 8)) {
        SCOPED_TRACE(url);
        const auto download = fetch({url});
        expectFinished();
        EXPECT_EQ(download->fileLength(), body.size());
        fs::remove(target_);
    }
}

TEST_F(Download, GoesOnWithTheNextMirror) {
    const auto cutAt = [&](std::size_t byte, const std::string& tag = "\"v1\"") {
        auto file = whole;
        file.cutAt = byte;
        file.tag = tag;
        return file;
    };
    const auto raw = [](std::string answer) {
        return [answer = std::move(answer)](const auto&, const auto& connection) { connection.send(answer); };
    };
    const auto dropped = [](const auto&, const auto& connection) { connection.reset(); };
    const auto half = std::to_string(body.size() / 2);
    const struct {
        const char* what;
        Handler first;
        std::int64_t code;
        std::string range;  // that the second mirror is asked for
    } cases[] = {
        {"400", status(400), 400, ""},
        {"403", status(403), 403, ""},
        {"404", status(404), 404, ""},
        {"408", status(408), 408, ""},
        {"412", status(412), 412, ""},
        {"416", status(416), 416, ""},
        {"429", status(429), 429, ""},
        {"500", status(500), 500, ""},
        {"502", status(502), 502, ""},
        {"503", status(503), 503, ""},
        {"redirections without end", status(302, "Location: /0\r\n"), NSURLErrorHTTPTooManyRedirects, ""},
        {"redirection to another scheme", status(302, "Location: file:///etc/passwd\r\n"),
         NSURLErrorUnsupportedURL, ""},
        {"no answer", dropped, NSURLErrorNetworkConnectionLost, ""},
        {"not HTTP", raw("220 smtp.example ready\r\n"), NSURLErrorBadServerResponse, ""},
        {"endless head",
         raw("HTTP/1.1 200 OK\r\n" +
             [] {
                 std::string fields;
                 for (int i = 0; i < 100; ++i) {
                     fields += "X-" + std::to_string(i) + ": " + std::string(9000, 'x') + "\r\n";
                 }
                 return fields;
             }()),
         NSURLErrorDataLengthExceedsMaximum, ""},
        {"cut at 0", cutAt(0), NSURLErrorNetworkConnectionLost, ""},
        {"cut at 1", cutAt(1), NSURLErrorNetworkConnectionLost, "bytes=1-"},
        {"cut at half", cutAt(body.size() / 2), NSURLErrorNetworkConnectionLost, "bytes=" + half + "-"},
        {"cut before the last byte", cutAt(body.size() - 1), NSURLErrorNetworkConnectionLost,
         "bytes=" + std::to_string(body.size() - 1) + "-"},
        // The synthetic validator is asked for, which no server has: the file comes from its start.
        {"cut without a tag", cutAt(body.size() / 2, ""), NSURLErrorNetworkConnectionLost,
         "bytes=" + half + "-"},
        {"cut with another tag", cutAt(body.size() / 2, "\"v0\""), NSURLErrorNetworkConnectionLost,
         "bytes=" + half + "-"},
        {"cut with a weak tag", cutAt(body.size() / 2, "W/\"v1\""), NSURLErrorNetworkConnectionLost, ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        const FaultServer server(mirrors({test.first, whole}));
        const auto download = fetch(urls(server, 2));
        expectFinished();
        ASSERT_TRUE(download->error());
        EXPECT_EQ(download->error()->code(), test.code) << descriptionOf(download->error());
        EXPECT_EQ(download->error()->domain(), test.code > 0 ? "QZDownloadDomain" : NSURLErrorDomain);
        EXPECT_EQ(server.requests().back().path, "/1");
        EXPECT_EQ(server.requests().back().field("range"), test.range);
        fs::remove(target_);
    }
    const FaultServer server(mirrors({whole}));
    int port = 0;
    { port = std::stoi(FaultServer(whole).url("").substr(17)); }
    for (const auto& [url, code] :
         {std::pair("http://127.0.0.1:" + std::to_string(port) + "/", NSURLErrorCannotConnectToHost),
          std::pair(std::string("http://nowhere.invalid/"), NSURLErrorCannotFindHost),
          std::pair(std::string("gopher://127.0.0.1/"), NSURLErrorUnsupportedURL)}) {
        SCOPED_TRACE(url);
        const auto download = fetch({url, server.url("/0")});
        expectFinished();
        EXPECT_EQ(download->error()->code(), code) << descriptionOf(download->error());
        fs::remove(target_);
    }
}

TEST_F(Download, FailsWhenAllMirrorsDo) {
    const FaultServer server(mirrors({status(500), status(401), whole}));
    const auto reader = make<Reader>();
    const auto download = fetch(urls(server, 3), [&](auto& self) { self.setDelegate(reader); });
    EXPECT_THAT(server.requests(), SizeIs(2));  // after 401 no other is asked
    expectFailed("QZDownloadDomain", 401);
    EXPECT_THAT(log(), HasSubstr("Unable to download from all URLs"));
    EXPECT_THAT(log(), HasSubstr("status=401"));
    EXPECT_TRUE(download->progress()->isCancelled());
    EXPECT_TRUE(
        NSRunLoop::mainRunLoop()->runUntil(std::chrono::steady_clock::now() + std::chrono::seconds(60),
                                           [&] { return !reader->messages.empty(); }));
    EXPECT_THAT(reader->messages, ElementsAre("error"));

    const auto without = fetch({});
    expectFailed("QZDownloadErrorDomain", 2);
    EXPECT_EQ(QZDownload::getActiveDownloadWithFile(target_, {}), without);
}

TEST_F(Download, WaitsForEverWhereItsContractSaysSo) {
    const auto empty = [](const auto&, const auto& connection) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    };
    const FaultServer server(mirrors({empty}));
    for (const auto& url : {server.url("/0"), std::string("no URL at all")}) {
        SCOPED_TRACE(url);
        fetch({url});
        EXPECT_FALSE(promise_->isSettled());
        EXPECT_FALSE(fs::exists(target_));
    }
    // A part that ends before the file does.
    fetchHalf(whole);
    const FaultServer lazy(mirrors({[](const auto& request, const auto& connection) {
        const auto first = body.size() / 2;
        EXPECT_EQ(request.field("range"), "bytes=" + std::to_string(first) + "-");
        connection.send(
            "HTTP/1.1 206 Partial\r\nETag: \"v1\"\r\nContent-Length: 10\r\nContent-Range: bytes " +
            std::to_string(first) + "-" + std::to_string(first + 9) + "/" + std::to_string(body.size()) +
            "\r\n\r\n" + body.substr(first, 10));
    }}));
    fetch(urls(lazy, 1));
    EXPECT_FALSE(promise_->isSettled());
    EXPECT_THAT(log(), HasSubstr("self.session != session; Error Domain=QZDownloadDomain Code=10 "
                                 "\"Download is not completed for request: "));
}

TEST_F(Download, GoesOnFromWhereAnotherProcessStopped) {
    const auto half = body.size() / 2;
    const auto range = "bytes=" + std::to_string(half) + "-";
    const auto answer = [&](const std::string& contentRange, std::size_t from) {
        return [=](const auto& request, const auto& connection) {
            if (request.field("range").empty()) {
                ServedFile{body}(request, connection);
                return;
            }
            const auto rest = body.substr(from);
            connection.send(
                "HTTP/1.1 206 Partial\r\nETag: \"v1\"\r\nContent-Length: " + std::to_string(rest.size()) +
                "\r\nContent-Range: " + contentRange + "\r\n\r\n" + rest);
        };
    };
    const auto total = "/" + std::to_string(body.size());
    const auto last = "-" + std::to_string(body.size() - 1);
    auto changed = whole;
    changed.tag = "\"v2\"";
    auto untagged = whole;
    untagged.tag = "";
    auto unranged = whole;
    unranged.servesRanges = false;
    const auto partial = [] { return partialFiles().at(0); };
    const auto damage = [&](const std::string& bytes) {
        return [=, this] { std::ofstream(record_, std::ios::binary) << bytes; };
    };
    const struct {
        const char* what;
        std::function<void()> meanwhile;
        Handler server;
        std::int64_t code;  // 0: finishes
        std::string range;
        bool keepsRecord;  // for the next time
    } cases[] = {
        {"nothing", [] {}, whole, 0, range, false},
        {"other tag", [] {}, changed, 0, range, false},
        {"no tag", [] {}, untagged, 0, range, false},
        {"no ranges", [] {}, unranged, 0, range, false},
        {"XML record",
         [this] {
             const auto list = NSPropertyListSerialization::propertyListWithData(
                 *dataWithContentsOfFile(record_, nullptr), {}, nullptr, nullptr);
             writeToFile(
                 *NSPropertyListSerialization::dataWithPropertyList(list, NSPropertyListFormat::XML, nullptr),
                 record_, true, nullptr);
         },
         whole, 0, range, false},
        {"bytes gone", [&] { fs::remove(partial()); }, whole, 0, "", false},
        {"bytes cut", [&] { fs::resize_file(partial(), half - 1); }, whole, 0, "", false},
        {"bytes beyond the record", [&] { std::ofstream(partial(), std::ios::app) << "more"; }, whole, 0,
         range, false},
        {"other bytes", [&] { std::ofstream(partial()) << std::string(half, 'x'); }, whole, 0, "", false},
        {"record of nothing", damage(""), whole, NSURLErrorBadURL, "", false},
        {"garbage for a record", damage("bplist00garbage"), whole, NSURLErrorBadURL, "", false},
        {"404", [] {}, status(404), NSURLErrorBadServerResponse, range, true},
        {"416", [] {}, status(416), NSURLErrorBadServerResponse, range, false},
        {"412", [] {}, status(412), NSURLErrorBadServerResponse, range, false},
        {"wrong start", [] {}, answer("bytes 7" + last + total, 7), NSURLErrorBadServerResponse, range, true},
        {"no start", [] {}, answer("bytes */7", half), NSURLErrorBadServerResponse, range, true},
        {"wrong total", [] {}, answer("bytes " + std::to_string(half) + last + "/999999", half),
         NSURLErrorBadServerResponse, range, false},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        fetchHalf(whole);
        const auto leftover = partialFiles();
        test.meanwhile();
        const FaultServer server(mirrors({test.server}));
        const auto download = fetch(urls(server, 1));
        if (test.code == 0) {
            expectFinished();
            EXPECT_EQ(download->fileLength(), body.size());
        } else {
            expectFailed(NSURLErrorDomain, test.code);
            EXPECT_EQ(fs::exists(record_), test.keepsRecord);
            fs::remove(record_);
            for (const auto& file : leftover) {
                EXPECT_TRUE(fs::exists(file) || !test.keepsRecord);
                fs::remove(file);
            }
        }
        EXPECT_EQ(server.requests().empty() ? "" : server.requests()[0].field("range"), test.range);
        fs::remove(target_);
    }
}

TEST_F(Download, StartsOverWhenAServerContinuesAnotherFile) {
    // No tag and a part for any condition: only the length can tell that the file has changed.
    auto careless = whole;
    careless.tag = "";
    fetchHalf(careless);
    const auto file = body.substr(0, 200'000);
    const FaultServer server(mirrors({[&](auto request, const auto& connection) {
        request.fields.erase("if-range");
        auto other = careless;
        other.body = file;
        other(request, connection);
    }}));
    const auto download = fetch(urls(server, 1));
    EXPECT_TRUE(promise_->isFulfilled());
    EXPECT_TRUE(dataWithContentsOfFile(target_, nullptr).value_or(NSData()).text() == file);
    EXPECT_THAT(server.requests(), SizeIs(2));
    EXPECT_EQ(server.requests()[0].field("if-range"), "\"length300000\"");
    EXPECT_EQ(server.requests()[1].field("range"), "");
}

TEST_F(Download, RetriesWhatTimesOutBeforeItsFirstByte) {
    const auto silent = [](const auto&, const auto& connection) { connection.stall(); };
    const FaultServer server(mirrors({silent, whole}));
    const auto download = fetch(urls(server, 2), [](auto& self) { self.timeout = 0.2; });
    expectFinished();
    EXPECT_THAT(download->waits, ElementsAre(0, 10, 20));
    EXPECT_THAT(server.requests(), SizeIs(5));
    EXPECT_EQ(download->error()->code(), NSURLErrorTimedOut);
    fs::remove(target_);

    auto stalling = whole;
    stalling.stallAt = body.size() / 2;
    const FaultServer other(mirrors({stalling, whole}));
    const auto second = fetch(urls(other, 2), [](auto& self) { self.timeout = 0.5; });
    expectFinished();
    EXPECT_THAT(second->waits, IsEmpty());
    EXPECT_EQ(other.requests().back().field("range"), "bytes=" + std::to_string(body.size() / 2) + "-");
}

TEST_F(Download, KeepsWhatItHasWhenCancelled) {
    auto stalling = whole;
    stalling.stallAt = body.size() / 2;
    const FaultServer server(mirrors({stalling, whole}));
    for (const bool isResumable : {true, false}) {
        const auto download = TestDownload::init<TestDownload>();
        download->setDeleteFileOnError(!isResumable);
        promise_ = download->downloadTo(target_, urls(server, 1));
        waitUntil(download, "currentLength", [&] { return download->currentLength() == body.size() / 2; });
        download->cancel();
        download->cancel();
        expectFailed("QZDownloadErrorDomain", 1);
        EXPECT_EQ(promise_->error()->localizedDescription(), "Cancelled by user");
        waitUntil(download, "session", [&] { return !download->session(); });
        EXPECT_EQ(fs::exists(record_), isResumable);
        EXPECT_EQ(download->progress()->isPaused(), isResumable);
        EXPECT_EQ(download->progress()->isCancelled(), !isResumable);
        download->tryNext();
        EXPECT_FALSE(download->session());
        if (isResumable) {
            fetch({urls(server, 2)[1]});
            expectFinished();
            EXPECT_EQ(server.requests().back().field("range"),
                      "bytes=" + std::to_string(body.size() / 2) + "-");
            fs::remove(target_);
        }
    }
    // Before there is a response there is nothing to keep; after the end, nothing to cancel.
    const FaultServer silent([](const auto&, const auto& connection) { connection.stall(); });
    const auto download = TestDownload::init<TestDownload>();
    promise_ = download->downloadTo(target_, {silent.url("/")});
    download->cancel();
    expectFailed("QZDownloadErrorDomain", 1);
    waitUntil(download, "session", [&] { return !download->session(); });
    EXPECT_FALSE(fs::exists(record_));
}

TEST_F(Download, FindsItsTargetAsItIs) {
    const FaultServer server(mirrors({whole, whole}));
    const auto start = [&](std::int64_t length) {
        auto download = TestDownload::initWithExpectedTotalLength<TestDownload>(length);
        promise_ = download->downloadTo(target_, urls(server, 2));
        waitForEnd(download);
        expectFinished();
        return download;
    };
    const auto size = static_cast<std::int64_t>(body.size());
    std::ofstream(target_) << body;
    EXPECT_EQ(start(size)->currentLength(), body.size());
    EXPECT_THAT(server.requests(), IsEmpty());  // it was complete
    std::ofstream(target_, std::ios::app) << "more";
    start(size);
    ASSERT_THAT(server.requests(), SizeIs(1));  // too long: removed, and the next mirror asked
    EXPECT_EQ(server.requests()[0].path, "/1");
    EXPECT_THAT(log(),
                HasSubstr("Failed GetFileFromUrl: Error Domain=QZDownloadCritical Code=5001 \"Known length "
                          "less then current file length\""));
    std::ofstream(target_) << "less";
    start(size);
    fs::remove_all(directory_);
    start(-1);

    EXPECT_FALSE(QZDownload::initWithFile(target_ + ".missing"));
    const auto onDisk = QZDownload::initWithFile(target_);
    EXPECT_EQ(onDisk->fileLength(), body.size());
    EXPECT_TRUE(onDisk->progress()->isFinished());
    onDisk->setDeleteFileOnDealloc(true);
    onDisk->removeFileAndResetCounters();
    EXPECT_TRUE(fs::exists(target_));  // it has no file manager
}

TEST_F(Download, SurvivesWhatHappensToItsDirectory) {
    // The directory goes while the body is on its way.
    const FaultServer server(mirrors({[&](const auto& request, const auto& connection) {
        fs::remove_all(directory_);
        ServedFile{body}(request, connection);
    }}));
    fetch(urls(server, 1));
    expectFinished();
    EXPECT_THAT(log(), HasSubstr("destination dir recreated for"));
    fs::remove_all(directory_);
    // A file stands where the directory should be: nothing is placed, which is only logged.
    std::ofstream(directory_.string()) << "in the way";
    const FaultServer other(mirrors({whole}));
    fetch(urls(other, 1));
    EXPECT_THAT(log(), HasSubstr("Error while moving content to destination"));
    EXPECT_FALSE(fs::exists(target_));
}

TEST_F(Download, AimsResumeDataAtTheMirror) {
    const FaultServer server(mirrors({whole}));
    const auto download = TestDownload::init<TestDownload>();
    download->setFilePath(target_);
    const auto url = NSURL::URLWithString(server.url("/0"));
    for (const auto format : {NSPropertyListFormat::XML, NSPropertyListFormat::Binary}) {
        const auto data = *NSPropertyListSerialization::dataWithPropertyList(
            NSDictionary::dictionary({{"NSURLSessionDownloadURL", "http://a.example/"},
                                      {"NSURLSessionResumeByteRange", "0-9"},
                                      {"other", 1}}),
            format, nullptr);
        download->setResumeData(data);
        const auto session = download->configuredSessionWithResumeData(data, url);
        session->getTasksWithCompletionHandler([&](const auto&, const auto& tasks) {
            EXPECT_EQ(tasks.at(0)->currentRequest()->URL()->absoluteString(), url->absoluteString());
            EXPECT_EQ(tasks.at(0)->originalRequest()->URL()->absoluteString(), url->absoluteString());
        });
        download->setSession(session);
        waitUntil(download, "session", [&] { return !download->session(); });
    }
}

}  // namespace qz::test
