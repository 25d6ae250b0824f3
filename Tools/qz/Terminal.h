// What commands show to people.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Platform/Runtime/Object.h"

namespace qz {
class NSProgress;
class NSTimer;
}  // namespace qz

namespace qz::tool {

/// Whether texts on this descriptor may be coloured: it is a terminal that knows how, and NO_COLOR
/// (no-color.org) is not set.
[[nodiscard]] bool hasColors(int descriptor);

/// Minutes and seconds, with hours where there are some: 0:07, 12:30, 1:02:03.
[[nodiscard]] std::string timeText(double seconds);

/// The bar of a transfer, as wide as there is room for: name, part, amount, rate and time left.
[[nodiscard]] std::string progressBar(std::string_view name, const NSProgress& progress, std::size_t columns,
                                      bool hasColors);

/// The first of some lines, and how many there are in all.
[[nodiscard]] std::string firstOf(const std::string& line, std::size_t count);

/// Progress on standard error, while the main thread runs its loop: one line that is written over and over on
/// a terminal; elsewhere, so that a log shows that something happens, a line every ten seconds.
class ProgressLine {
public:
    /// Shows what `progress` answers, unless that is null.
    ProgressLine(std::string name, std::function<Ref<NSProgress>()> progress);
    /// Takes the line away from the terminal.
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

private:
    void show();

    const std::string name_;
    const std::function<Ref<NSProgress>()> progress_;
    const bool isTerminal_;
    const bool hasColors_;
    bool isShown_ = false;
    Ref<NSTimer> timer_;
};

}  // namespace qz::tool
