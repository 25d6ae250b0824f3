// A file of values by key that several processes read and write at once: SQLite in WAL mode.
//
// One connection a store, opened by the first operation that finds or needs the file. A read sees what any
// process has committed before it. Writers take turns, waiting up to `patience`; what one process commits is
// there after it crashes, and the file is whole after a power cut, which may take the last commits.
//
// Whatever fails is answered with nothing, and logged once for each kind of failure. Safe from any thread.
//
// A forked child has no use of its parent's connection: SQLite's locks do not pass to it. There reads find
// nothing and writes are dropped; a store that the parent had not opened yet works.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/internal/SQLite.h"

namespace qz::internal {

class DefaultsStore {
public:
    using Entries = std::vector<std::pair<std::string, NSData>>;

    /// Milliseconds that a writer waits for others.
    static constexpr int patience = 10000;

    /// The empty path is one at which nothing can be kept.
    explicit DefaultsStore(std::string path) : path_(std::move(path)) {}
    DefaultsStore(const DefaultsStore&) = delete;
    DefaultsStore& operator=(const DefaultsStore&) = delete;
    ~DefaultsStore();

    [[nodiscard]] std::optional<NSData> read(std::string_view key);
    /// By key, in the order of their bytes.
    [[nodiscard]] Entries readAll();
    /// Nullopt removes.
    bool write(std::string_view key, const std::optional<NSData>& value);

    /// Runs a block whose reads and writes on this thread are one step for everybody else: false, with
    /// nothing changed, when the store cannot be written, in which case the block may not have run. What the
    /// block throws takes its writes back. One inside another is a part of it, and takes the whole back when
    /// it fails.
    bool performTransaction(const std::function<void()>& block);

private:
    enum class Access { Read, Write };

    template <class F>
    bool attempt(Access access, F&& operation);
    [[nodiscard]] bool connect(Access access);
    void open();
    [[nodiscard]] bool fileExists(Access access) const;
    void runOutermost(const std::function<void()>& block);
    void report(int code, std::string_view reason);

    const std::string path_;
    std::atomic<std::uint64_t> reported_ = 0;  // a bit for each kind of failure
    std::atomic<pid_t> opener_ = 0;            // the process that has the connection
    std::recursive_mutex mutex_;               // guards the rest, during a whole transaction
    SQLiteConnection connection_;
    SQLiteStatement select_;
    SQLiteStatement selectAll_;
    SQLiteStatement replace_;
    SQLiteStatement remove_;
    bool isInTransaction_ = false;
    bool isDoomed_ = false;  // the transaction will be taken back
};

}  // namespace qz::internal
