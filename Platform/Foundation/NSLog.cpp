#include "Platform/Foundation/NSLog.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <span>
#include <string>

#include "Platform/Foundation/internal/FileDescriptor.h"

namespace qz::internal {

void writeToConsole(std::string_view line) noexcept {
    using std::chrono::system_clock;
    const auto now = system_clock::now();
    const auto seconds = system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm time{};
    ::localtime_r(&seconds, &time);
    std::array<char, 32> stamp{};
    std::strftime(stamp.data(), stamp.size(), "%Y-%m-%d %H:%M:%S", &time);
    const auto text = stringWithFormat("%s.%03d %s[%d] %@\n", stamp.data(), milliseconds,
                                       ::program_invocation_short_name, ::getpid(), line);
    // In one call, so that lines stay whole. There is nobody to tell that nobody can be told.
    static_cast<void>(writeAll(STDERR_FILENO, std::as_bytes(std::span(text))));
}

}  // namespace qz::internal
