// QZLog: the synchronous logger beside DDLog. A line that it takes is in every one of its sinks when the call
// returns, whatever happens to the process afterwards. It has no sinks at first, because DDLog prints
// already:
//
//     QZLog::sharedLog()->ddSyncLog()->addFileSink("trace.log", LogLevel::Verbose);
#pragma once

#include <atomic>

#include "Platform/Export.h"
#include "Platform/Foundation/Logger.h"

namespace qz {

class QZ_EXPORT QZLog : public NSObject {
    QZ_OBJECT(QZLog, NSObject)
public:
    /// The one object of this class, made when it is asked for first. Also a class message.
    [[nodiscard]] static const Ref<QZLog>& sharedLog();

    /// The logger; it answers the same calls and messages as DDLog's, and never works in the background.
    [[nodiscard]] const Ref<Logger>& ddSyncLog() const noexcept { return ddSyncLog_; }

    /// What sharedLog()->ddSyncLog()->isEnabled(flag) would answer, without making them.
    [[nodiscard]] static bool isSharedLogEnabled(LogFlag flag) noexcept {
        return wants(sharedEnabled_.load(std::memory_order_relaxed), flag);
    }

protected:
    explicit QZLog(Ref<Logger> ddSyncLog) : ddSyncLog_(std::move(ddSyncLog)) {}

private:
    static std::atomic<LogLevel> sharedEnabled_;

    Ref<Logger> ddSyncLog_;
};

}  // namespace qz
