// A bound on matching patterns: the C library's matcher takes time without end for some.
#pragma once

#include <unistd.h>

#include <csignal>
#include <string_view>

#include "Command.h"

namespace qz::tool {

/// Ends the program with a line when it lives for too long. One at a time.
class PatternTime {
public:
    PatternTime() {
        // The matcher cannot be interrupted, and the handler may do little else.
        std::signal(SIGALRM, [](int) {
            constexpr std::string_view line = "qz: the pattern takes too long to match\n";
            (void)!::write(STDERR_FILENO, line.data(), line.size());
            ::_exit(failure);
        });
        ::alarm(seconds);
    }
    PatternTime(const PatternTime&) = delete;
    PatternTime& operator=(const PatternTime&) = delete;
    ~PatternTime() { ::alarm(0); }

private:
    static constexpr unsigned seconds = 5;
};

}  // namespace qz::tool
