#include "Platform/Foundation/Logger.h"

#include <fcntl.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/details/os.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <type_traits>
#include <utility>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(Logger, cls) {
    cls.method("log:level:flag:context:file:function:line:tag:format:",
               [](Logger& self, bool asynchronous, LogLevel level, LogFlag flag, std::int64_t context,
                  Text file, Text function, std::uint32_t line, Text tag, std::string_view format) {
                   self.log(asynchronous, level, flag, context, file, function, line, tag, format);
               });
}

struct Logger::Sink {
    LogSinkIdentifier identifier;
    LogLevel level;
    LogSink write;
    std::atomic<bool> removed{false};
    bool failed = false;  // it threw before; guarded by the delivery
};

/// What a thread is about while it calls sinks.
struct Logger::Delivery {
    struct Deferred {
        Logger& logger;
        bool asynchronous;
        std::string line;
    };
    bool nested;  // the line itself was logged by a sink
    std::vector<Deferred> deferred;

    /// The one under way on this thread; null when there is none. A plain pointer, because threads log until
    /// their very end.
    static thread_local Delivery* current;
};

thread_local Logger::Delivery* Logger::Delivery::current = nullptr;

namespace {

const char* severityName(LogFlag flag) {
    switch (flag) {
        case LogFlag::Error:
            return "error";
        case LogFlag::Warning:
            return "warning";
        case LogFlag::Info:
            return "info";
        case LogFlag::Debug:
            return "debug";
        case LogFlag::Verbose:
            break;
    }
    return "verbose";
}

/// "warning [Download] text (File.cpp:12)"
std::string layOut(const LogMessage& message) {
    std::string text = severityName(message.flag);
    if (message.tag) {
        text.append(" [").append(message.tag.view()).append("]");
    }
    text.append(" ").append(message.text);
    if (!message.file.empty()) {
        const auto name = message.file.substr(message.file.rfind('/') + 1);
        text.append(" (").append(name).append(":").append(std::to_string(message.line)).append(")");
    }
    return text;
}

/// A sink that writes each line at once, after its time and thread.
LogSink textSink(std::shared_ptr<spdlog::sinks::sink> target) {
    target->set_formatter(std::make_unique<spdlog::pattern_formatter>("%Y-%m-%d %H:%M:%S.%e %t %v"));
    return [target = std::move(target)](const LogMessage& message) {
        const auto text = layOut(message);
        spdlog::details::log_msg line(message.time, {}, {}, spdlog::level::info, text);
        line.thread_id = static_cast<std::size_t>(message.thread);
        target->log(line);
        target->flush();
    };
}

Ref<NSError> systemError(int number, const std::string& what) {
    const auto text = what + ": " + std::generic_category().message(number);
    return NSError::errorWithDomain(std::string(NSPOSIXErrorDomain), number,
                                    NSDictionary::dictionary({{NSLocalizedDescriptionKey, text}}));
}

/// Makes sure that the file is there, private when it is new, and can be appended to; the number of the
/// system's error otherwise, 0 for none.
int tryToOpen(const std::string& path) {
    std::error_code failure;
    if (const auto directory = std::filesystem::path(path).parent_path(); !directory.empty()) {
        std::filesystem::create_directories(directory, failure);
    }
    if (failure) {
        return failure.value();
    }
    const int file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0) {
        return errno;
    }
    ::close(file);
    return 0;
}

void reportFailure(const char* reason) noexcept {
    // Not through a logger: the sink that failed may be the one that would print it.
    std::fprintf(stderr, "a log sink failed: %s\n", reason);
}

}  // namespace

Logger::Logger(std::atomic<LogLevel>& enabled, LogLevel consoleLevel)
    : enabled_(enabled), sinks_(std::make_shared<const Sinks>()) {
    setConsoleLevel(consoleLevel);
}

Logger::~Logger() = default;

void Logger::logMessage(bool asynchronous, const LogMessage& message) {
    if (!isEnabled(message.flag)) {
        return;
    }
    if (auto* delivery = Delivery::current) {
        if (!delivery->nested) {
            delivery->deferred.push_back({*this, asynchronous, internal::packLine(message, true)});
        }
        return;
    }
    submit(asynchronous, message, false);
}

void Logger::flush() {
    static_cast<void>(flush(std::stop_token()));
}

bool Logger::flush(const std::stop_token& stop) {
    return Delivery::current != nullptr || waitUntilDelivered(stop);
}

std::uint64_t Logger::currentThread() noexcept {
    return spdlog::details::os::thread_id();
}

void Logger::submit(bool, const LogMessage& message, bool nested) {
    deliver(message, nested);
}

bool Logger::waitUntilDelivered(const std::stop_token&) {
    return true;  // every line was delivered before its call returned
}

void Logger::deliver(const LogMessage& message, bool nested) {
    Delivery delivery{nested, {}};
    // Released without the lock: a host's sink may log when it is destroyed.
    std::shared_ptr<const Sinks> sinks;
    {
        const std::lock_guard lock(deliveryMutex_);
        {
            const std::lock_guard sinksLock(sinksMutex_);
            sinks = sinks_;
        }
        Delivery::current = &delivery;
        for (const auto& sink : *sinks) {
            if (!wants(sink->level, message.flag) || sink->removed.load(std::memory_order_relaxed)) {
                continue;
            }
            const char* reason = "an unknown exception";
            std::string text;
            try {
                sink->write(message);
                continue;
            } catch (const std::exception& exception) {
                text = exception.what();
                reason = text.c_str();
            } catch (...) {
            }
            if (!std::exchange(sink->failed, true)) {
                reportFailure(reason);
            }
        }
        Delivery::current = nullptr;
    }
    for (const auto& [logger, asynchronous, line] : delivery.deferred) {
        bool isNested = false;
        const auto unpacked = internal::unpackLine(line, isNested);
        logger.submit(asynchronous, unpacked, isNested);
    }
}

LogSinkIdentifier Logger::addSink(LogSink sink, LogLevel level) {
    const std::lock_guard lock(sinksMutex_);
    return addLocked(std::move(sink), level);
}

std::optional<LogSinkIdentifier> Logger::addFileSink(const std::string& path, LogLevel level,
                                                     const LogFileOptions& options, Ref<NSError>* error) {
    constexpr std::size_t mostFiles = 10000;
    const bool sensible = options.maximumSize > 0 && options.keptFiles <= mostFiles && !path.empty();
    int failure = sensible ? tryToOpen(path) : EINVAL;
    if (failure == 0) {
        try {
            spdlog::file_event_handlers handlers;
            handlers.before_open = [](const spdlog::filename_t& name) { tryToOpen(name); };
            handlers.after_open = [](const spdlog::filename_t&, std::FILE* file) {
                ::fcntl(::fileno(file), F_SETFD, FD_CLOEXEC);
            };
            return addSink(textSink(std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
                               path, options.maximumSize, options.keptFiles, false, handlers)),
                           level);
        } catch (const spdlog::spdlog_ex&) {
            failure = errno ? errno : EIO;
        }
    }
    if (error) {
        *error = systemError(failure, path);
    }
    return std::nullopt;
}

void Logger::removeSink(LogSinkIdentifier sink) {
    std::shared_ptr<Sink> removed;
    {
        const std::lock_guard lock(sinksMutex_);
        removed = removeLocked(sink);
    }
    if (removed && !Delivery::current) {
        const std::lock_guard wait(deliveryMutex_);
    }
}

void Logger::setConsoleLevel(LogLevel level) {
    const std::lock_guard lock(sinksMutex_);
    if (console_) {
        removeLocked(*console_);
        console_.reset();
    }
    if (level != LogLevel::Off) {
        console_ = addLocked(textSink(std::make_shared<spdlog::sinks::stderr_sink_mt>()), level);
    } else {
        publishLocked();
    }
}

void Logger::setLevel(LogLevel level) {
    const std::lock_guard lock(sinksMutex_);
    level_ = level;
    publishLocked();
}

LogLevel Logger::level() const {
    const std::lock_guard lock(sinksMutex_);
    return level_;
}

LogSinkIdentifier Logger::addLocked(LogSink sink, LogLevel level) {
    static std::atomic<std::uint64_t> last{0};
    auto added = std::make_shared<Sink>();
    added->identifier = LogSinkIdentifier{++last};
    added->level = level;
    added->write = std::move(sink);
    auto sinks = std::make_shared<Sinks>(*sinks_);
    sinks->push_back(added);
    sinks_ = std::move(sinks);
    publishLocked();
    return added->identifier;
}

std::shared_ptr<Logger::Sink> Logger::removeLocked(LogSinkIdentifier sink) {
    auto sinks = std::make_shared<Sinks>(*sinks_);
    const auto found = std::ranges::find(*sinks, sink, [](const auto& each) { return each->identifier; });
    if (found == sinks->end()) {
        return nullptr;
    }
    auto removed = *found;
    removed->removed.store(true, std::memory_order_relaxed);
    sinks->erase(found);
    sinks_ = std::move(sinks);
    publishLocked();
    return removed;
}

void Logger::publishLocked() {
    std::uint64_t wanted = 0;
    for (const auto& sink : *sinks_) {
        wanted |= static_cast<std::uint64_t>(sink->level);
    }
    enabled_.store(LogLevel{wanted & static_cast<std::uint64_t>(level_)}, std::memory_order_relaxed);
}

void Logger::lockForFork() {
    if (!Delivery::current) {
        deliveryMutex_.lock();
    }
    sinksMutex_.lock();
}

void Logger::unlockAfterFork() {
    sinksMutex_.unlock();
    if (!Delivery::current) {
        deliveryMutex_.unlock();
    }
}

namespace internal {

namespace {

/// The part of a packed line that has a fixed size; the texts follow it in the order of their sizes.
struct PackedFields {
    LogFlag flag;
    LogLevel level;
    std::int64_t context;
    std::chrono::system_clock::time_point time;
    std::uint64_t thread;
    std::size_t fileSize;
    std::size_t functionSize;
    std::size_t tagSize;
    std::uint32_t line;
    bool hasTag;
    bool nested;
};
static_assert(std::is_trivially_copyable_v<PackedFields>);

}  // namespace

std::string packLine(const LogMessage& message, bool nested) {
    PackedFields fields{message.flag,
                        message.level,
                        message.context,
                        message.time,
                        message.thread,
                        message.file.size(),
                        message.function.size(),
                        message.tag.view().size(),
                        message.line,
                        static_cast<bool>(message.tag),
                        nested};
    std::string packed;
    packed.reserve(sizeof(fields) + fields.fileSize + fields.functionSize + fields.tagSize +
                   message.text.size());
    packed.append(reinterpret_cast<const char*>(&fields), sizeof(fields));
    packed.append(message.file).append(message.function).append(message.tag.view()).append(message.text);
    return packed;
}

LogMessage unpackLine(std::string_view packed, bool& nested) {
    PackedFields fields;
    std::memcpy(&fields, packed.data(), sizeof(fields));
    packed.remove_prefix(sizeof(fields));
    const auto take = [&](std::size_t size) {
        const auto text = packed.substr(0, size);
        packed.remove_prefix(size);
        return text;
    };
    nested = fields.nested;
    LogMessage message;
    message.file = take(fields.fileSize);
    message.function = take(fields.functionSize);
    const auto tag = take(fields.tagSize);
    message.tag = fields.hasTag ? Text(tag) : Text();
    message.text = packed;
    message.flag = fields.flag;
    message.level = fields.level;
    message.context = fields.context;
    message.line = fields.line;
    message.time = fields.time;
    message.thread = fields.thread;
    return message;
}

}  // namespace internal

}  // namespace qz
