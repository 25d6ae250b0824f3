// What a log statement costs its caller: filtered out, asynchronous, synchronous, beside spdlog alone.
#include <benchmark/benchmark.h>
#include <spdlog/async.h>
#include <spdlog/sinks/null_sink.h>

#include "Platform/Foundation/Format.h"
#include "QZUtils/Diagnostics/Log.h"

namespace qz {
namespace {

constexpr Log downloadLog{"Download"};

/// One sink on a logger for the time of a benchmark, with the console silenced.
class NullSink {
public:
    explicit NullSink(Ref<Logger> logger, LogLevel level = LogLevel::All) : logger_(std::move(logger)) {
        DDLog::sharedInstance()->setConsoleLevel(LogLevel::Off);
        sink_ = logger_->addSink([](const LogMessage& line) { benchmark::DoNotOptimize(line.text.data()); },
                                 level);
    }
    NullSink(const NullSink&) = delete;
    NullSink& operator=(const NullSink&) = delete;
    ~NullSink() {
        logger_->flush();
        logger_->removeSink(sink_);
    }

private:
    Ref<Logger> logger_;
    LogSinkIdentifier sink_{};
};

void filteredLine(benchmark::State& state) {
    const NullSink sink(DDLog::sharedInstance(), LogLevel::Info);
    long index = 0;
    for (auto _ : state) {
        downloadLog.debug("retry url index: %ld", ++index);
    }
}
BENCHMARK(filteredLine);

void asynchronousLine(benchmark::State& state) {
    const NullSink sink(DDLog::sharedInstance());
    long index = 0;
    for (auto _ : state) {
        downloadLog.debug("retry url index: %ld", ++index);
    }
}
BENCHMARK(asynchronousLine)->UseRealTime();

void synchronousLine(benchmark::State& state) {
    const NullSink sink(QZLog::sharedLog()->ddSyncLog());
    long index = 0;
    for (auto _ : state) {
        downloadLog.debug("retry url index: %ld", ++index);
    }
}
BENCHMARK(synchronousLine)->UseRealTime();

void errorLine(benchmark::State& state) {
    const NullSink sink(DDLog::sharedInstance());
    downloadLog.debug("starts the thread");
    long index = 0;
    for (auto _ : state) {
        downloadLog.error("retry url index: %ld", ++index);
    }
}
BENCHMARK(errorLine)->UseRealTime();

template <class Make>
void spdlogLine(benchmark::State& state, Make make, spdlog::level::level_enum level) {
    const std::shared_ptr<spdlog::logger> logger = make();
    logger->set_level(level);
    long index = 0;
    for (auto _ : state) {
        logger->debug("retry url index: {}", ++index);
    }
}

std::shared_ptr<spdlog::logger> synchronousSpdlog() {
    return std::make_shared<spdlog::logger>("plain", std::make_shared<spdlog::sinks::null_sink_mt>());
}
std::shared_ptr<spdlog::logger> asynchronousSpdlog() {
    static const auto pool = std::make_shared<spdlog::details::thread_pool>(DDLog::queueCapacity, 1);
    return std::make_shared<spdlog::async_logger>("plain", std::make_shared<spdlog::sinks::null_sink_mt>(),
                                                  pool, spdlog::async_overflow_policy::block);
}
BENCHMARK_CAPTURE(spdlogLine, filtered, synchronousSpdlog, spdlog::level::info);
BENCHMARK_CAPTURE(spdlogLine, asynchronous, asynchronousSpdlog, spdlog::level::debug)->UseRealTime();
BENCHMARK_CAPTURE(spdlogLine, synchronous, synchronousSpdlog, spdlog::level::debug)->UseRealTime();

void formatted(benchmark::State& state) {
    const std::string name = "https://mirror.example.com/issue.zip";
    long index = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(stringWithFormat("%ld Response: %@, length=%llu", ++index, name, 123456ULL));
    }
}
BENCHMARK(formatted);

void formattedBySnprintf(benchmark::State& state) {
    const std::string name = "https://mirror.example.com/issue.zip";
    long index = 0;
    char text[256];
    for (auto _ : state) {
        const auto length = std::snprintf(text, sizeof(text), "%ld Response: %s, length=%llu", ++index,
                                          name.c_str(), 123456ULL);
        benchmark::DoNotOptimize(std::string(text, static_cast<std::size_t>(length)));
    }
}
BENCHMARK(formattedBySnprintf);

}  // namespace
}  // namespace qz
