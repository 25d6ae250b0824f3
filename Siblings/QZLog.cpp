#include "Siblings/QZLog.h"

#include "Platform/Runtime/ClassBuilder.h"

namespace qz {

QZ_DEFINE_CLASS(QZLog, cls) {
    cls.classMethod("sharedLog", [](Class&) { return QZLog::sharedLog(); });
    cls.method("ddSyncLog", &QZLog::ddSyncLog);
}

constinit std::atomic<LogLevel> QZLog::sharedEnabled_{LogLevel::Off};

const Ref<QZLog>& QZLog::sharedLog() {
    // Never destroyed: threads may log until the process is gone.
    static const auto& instance = *new Ref<QZLog>(make<QZLog>(make<Logger>(sharedEnabled_, LogLevel::Off)));
    return instance;
}

}  // namespace qz
