// How the library writes a log line, and how applications may:
//
//     logWarning("Unable to create file %@", path);
//
//     constexpr Log downloadLog{"Download"};            // lines of a facility carry its tag
//     downloadLog.debug("retry url index: %ld", index);
//     downloadLog.write(resumable ? LogFlag::Debug : LogFlag::Verbose, "headers: %@", headers);
//
// Every line goes to two loggers, the asynchronous DDLog (DDLog.h) and the synchronous QZLog (QZLog.h), with
// identical arguments: all levels set, context 0, and the file, function and line of the statement. DDLog
// gets it in the background, except errors, for which the statement waits until the sinks of both have them;
// QZLog always has it when the statement returns.
//
// Formats are those of stringWithFormat (Format.h): a format that does not fit its arguments does no harm.
//
// A line that neither logger wants costs two loads; its arguments are evaluated but not formatted. One that
// is wanted is formatted once for both. A log statement never throws: where a description raises, the line
// says so. All of it may be called from any thread; see Logger.h for statements inside sinks.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <span>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Runtime/Text.h"
#include "Siblings/QZLog.h"

namespace qz {

/// The format of a line, and where in the source its statement stands. Made implicitly from the format; the
/// default arguments are what std::source_location is made of, which clang 14 does not offer.
struct LogFormat {
    template <class T>
    requires std::convertible_to<const T&, std::string_view>
    constexpr LogFormat(const T& format, const char* sourceFile = __builtin_FILE(),
                        const char* caller = __builtin_FUNCTION(),
                        std::uint32_t sourceLine = __builtin_LINE()) noexcept
        : text(format), file(sourceFile), function(caller), line(sourceLine) {}

    std::string_view text;
    const char* file;
    const char* function;
    std::uint32_t line;
};

namespace internal {
QZ_EXPORT void writeLine(LogFlag flag, Text tag, const LogFormat& format,
                         std::span<const FormatArgument> arguments) noexcept;
}  // namespace internal

/// Lines with a tag, or without one.
class Log {
public:
    /// Without a tag.
    constexpr Log() noexcept = default;
    /// With a tag, which must live as long as the object: usually a literal.
    constexpr explicit Log(const char* tag) noexcept : tag_(tag) {}

    template <class... A>
    void error(const LogFormat& format, const A&... arguments) const noexcept {
        write(LogFlag::Error, format, arguments...);
    }
    template <class... A>
    void warning(const LogFormat& format, const A&... arguments) const noexcept {
        write(LogFlag::Warning, format, arguments...);
    }
    template <class... A>
    void info(const LogFormat& format, const A&... arguments) const noexcept {
        write(LogFlag::Info, format, arguments...);
    }
    template <class... A>
    void debug(const LogFormat& format, const A&... arguments) const noexcept {
        write(LogFlag::Debug, format, arguments...);
    }
    template <class... A>
    void verbose(const LogFormat& format, const A&... arguments) const noexcept {
        write(LogFlag::Verbose, format, arguments...);
    }
    /// With a severity that is only known at run time.
    template <class... A>
    void write(LogFlag flag, const LogFormat& format, const A&... arguments) const noexcept {
        if (isEnabled(flag)) [[unlikely]] {
            const std::array<FormatArgument, sizeof...(A)> captured{FormatArgument(arguments)...};
            internal::writeLine(flag, tag_, format, captured);
        }
    }

    /// Whether a line of this severity would go anywhere: ask before preparing costly arguments.
    [[nodiscard]] static bool isEnabled(LogFlag flag) noexcept {
        return DDLog::isSharedInstanceEnabled(flag) || QZLog::isSharedLogEnabled(flag);
    }

private:
    Text tag_;
};

/// Lines without a tag.
template <class... A>
void logError(const LogFormat& format, const A&... arguments) noexcept {
    Log().error(format, arguments...);
}
template <class... A>
void logWarning(const LogFormat& format, const A&... arguments) noexcept {
    Log().warning(format, arguments...);
}
template <class... A>
void logInfo(const LogFormat& format, const A&... arguments) noexcept {
    Log().info(format, arguments...);
}
template <class... A>
void logDebug(const LogFormat& format, const A&... arguments) noexcept {
    Log().debug(format, arguments...);
}
template <class... A>
void logVerbose(const LogFormat& format, const A&... arguments) noexcept {
    Log().verbose(format, arguments...);
}

}  // namespace qz
