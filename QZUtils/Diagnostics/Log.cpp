#include "QZUtils/Diagnostics/Log.h"

#include <chrono>
#include <exception>
#include <string>

namespace qz::internal {

namespace {

std::string formatted(const LogFormat& format, std::span<const FormatArgument> arguments) {
    try {
        return stringWithFormatArguments(format.text, arguments);
    } catch (const std::exception& exception) {
        return stringWithFormat("%@ (cannot be formatted: %s)", format.text, exception.what());
    } catch (...) {
        return stringWithFormat("%@ (cannot be formatted)", format.text);
    }
}

}  // namespace

void writeLine(LogFlag flag, Text tag, const LogFormat& format,
               std::span<const FormatArgument> arguments) noexcept {
    try {
        const auto text = formatted(format, arguments);
        const LogMessage message{.text = text,
                                 .flag = flag,
                                 .level = LogLevel::All,
                                 .context = 0,
                                 .file = format.file,
                                 .function = format.function,
                                 .line = format.line,
                                 .tag = tag,
                                 .time = std::chrono::system_clock::now(),
                                 .thread = Logger::currentThread()};
        const bool asynchronous = flag != LogFlag::Error;
        DDLog::sharedInstance()->logMessage(asynchronous, message);
        QZLog::sharedLog()->ddSyncLog()->logMessage(false, message);
    } catch (...) {
        // Without memory for the line there is none: a diagnostic must not end the program.
    }
}

}  // namespace qz::internal
