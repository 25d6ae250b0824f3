#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>

#include "Platform/Dispatch/NSTimer.h"
#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSProgress.h"

namespace qz::tool {

namespace {

std::size_t columnsOfTerminal() {
    winsize size{};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

bool hasColors(int descriptor) {
    const char* kind = std::getenv("TERM");
    const char* refusal = std::getenv("NO_COLOR");
    return ::isatty(descriptor) == 1 && kind != nullptr && std::string_view(kind) != "dumb" &&
           (refusal == nullptr || *refusal == '\0');
}

std::string firstOf(const std::string& line, std::size_t count) {
    return count < 2 ? line : line + " (and " + std::to_string(count - 1) + " more)";
}

std::string timeText(double seconds) {
    const auto whole = static_cast<long>(std::ceil(std::max(0.0, seconds)));
    const auto hours = whole / 3600;
    const auto minutes = whole / 60 % 60;
    return hours > 0 ? stringWithFormat("%ld:%02ld:%02ld", hours, minutes, whole % 60)
                     : stringWithFormat("%ld:%02ld", minutes, whole % 60);
}

std::string progressBar(std::string_view name, const NSProgress& progress, std::size_t columns,
                        bool hasColors) {
    const auto part = std::clamp(progress.fractionCompleted(), 0.0, 1.0);
    auto head = std::string(name) + ' ';
    auto tail = stringWithFormat(" %3.0f%%  %@", 100 * part, progress.localizedAdditionalDescription());
    const auto rate = unbox<double>(progress.userInfo()->objectForKey(NSProgressThroughputKey)).value_or(0);
    if (rate > 0 && progress.totalUnitCount() > 0) {
        const auto missing = progress.totalUnitCount() - progress.completedUnitCount();
        tail += "  " + timeText(static_cast<double>(missing) / rate);
    }
    constexpr std::size_t shortestBar = 10;
    constexpr std::size_t longestBar = 40;
    if (head.size() + tail.size() + shortestBar + 2 > columns) {
        head.clear();
    }
    const auto taken = head.size() + tail.size() + 3;
    if (taken + shortestBar > columns) {
        return tail.substr(1, columns > 1 ? columns - 1 : 0);
    }
    const auto width = std::min(longestBar, columns - taken);
    const auto filled = static_cast<std::size_t>(part * static_cast<double>(width));
    const auto bar = std::string(filled, '=') + (filled < width ? ">" : "");
    return head + '[' + (hasColors ? "\033[32m" : "") + bar + (hasColors ? "\033[0m" : "") +
           std::string(width - std::min(width, bar.size()), ' ') + ']' + tail;
}

ProgressLine::ProgressLine(std::string name, std::function<Ref<NSProgress>()> progress)
    : name_(std::move(name)),
      progress_(std::move(progress)),
      isTerminal_(::isatty(STDERR_FILENO) == 1),
      hasColors_(hasColors(STDERR_FILENO)) {
    constexpr double secondsBetweenFrames = 0.1;
    constexpr double secondsBetweenLines = 10;
    timer_ = NSTimer::scheduledTimerWithTimeIntervalBlock(
        isTerminal_ ? secondsBetweenFrames : secondsBetweenLines, true, [this](const auto&) { show(); });
}

ProgressLine::~ProgressLine() {
    timer_->invalidate();
    if (isTerminal_ && isShown_) {
        std::cerr << "\r\033[K" << std::flush;
    }
}

void ProgressLine::show() {
    const auto progress = progress_();
    if (!progress) {
        return;
    }
    isShown_ = true;
    if (isTerminal_) {
        std::cerr << '\r' << progressBar(name_, *progress, columnsOfTerminal(), hasColors_) << "\033[K"
                  << std::flush;
    } else {
        std::cerr << stringWithFormat("%@: %.0f%%, %@\n", name_, 100 * progress->fractionCompleted(),
                                      progress->localizedAdditionalDescription())
                  << std::flush;
    }
}

}  // namespace qz::tool
