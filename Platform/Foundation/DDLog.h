// DDLog: the asynchronous levelled logger of the process. Callers hand a line to a bounded queue and go on;
// one background thread hands it to the sinks, in order. At first warnings and errors go to standard error.
//
//     DDLog::sharedInstance()->addFileSink("reader.log");
//     DDLog::sharedInstance()->setConsoleLevel(LogLevel::Debug);
//
// A caller that is faster than the sinks waits while the queue is full: no line is lost. A synchronous line
// returns when every sink has it and all lines before it. The thread is started by the first asynchronous
// line; when the process exits it delivers what is pending and ends, and later lines are delivered on the
// thread that logs them. So they are in a forked child, which does not inherit the thread; what was pending
// at the fork is delivered by the parent.
#pragma once

#include <atomic>
#include <memory>

#include "Platform/Export.h"
#include "Platform/Foundation/Logger.h"

namespace qz {

class QZ_EXPORT DDLog : public Logger {
    QZ_OBJECT(DDLog, Logger)
public:
    /// How many lines may wait for the background thread.
    static constexpr std::size_t queueCapacity = 2048;

    /// The one logger of this kind, made when it is asked for first. Also a class message.
    [[nodiscard]] static const Ref<DDLog>& sharedInstance();

    /// What sharedInstance()->isEnabled(flag) would answer, without making it.
    [[nodiscard]] static bool isSharedInstanceEnabled(LogFlag flag) noexcept {
        return wants(sharedEnabled_.load(std::memory_order_relaxed), flag);
    }

protected:
    DDLog(std::atomic<LogLevel>& enabled, LogLevel consoleLevel);
    ~DDLog() override;

    void submit(bool asynchronous, const LogMessage& message, bool nested) override;
    [[nodiscard]] bool waitUntilDelivered(const std::stop_token& stop) override;

private:
    struct Background;

    static constexpr LogLevel firstConsoleLevel = LogLevel::Warning;
    static std::atomic<LogLevel> sharedEnabled_;

    std::unique_ptr<Background> background_;
};

}  // namespace qz
