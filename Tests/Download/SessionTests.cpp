// Sessions for those who use them by themselves.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <semaphore>
#include <thread>

#include "Platform/Dispatch/NSOperationQueue.h"
#include "Platform/Foundation/NSData+Files.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/NSHTTPURLResponse.h"
#include "Platform/Network/NSMutableURLRequest.h"
#include "Platform/Network/NSURLError.h"
#include "Platform/Network/NSURLSession.h"
#include "Platform/Network/NSURLSessionConfiguration.h"
#include "Platform/Network/NSURLSessionDataTask.h"
#include "Platform/Network/NSURLSessionDelegate.h"
#include "Platform/Network/NSURLSessionDownloadTask.h"
#include "Platform/Network/NSURLSessionTask.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Tests/Download/Support.h"
#include "Tests/Support/FaultServer.h"

namespace qz::test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Writes down what it hears, on the delegate's queue.
class Listener : public NSObject {
    QZ_OBJECT(Listener, NSObject)
public:
    std::function<void(const NSURLSessionResponseCompletionHandler&)> answer;
    std::function<void()> onData;
    std::string body;
    std::string file;
    Ref<NSURLResponse> response;
    std::vector<Ref<NSError>> errors;
    std::vector<std::int64_t> totals;
    std::binary_semaphore ended{0};

    void URLSessionDidReceiveResponse(const Ref<NSURLSession>&, const Ref<NSURLSessionDataTask>&,
                                      const Ref<NSURLResponse>& head,
                                      const NSURLSessionResponseCompletionHandler& completionHandler) {
        response = head;
        answer ? answer(completionHandler) : completionHandler(NSURLSessionResponseAllow);
    }
    void URLSessionDidReceiveData(const Ref<NSURLSession>&, const Ref<NSURLSessionDataTask>&,
                                  const NSData& data) {
        body += data.text();
        if (onData) {
            onData();
        }
    }
    void URLSessionDidWriteData(const Ref<NSURLSession>&, const Ref<NSURLSessionDownloadTask>&, std::int64_t,
                                std::int64_t total, std::int64_t) {
        totals.push_back(total);
    }
    void URLSessionDidFinishDownloadingToURL(const Ref<NSURLSession>&, const Ref<NSURLSessionDownloadTask>&,
                                             const Ref<NSURL>& location) {
        file = dataWithContentsOfFile(location->path(), nullptr).value_or(NSData()).text();
    }
    void URLSessionDidCompleteWithError(const Ref<NSURLSession>&, const Ref<NSURLSessionTask>&,
                                        const Ref<NSError>& error) {
        errors.push_back(error);
    }
    void URLSessionDidBecomeInvalidWithError(const Ref<NSURLSession>&, const Ref<NSError>&) {
        ended.release();
    }
};
QZ_DEFINE_CLASS(Listener, cls) {
    cls.adopts<NSURLSessionDelegate>();
}

Ref<NSURLSession> sessionFor(const Ref<Listener>& listener, double timeout = 30) {
    const auto configuration = NSURLSessionConfiguration::defaultSessionConfiguration();
    configuration->setTimeoutIntervalForRequest(timeout);
    return NSURLSession::sessionWithConfiguration(configuration, listener, nullptr);
}

void waitForEnd(const Ref<NSURLSession>& session, Listener& listener) {
    session->finishTasksAndInvalidate();
    listener.ended.acquire();
    session->delegateQueue()->waitUntilAllOperationsAreFinished();
    EXPECT_FALSE(session->delegate());
}

TEST(Session, GivesABodyToADelegateThatTakesItsTime) {
    const auto body = randomText(20'000'000);  // more than may wait
    const FaultServer server(ServedFile{body});
    const auto listener = make<Listener>();
    listener->answer = [](const auto& handler) {
        std::thread([handler] {
            handler(NSURLSessionResponseAllow);
            handler(NSURLSessionResponseCancel);  // the first answer counts
        }).detach();
    };
    const auto session = sessionFor(listener, 0.3);
    const auto task = session->dataTaskWithURL(NSURL::URLWithString(server.url("/")));
    std::size_t most = 0;
    listener->onData = [&, last = std::size_t{0}]() mutable {
        if (last == 0) {
            // Longer than the time-out, with the transfer paused: that is not idle.
            std::binary_semaphore pause(0);
            static_cast<void>(pause.try_acquire_for(std::chrono::milliseconds(700)));
        }
        most = std::max(most, listener->body.size() - last);
        last = listener->body.size();
    };
    task->resume();
    waitForEnd(session, *listener);
    EXPECT_THAT(listener->errors, ElementsAre(nullptr));
    EXPECT_TRUE(listener->body == body);
    EXPECT_LT(most, 6'000'000);
    EXPECT_EQ(task->countOfBytesReceived(), 20'000'000);
    EXPECT_EQ(task->state(), NSURLSessionTaskState::Completed);
}

TEST(Session, SendsWhatARequestSays) {
    const FaultServer server([](const auto& request, const auto& connection) {
        connection.send("HTTP/1.1 200 OK\r\nX-Two: 1\r\nx-two: 2\r\nContent-Length: 2\r\n\r\n");
        connection.send(request.method == "HEAD" ? "" : "ok");
    });
    const auto listener = make<Listener>();
    const auto session = sessionFor(listener);
    const auto request = NSMutableURLRequest::requestWithURL<NSMutableURLRequest>(
        NSURL::URLWithString(server.url("/a?b#c")), NSURLRequestReloadIgnoringLocalCacheData, 5);
    request->setHTTPMethod("POST");
    request->setHTTPBody(NSData::dataWithText("payload"));
    request->setValueForHTTPHeaderField("reader", "User-Agent");
    request->setValueForHTTPHeaderField("a\r\nInjected: 1", "X-Bad");
    session->dataTaskWithRequest(request)->resume();
    const auto head =
        NSMutableURLRequest::requestWithURL<NSMutableURLRequest>(NSURL::URLWithString(server.url("/head")));
    head->setHTTPMethod("HEAD");
    session->dataTaskWithRequest(head)->resume();
    waitForEnd(session, *listener);
    EXPECT_THAT(listener->errors, ElementsAre(nullptr, nullptr));
    EXPECT_EQ(listener->body, "ok");
    EXPECT_EQ(listener->response->expectedContentLength(), 2);
    EXPECT_EQ(
        std::dynamic_pointer_cast<NSHTTPURLResponse>(listener->response)->valueForHTTPHeaderField("X-Two"),
        "1, 2");
    for (const auto& got : server.requests()) {
        if (got.method == "POST") {
            EXPECT_EQ(got.path, "/a?b");
            EXPECT_EQ(got.body, "payload");
            EXPECT_EQ(got.field("user-agent"), "reader");
            EXPECT_EQ(got.field("cache-control"), "no-cache");
            EXPECT_EQ(got.field("injected") + got.field("x-bad"), "");
        }
    }
}

TEST(Session, EndsTasksAsItIsAsked) {
    const auto body = randomText(100'000);
    auto stalling = ServedFile{body};
    stalling.stallAt = 50'000;
    const FaultServer server(stalling);
    const auto url = NSURL::URLWithString(server.url("/"));
    const auto listener = make<Listener>();
    listener->answer = [](const auto& handler) { handler(NSURLSessionResponseCancel); };
    const auto session = sessionFor(listener);
    session->dataTaskWithURL(url)->resume();              // cancelled by the answer
    session->downloadTaskWithURL(url)->resume();          // cancelled on the way
    const auto idle = session->downloadTaskWithURL(url);  // never started
    session->dataTaskWithURL(nullptr)->resume();          // cannot be
    std::binary_semaphore asked(0);
    session->getTasksWithCompletionHandler([&](const auto& dataTasks, const auto& downloadTasks) {
        EXPECT_LE(dataTasks.size(), 2);
        EXPECT_EQ(downloadTasks.size(), 2);
        asked.release();
    });
    asked.acquire();
    session->invalidateAndCancel();
    EXPECT_ANY_THROW(static_cast<void>(session->dataTaskWithURL(url)));
    listener->ended.acquire();
    ASSERT_EQ(listener->errors.size(), 4);
    for (const auto& error : listener->errors) {
        EXPECT_TRUE(error->code() == NSURLErrorCancelled || error->code() == NSURLErrorBadURL);
    }
    EXPECT_THAT(partialFiles(), IsEmpty());
}

TEST(Session, DownloadsFiles) {
    const auto path = scratchDirectory() / "a file.txt";
    const auto body = randomText(700'000);
    std::ofstream(path, std::ios::binary) << body;
    const auto listener = make<Listener>();
    auto session = sessionFor(listener);
    session->downloadTaskWithURL(NSURL::fileURLWithPath(path.string()))->resume();
    session->downloadTaskWithURL(NSURL::fileURLWithPath("/does/not/exist"))->resume();
    const FaultServer server(ServedFile{body});
    const auto many = make<Listener>();
    const auto other = sessionFor(many);
    for (int i = 0; i < 20; ++i) {  // more than there are connections for
        other->downloadTaskWithURL(NSURL::URLWithString(server.url("/")))->resume();
    }
    waitForEnd(session, *listener);
    waitForEnd(other, *many);
    ASSERT_TRUE(listener->file == body);
    for (const auto& error : listener->errors) {
        std::cerr << "E " << descriptionOf(error) << descriptionOf(error ? error->userInfo() : nullptr)
                  << std::endl;
    }
    ASSERT_TRUE(listener->file == body);
    EXPECT_EQ(listener->totals.back(), 700'000);
    EXPECT_EQ(std::count(listener->errors.begin(), listener->errors.end(), nullptr), 1);
    EXPECT_EQ(std::count(many->errors.begin(), many->errors.end(), nullptr), 20);
    EXPECT_THAT(partialFiles(), IsEmpty());
}

TEST(Session, SaysWhenTheDiskIsFull) {
    const FaultServer server(ServedFile{randomText(2'000'000)});
    const auto listener = make<Listener>();
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const rlimit small{1'000'000, old.rlim_max};
    ::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &small);
    const auto session = sessionFor(listener);
    session->downloadTaskWithURL(NSURL::URLWithString(server.url("/")))->resume();
    waitForEnd(session, *listener);
    ::setrlimit(RLIMIT_FSIZE, &old);
    ASSERT_EQ(listener->errors.size(), 1);
    EXPECT_EQ(listener->errors[0]->code(), NSURLErrorCannotWriteToFile);
    EXPECT_THAT(descriptionOf(listener->errors[0]->userInfo()), HasSubstr("File too large"));
    const auto data =
        unbox<NSData>(listener->errors[0]->userInfo()->objectForKey(NSURLSessionDownloadTaskResumeData));
    ASSERT_TRUE(data);  // with the disk freed, the download goes on
    const auto resumed = make<Listener>();
    const auto next = sessionFor(resumed);
    next->downloadTaskWithResumeData(*data)->resume();
    waitForEnd(next, *resumed);
    EXPECT_EQ(server.requests().back().field("range"), "bytes=1000000-");
    EXPECT_TRUE(resumed->file == randomText(2'000'000));
}

}  // namespace qz::test
