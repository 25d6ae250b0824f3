// A sink that remembers the lines that it was given.
#pragma once

#include <algorithm>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Foundation/Logger.h"

namespace qz::test {

class Recorder {
public:
    struct Line {
        std::string text;
        LogFlag flag;
        LogLevel level;
        std::int64_t context;
        std::string file;
        std::string function;
        std::uint32_t line;
        std::optional<std::string> tag;
        std::chrono::system_clock::time_point time;
        std::uint64_t thread;
        bool operator==(const Line&) const = default;
    };

    explicit Recorder(Ref<Logger> logger, LogLevel level = LogLevel::All) : logger_(std::move(logger)) {
        sink_ = logger_->addSink(
            [this](const LogMessage& line) {
                const std::lock_guard lock(mutex_);
                lines_.push_back({std::string(line.text), line.flag, line.level, line.context,
                                  std::string(line.file), std::string(line.function), line.line,
                                  line.tag.toString(), line.time, line.thread});
            },
            level);
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder() { logger_->removeSink(sink_); }

    [[nodiscard]] std::vector<Line> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }
    [[nodiscard]] std::vector<std::string> texts() const {
        std::vector<std::string> texts;
        for (const auto& line : lines()) {
            texts.push_back(line.text);
        }
        return texts;
    }

private:
    Ref<Logger> logger_;
    LogSinkIdentifier sink_{};
    mutable std::mutex mutex_;
    std::vector<Line> lines_;
};

}  // namespace qz::test
