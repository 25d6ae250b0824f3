// What the commands of qz have in common.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>

#include "Platform/Foundation/NSData.h"

namespace CLI {
class App;
}

namespace qz::tool {

// Exit statuses.
inline constexpr int success = 0;
inline constexpr int failure = 1;
inline constexpr int wrongUsage = 2;
inline constexpr int interrupted = 130;

/// Ends a command with a status and one line on standard error.
class Failure : public std::runtime_error {
public:
    explicit Failure(const std::string& line, int status = failure)
        : std::runtime_error(line), status_(status) {}
    [[nodiscard]] int status() const noexcept { return status_; }

private:
    int status_;
};

/// The bytes of a file, or of standard input for "-".
[[nodiscard]] NSData contentOf(const std::string& file);

/// The same a piece at a time, for files that do not fit in memory.
void readPieces(const std::string& file, const std::function<void(std::span<const std::byte>)>& take);

/// The bytes that hexadecimal digits stand for; `option` is where they were given.
[[nodiscard]] NSData bytesOfHex(const std::string& digits, const std::string& option);

// Each adds a command to the program. A command that was asked for runs when the command line was read.
void addCat(CLI::App& program);
void addCiphers(CLI::App& program);
void addDate(CLI::App& program);
void addDevice(CLI::App& program);
void addDigest(CLI::App& program);
void addFetch(CLI::App& program);
void addInflate(CLI::App& program);
void addLocalize(CLI::App& program);
void addMarkup(CLI::App& program);
void addPlist(CLI::App& program);
void addReachability(CLI::App& program);
void addSqlite(CLI::App& program);
void addTree(CLI::App& program);
void addUnzip(CLI::App& program);
void addXML(CLI::App& program);
void addZip(CLI::App& program);

}  // namespace qz::tool
