// Log lines: what arrives at the sinks of both loggers, who waits for whom, and what sinks may do.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <latch>
#include <mutex>
#include <thread>

#include "Platform/Foundation/NSError.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Diagnostics/Log.h"
#include "Tests/Diagnostics/Recorder.h"

namespace qz::test {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;

const Ref<Logger>& synchronous() {
    return QZLog::sharedLog()->ddSyncLog();
}
const Ref<DDLog>& asynchronous() {
    return DDLog::sharedInstance();
}

/// Silences the console, which prints warnings unless told otherwise.
class Logging : public testing::Test {
protected:
    void SetUp() override { asynchronous()->setConsoleLevel(LogLevel::Off); }
};

/// Counts how often somebody asked for its description.
class Described : public NSObject {
    QZ_OBJECT(Described, NSObject)
public:
    mutable std::atomic<int> count{0};

protected:
    Described() = default;
};
QZ_DEFINE_CLASS(Described, cls) {
    cls.method("description", [](const Described& self) {
        ++self.count;
        return std::string("described");
    });
}

class Speechless : public NSObject {
    QZ_OBJECT(Speechless, NSObject)
protected:
    Speechless() = default;
};
QZ_DEFINE_CLASS(Speechless, cls) {
    cls.method("description", [](const Speechless&) -> std::string { throw std::runtime_error("no words"); });
}

TEST_F(Logging, WritesTheSameLineToBothLoggers) {
    Recorder first(asynchronous());
    Recorder second(synchronous());
    constexpr Log log{"Download"};
    std::vector<std::uint32_t> places;
    places.push_back(__LINE__ + 1);
    logError("%@ %d", "e", 1);
    places.push_back(__LINE__ + 1);
    log.warning("w");
    places.push_back(__LINE__ + 1);
    log.info("%s", std::string("i"));
    places.push_back(__LINE__ + 1);
    logDebug("100%%");
    places.push_back(__LINE__ + 1);
    log.write(LogFlag::Verbose, "%@", nullptr);
    asynchronous()->flush();

    const auto lines = second.lines();
    ASSERT_THAT(lines, SizeIs(places.size()));
    const LogFlag flags[] = {LogFlag::Error, LogFlag::Warning, LogFlag::Info, LogFlag::Debug,
                             LogFlag::Verbose};
    const char* texts[] = {"e 1", "w", "i", "100%", "(null)"};
    const std::optional<std::string> tags[] = {std::nullopt, "Download", "Download", std::nullopt,
                                               "Download"};
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const auto& line = lines[index];
        EXPECT_EQ(line.flag, flags[index]);
        EXPECT_EQ(line.text, texts[index]);
        EXPECT_EQ(line.tag, tags[index]);
        EXPECT_EQ(line.line, places[index]);
        EXPECT_THAT(line.file, EndsWith("Tests/Diagnostics/LogTests.cpp"));
        EXPECT_EQ(line.function, __FUNCTION__);
        EXPECT_EQ(static_cast<std::uint64_t>(line.level), UINT64_MAX);
        EXPECT_EQ(line.context, 0);
        EXPECT_EQ(line.thread, Logger::currentThread());
    }
    EXPECT_EQ(first.lines(), lines);  // times included
}

TEST_F(Logging, TakesLinesAsMessages) {
    Recorder recorder(asynchronous());
    send(asynchronous(), "log:level:flag:context:file:function:line:tag:format:"_sel, false, LogLevel::Info,
         LogFlag::Warning, 3, "a.cpp", nullptr, 12, nullptr, "50%%");
    ASSERT_THAT(recorder.lines(), SizeIs(1));
    const auto line = recorder.lines()[0];
    EXPECT_EQ(std::tie(line.text, line.file, line.function, line.line, line.context, line.level, line.tag),
              std::make_tuple("50%", "a.cpp", "", 12U, 3, LogLevel::Info, std::nullopt));
}

TEST_F(Logging, AnErrorWaitsForAllThatCameBeforeIt) {
    Recorder first(asynchronous());
    Recorder second(synchronous());
    for (int number = 0; number < 500; ++number) {
        logVerbose("%d", number);
    }
    logError("last");
    const auto lines = first.lines();  // without a flush
    ASSERT_THAT(lines, SizeIs(501));
    EXPECT_EQ(lines.back().text, "last");
    EXPECT_EQ(second.lines(), lines);
}

TEST_F(Logging, OnlyTheAsynchronousLoggerGoesOnWithoutItsSinks) {
    Recorder second(synchronous());
    std::latch entered(1);
    std::latch gate(1);
    std::vector<std::string> received;
    const auto slow = asynchronous()->addSink([&](const LogMessage& line) {
        if (received.empty()) {
            entered.count_down();
            gate.wait();
        }
        received.emplace_back(line.text);
    });
    logWarning("first");
    entered.wait();
    constexpr int capacity = static_cast<int>(DDLog::queueCapacity);
    for (int number = 0; number < capacity; ++number) {
        logInfo("%d", number);
    }
    EXPECT_THAT(second.lines(), SizeIs(capacity + 1));
    // A full queue makes writers wait, but keeps nobody from giving up a flush.
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(asynchronous()->flush(stop.get_token()));
    EXPECT_TRUE(synchronous()->flush(stop.get_token()));
    std::jthread writer([] { logError("last"); });
    gate.count_down();
    writer.join();
    ASSERT_THAT(received, SizeIs(capacity + 2));  // an error returns when it is delivered
    EXPECT_EQ(received.front(), "first");
    EXPECT_EQ(received.back(), "last");
    asynchronous()->removeSink(slow);
}

TEST_F(Logging, UnwantedLinesAreNotFormattedAndWantedOnesOnce) {
    const auto object = make<Described>();
    logError("%@", object);  // no sink at all
    EXPECT_EQ(object->count, 0);
    Recorder first(asynchronous(), LogLevel::Warning);
    Recorder second(synchronous(), LogLevel::Info);
    logDebug("%@", object);
    EXPECT_EQ(object->count, 0);
    EXPECT_FALSE(Log::isEnabled(LogFlag::Debug));
    logInfo("%@", object);  // for one logger
    EXPECT_EQ(object->count, 1);
    logError("%@", object);  // for both
    EXPECT_EQ(object->count, 2);
    synchronous()->setLevel(LogLevel::Error);
    logInfo("%@", object);
    EXPECT_EQ(object->count, 2);
    asynchronous()->setLevel(LogLevel::Off);
    synchronous()->setLevel(LogLevel::Off);
    logError("%@", object);
    EXPECT_EQ(object->count, 2);
    asynchronous()->setLevel(LogLevel::All);
    synchronous()->setLevel(LogLevel::All);
    asynchronous()->flush();
    EXPECT_THAT(first.texts(), ElementsAre("described"));
    EXPECT_THAT(second.texts(), ElementsAre("described", "described"));
}

TEST_F(Logging, ADescriptionThatRaisesDoesNotEscape) {
    Recorder recorder(synchronous());
    const auto object = make<Speechless>();
    logError("object: %@", object);
    EXPECT_THAT(recorder.texts(), ElementsAre("object: %@ (cannot be formatted: no words)"));
}

TEST_F(Logging, SinksMayThrowLogAndRemoveThemselves) {
    for (const Ref<Logger>& logger : {Ref<Logger>(asynchronous()), synchronous()}) {
        Recorder elsewhere(logger == synchronous() ? Ref<Logger>(asynchronous()) : synchronous());
        const auto throwing = logger->addSink([](const LogMessage&) { throw 5; });
        int echoes = 0;
        const auto echoing = logger->addSink([&](const LogMessage& line) {
            ++echoes;
            logError("echo of %@", line.text);  // answers every line, its own included
            logger->flush();
        });
        LogSinkIdentifier once{};
        once = logger->addSink([&](const LogMessage&) { logger->removeSink(once); });
        Recorder recorder(logger);
        testing::internal::CaptureStderr();
        logError("a");
        logWarning("b");
        logger->flush();
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    HasSubstr("a log sink failed: an unknown exception"));
        EXPECT_THAT(recorder.texts(), ElementsAre("a", "echo of a", "b", "echo of b"));
        asynchronous()->flush();
        EXPECT_THAT(elsewhere.texts(), testing::UnorderedElementsAre("a", "echo of a", "b", "echo of b"));
        EXPECT_EQ(echoes, 4);
        logger->removeSink(throwing);
        logger->removeSink(echoing);
        logger->removeSink(echoing);
    }
}

TEST_F(Logging, SinksOfBothLoggersThatLogDoNotWaitForEachOther) {
    std::atomic<int> received{0};
    const auto answer = [&](const LogMessage& line) {
        ++received;
        logError("about %@", line.text);
    };
    const auto first = asynchronous()->addSink(answer);
    const auto second = synchronous()->addSink(answer);
    std::vector<std::jthread> writers;
    for (int thread = 0; thread < 3; ++thread) {
        writers.emplace_back([] {
            for (int number = 0; number < 200; ++number) {
                number % 2 ? logError("%d", number) : logInfo("%d", number);
            }
        });
    }
    writers.clear();
    asynchronous()->flush();
    asynchronous()->removeSink(first);
    synchronous()->removeSink(second);
    // Each line reaches two sinks, whose answers reach two sinks each.
    EXPECT_EQ(received, 3 * 200 * (2 + 4));
}

TEST_F(Logging, KeepsTheOrderOfEveryThreadWhileSinksComeAndGo) {
    Recorder first(asynchronous());
    Recorder second(synchronous());
    std::vector<std::jthread> writers;
    for (int thread = 0; thread < 4; ++thread) {
        writers.emplace_back([thread] {
            for (int number = 0; number < 300; ++number) {
                logInfo("%d %03d", thread, number);
            }
        });
    }
    for (int round = 0; round < 100; ++round) {
        auto alive = std::make_unique<int>(0);
        const auto passing = asynchronous()->addSink([&alive](const LogMessage&) { ++*alive; });
        asynchronous()->removeSink(passing);
        alive.reset();  // nobody counts any more
    }
    writers.clear();
    asynchronous()->flush();
    for (const auto* recorder : {&first, &second}) {
        auto texts = recorder->texts();
        ASSERT_THAT(texts, SizeIs(1200));
        std::ranges::stable_sort(texts, {}, [](const std::string& text) { return text[0]; });
        EXPECT_TRUE(std::ranges::is_sorted(texts));
    }
}

TEST_F(Logging, FilesArePrivateBoundedAndRefusedWithAReason) {
    const auto directory = std::filesystem::path(testing::TempDir()) / "qz-log-files";
    std::filesystem::remove_all(directory);
    const auto path = directory / "deep" / "app.log";
    for (const Ref<Logger>& logger : {Ref<Logger>(asynchronous()), synchronous()}) {
        Ref<NSError> error;
        const auto file =
            logger->addFileSink(path, LogLevel::Info, {.maximumSize = 300, .keptFiles = 2}, &error);
        ASSERT_TRUE(file) << error->description();
        for (int number = 0; number < 20; ++number) {
            Log("Tag").info("line %d", number);
            logDebug("unwanted");
        }
        logger->flush();
        logger->removeSink(*file);
        std::size_t files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(directory / "deep")) {
            ++files;
            EXPECT_LE(entry.file_size(), 300U);
            EXPECT_EQ(entry.status().permissions(), std::filesystem::perms(0600)) << entry.path();
        }
        EXPECT_EQ(files, 3U);
        std::ifstream stream(path);
        std::string text;
        std::string last;
        while (std::getline(stream, text)) {
            last = text;
        }
        EXPECT_THAT(last, HasSubstr(" info [Tag] line 19 (LogTests.cpp:"));
        std::filesystem::remove_all(directory / "deep");
    }
    const std::tuple<std::string, LogFileOptions, int> refused[] = {
        {testing::TempDir(), {}, EISDIR},
        {"/dev/null/app.log", {}, ENOTDIR},
        {"", {}, EINVAL},
        {path, {.maximumSize = 0}, EINVAL},
    };
    for (const auto& [name, options, code] : refused) {
        Ref<NSError> error;
        EXPECT_FALSE(synchronous()->addFileSink(name, LogLevel::All, options, &error)) << name;
        ASSERT_TRUE(error) << name;
        EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
        EXPECT_EQ(error->code(), code) << name;
    }
    std::filesystem::remove_all(directory);
}

// The rest looks at whole processes.

std::ptrdiff_t threadCount() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(begin(threads), end(threads));
}

struct LogsWhenDestroyed {
    ~LogsWhenDestroyed() {
        logInfo("after the end");
        logError("at the very end");
    }
};

TEST(LoggingDeathTest, PendingLinesAreWrittenAtExit) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto path = std::filesystem::path(testing::TempDir()) / "qz-log-exit.log";
    std::filesystem::remove(path);
    EXPECT_EXIT(
        {
            static LogsWhenDestroyed late;  // made before the logger's thread, so destroyed after it ended
            const auto before = threadCount();
            logError("printed error");
            logInfo("unwanted");
            if (threadCount() != before || !asynchronous()->addFileSink(path)) {
                std::exit(1);
            }
            for (int number = 0; number < 1000; ++number) {
                logInfo("%d", number);
            }
            if (threadCount() == before) {
                std::exit(2);
            }
            logWarning("printed warning");
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        AllOf(HasSubstr("printed error"), HasSubstr("printed warning"), HasSubstr("at the very end"),
              testing::Not(HasSubstr(" info "))));
    std::ifstream stream(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    ASSERT_THAT(lines, SizeIs(1003));
    EXPECT_THAT(lines[999], HasSubstr(" info 999 ("));
    EXPECT_THAT(lines.back(), HasSubstr("at the very end"));
    std::filesystem::remove(path);
}

TEST(LoggingDeathTest, AForkedChildLogsAndExits) {
    GTEST_FLAG_SET(death_test_style, "fast");
    asynchronous()->setConsoleLevel(LogLevel::Info);
    logInfo("starts the thread");
    EXPECT_EXIT(
        {
            logInfo("from the child");
            logError("error of the child");
            asynchronous()->flush();
            std::exit(3);
        },
        testing::ExitedWithCode(3), AllOf(HasSubstr("from the child"), HasSubstr("error of the child")));
    asynchronous()->setConsoleLevel(LogLevel::Off);
}

}  // namespace qz::test
