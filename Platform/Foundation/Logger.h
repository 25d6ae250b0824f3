// Logger: takes log lines and hands those that pass its level to its sinks. This one works on the caller's
// thread: when log() returns, every sink has the line. DDLog (DDLog.h) is the one that works in the
// background.
//
//     const auto sink = logger->addSink([](const LogMessage& line) { window.append(line.text); },
//                                       LogLevel::Info);
//     …
//     logger->removeSink(sink);
//
// What is logged and never wanted costs one load: isEnabled() knows the union of what the sinks want, so a
// logger without sinks formats nothing.
//
// Sinks are called one line at a time, in the order in which the lines came, from whatever thread logs. They
// may log, add and remove sinks and set levels. A line that a sink logs comes after the one that it is being
// given, is not waited for, and what is logged in answer to such a line is dropped: sinks cannot feed each
// other for ever. A sink must not wait for another thread that may be logging. One that throws misses that
// line, no other sink does, and the first time its reason is written to standard error.
//
// Everything here may be called from any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSError;

/// How severe a line is.
enum class LogFlag : std::uint64_t { Error = 1, Warning = 2, Info = 4, Debug = 8, Verbose = 16 };

/// Which severities are wanted: a mask of flags.
enum class LogLevel : std::uint64_t {
    Off = 0,
    Error = 1,
    Warning = 3,
    Info = 7,
    Debug = 15,
    Verbose = 31,
    All = ~std::uint64_t{0}
};

[[nodiscard]] constexpr bool wants(LogLevel level, LogFlag flag) noexcept {
    return (static_cast<std::uint64_t>(level) & static_cast<std::uint64_t>(flag)) != 0;
}

/// One line, as sinks receive it. The texts are valid during the call only.
struct LogMessage {
    std::string_view text;  // formatted; may hold line breaks
    LogFlag flag = LogFlag::Info;
    LogLevel level = LogLevel::All;  // the mask that the caller passed; it filters nothing
    std::int64_t context = 0;
    std::string_view file;  // the source file's path, the function and the line that logged
    std::string_view function;
    std::uint32_t line = 0;
    Text tag;  // the facility that logged, or nil
    std::chrono::system_clock::time_point time = {};
    std::uint64_t thread = 0;  // the kernel's number of the thread that logged
};

using LogSink = std::function<void(const LogMessage&)>;

/// What addSink() answers and removeSink() takes; never given twice in a process.
enum class LogSinkIdentifier : std::uint64_t {};

/// How a file of lines is bounded: when a line would take it beyond maximumSize bytes it becomes NAME.1.EXT,
/// the older ones move up, and keptFiles old ones are kept.
struct LogFileOptions {
    std::size_t maximumSize = 4UL << 20;
    std::size_t keptFiles = 3;
};

class QZ_EXPORT Logger : public NSObject {
    QZ_OBJECT(Logger, NSObject)
public:
    // Logging.

    /// Logs one line. `level` and `context` travel with it, `asynchronous` says whether the caller may go on
    /// before the sinks have it; `file` and `function` may be nil. The arguments are only formatted when the
    /// line is wanted. Also a message, "log:level:flag:context:file:function:line:tag:format:".
    template <class... A>
    void log(bool asynchronous, LogLevel level, LogFlag flag, std::int64_t context, Text file, Text function,
             std::uint32_t line, Text tag, std::string_view format, const A&... arguments) {
        if (isEnabled(flag)) {
            const auto text = stringWithFormat(format, arguments...);
            logMessage(asynchronous, {text, flag, level, context, file.view(), function.view(), line, tag,
                                      std::chrono::system_clock::now(), currentThread()});
        }
    }
    /// Logs a line that is formatted already.
    void logMessage(bool asynchronous, const LogMessage& message);

    /// Whether any sink would get a line of this severity. One load.
    [[nodiscard]] bool isEnabled(LogFlag flag) const noexcept {
        return wants(enabled_.load(std::memory_order_relaxed), flag);
    }

    /// Returns when every sink has every line that was logged before. Inside a sink it returns at once.
    void flush();
    /// The same, but gives up when stop is requested: false then.
    [[nodiscard]] bool flush(const std::stop_token& stop);

    /// The number that LogMessage::thread holds for lines of the calling thread.
    [[nodiscard]] static std::uint64_t currentThread() noexcept;

    // Sinks and levels.

    /// Adds a sink for the lines whose severity is in `level`.
    LogSinkIdentifier addSink(LogSink sink, LogLevel level = LogLevel::All);
    /// Appends lines to a file, each written at once, with its time, severity, thread, tag and source line.
    /// The file is made if need be, with its directories, readable by its owner only. Nullopt when it cannot
    /// be opened (NSPOSIXErrorDomain with the system's number) or the options make no sense (EINVAL).
    [[nodiscard]] std::optional<LogSinkIdentifier> addFileSink(const std::string& path,
                                                               LogLevel level = LogLevel::All,
                                                               const LogFileOptions& options = {},
                                                               Ref<NSError>* error = nullptr);
    /// Removes a sink, which is not running any more and will not run again when this returns (called inside
    /// a sink, it does not wait for another thread's). Lines that it has not got yet are lost to it: flush()
    /// first. Nothing happens when it is not there.
    void removeSink(LogSinkIdentifier sink);
    /// Which lines go to standard error.
    void setConsoleLevel(LogLevel level);

    /// Bounds what all sinks get. At first everything.
    void setLevel(LogLevel level);
    [[nodiscard]] LogLevel level() const;

protected:
    /// `enabled` is where the logger publishes what isEnabled() reads: a static of its class, so that it can
    /// be asked without making the logger.
    Logger(std::atomic<LogLevel>& enabled, LogLevel consoleLevel);
    ~Logger() override;

    /// Brings a wanted line to deliver(), on whatever thread. `nested`: a sink logged it.
    virtual void submit(bool asynchronous, const LogMessage& message, bool nested);
    /// Waits until what was submitted before is delivered; false when stopped.
    [[nodiscard]] virtual bool waitUntilDelivered(const std::stop_token& stop);

    /// Calls the sinks, then submits what they logged.
    void deliver(const LogMessage& message, bool nested);

    /// Hold back deliveries from before to after a fork, so that the child inherits no half one.
    void lockForFork();
    void unlockAfterFork();

private:
    struct Sink;
    struct Delivery;
    using Sinks = std::vector<std::shared_ptr<Sink>>;

    LogSinkIdentifier addLocked(LogSink sink, LogLevel level);
    std::shared_ptr<Sink> removeLocked(LogSinkIdentifier sink);
    void publishLocked();

    std::atomic<LogLevel>& enabled_;
    mutable std::mutex sinksMutex_;  // guards the next three
    LogLevel level_ = LogLevel::All;
    std::shared_ptr<const Sinks> sinks_;
    std::optional<LogSinkIdentifier> console_;
    std::mutex deliveryMutex_;  // held while sinks are called
};

namespace internal {

/// A line packed into one block of bytes, in which it waits for its delivery.
[[nodiscard]] std::string packLine(const LogMessage& message, bool nested);
/// The line in such a block, which its texts point into.
[[nodiscard]] LogMessage unpackLine(std::string_view packed, bool& nested);

}  // namespace internal

}  // namespace qz
