#include "Platform/Foundation/internal/DefaultsStore.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/internal/FileDescriptor.h"

namespace qz::internal {

namespace {

// Beside SQLite's primary result codes, which are below 32 or 100 and above.
constexpr int systemFailure = 40;
constexpr int forkFailure = 41;

}  // namespace

/// Why an operation of the store failed; it does not leave this file.
struct DefaultsStore::Failure {
    int code;
    std::string reason;

    [[nodiscard]] static Failure of(sqlite3* connection) {
        return {sqlite3_errcode(connection), sqlite3_errmsg(connection)};
    }
    [[nodiscard]] static Failure ofSystem(int number) {
        return {systemFailure, std::generic_category().message(number)};
    }
};

/// One use of a prepared statement, which is free for the next afterwards.
class DefaultsStore::Run {
public:
    explicit Run(const Statement& statement) noexcept : statement_(statement.get()) {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }

    // What is bound has to live as long as the run.
    Run& bindText(int index, std::string_view text) {
        return check(
            sqlite3_bind_text64(statement_, index, addressOf(text), text.size(), SQLITE_STATIC, SQLITE_UTF8));
    }
    Run& bindBytes(int index, std::string_view bytes) {
        return check(sqlite3_bind_blob64(statement_, index, addressOf(bytes), bytes.size(), SQLITE_STATIC));
    }
    /// Whether there is another row.
    [[nodiscard]] bool step() {
        const int result = sqlite3_step(statement_);
        if (result != SQLITE_ROW && result != SQLITE_DONE) {
            throw Failure::of(sqlite3_db_handle(statement_));
        }
        return result == SQLITE_ROW;
    }
    void finish() {
        while (step()) {
        }
    }
    [[nodiscard]] std::string_view column(int index) const {
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, index));
        return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, index))};
    }

private:
    /// No address would bind null, and an empty view may have none.
    [[nodiscard]] static const char* addressOf(std::string_view view) noexcept {
        return view.empty() ? "" : view.data();
    }
    Run& check(int result) {
        if (result != SQLITE_OK) {
            throw Failure::of(sqlite3_db_handle(statement_));
        }
        return *this;
    }

    sqlite3_stmt* statement_;
};

void DefaultsStore::Close::operator()(sqlite3* connection) const noexcept {
    sqlite3_close(connection);
}

void DefaultsStore::Finalize::operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_finalize(statement);
}

DefaultsStore::~DefaultsStore() {
    if (connection_ && opener_ != ::getpid()) {
        // Not even closing is safe in a forked child: it would touch files that the parent is using.
        for (auto* statement : {&select_, &selectAll_, &replace_, &remove_}) {
            (void)statement->release();
        }
        (void)connection_.release();
    }
}

/// Runs an operation of the store; false when it failed or there is nothing to read.
template <class F>
bool DefaultsStore::attempt(Access access, F&& operation) {
    if (const auto opener = opener_.load(); opener != 0 && opener != ::getpid()) {
        report(forkFailure, "it was opened before this process was forked");
        return false;
    }
    const std::lock_guard lock(mutex_);
    try {
        return connect(access) && operation();
    } catch (const Failure& failure) {
        report(failure.code, failure.reason);
        return false;
    }
}

std::optional<NSData> DefaultsStore::read(std::string_view key) {
    std::optional<NSData> value;
    attempt(Access::Read, [&] {
        Run run(select_);
        if (run.bindText(1, key).step()) {
            value = NSData::dataWithText(run.column(0));
        }
        return true;
    });
    return value;
}

DefaultsStore::Entries DefaultsStore::readAll() {
    Entries entries;
    attempt(Access::Read, [&] {
        Run run(selectAll_);
        while (run.step()) {
            entries.emplace_back(run.column(0), NSData::dataWithText(run.column(1)));
        }
        return true;
    });
    return entries;
}

bool DefaultsStore::write(std::string_view key, const std::optional<NSData>& value) {
    return performTransaction([&] {
        if (value) {
            Run(replace_).bindText(1, key).bindBytes(2, value->text()).finish();
        } else {
            Run(remove_).bindText(1, key).finish();
        }
    });
}

bool DefaultsStore::performTransaction(const std::function<void()>& block) {
    return attempt(Access::Write, [&] {
        if (!isInTransaction_) {
            runOutermost(block);
        } else if (!isDoomed_) {  // an error may have ended the transaction: writes would stand alone
            try {
                block();
            } catch (...) {
                isDoomed_ = true;
                throw;
            }
        }
        return !isDoomed_;
    });
}

void DefaultsStore::runOutermost(const std::function<void()>& block) {
    struct Transaction {
        DefaultsStore& store;
        ~Transaction() {
            store.isInTransaction_ = false;
            if (sqlite3_get_autocommit(store.connection_.get()) == 0) {
                sqlite3_exec(store.connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
            }
        }
    };
    // Immediate: one that began by reading could not go on to write after another process has.
    execute("BEGIN IMMEDIATE");
    const Transaction transaction{*this};
    isInTransaction_ = true;
    isDoomed_ = false;
    block();
    if (!isDoomed_) {
        execute("COMMIT");
    }
}

/// Whether there is a connection now. Reading what nobody has written leaves no file.
bool DefaultsStore::connect(Access access) {
    if (!connection_ && fileExists(access)) {
        open();
    }
    return connection_ != nullptr;
}

bool DefaultsStore::fileExists(Access access) const {
    if (path_.empty()) {
        throw Failure{systemFailure, "there is no home directory"};
    }
    if (access == Access::Write) {
        if (const int number = makePrivateDirectories(stringByDeletingLastPathComponent(path_))) {
            throw Failure::ofSystem(number);
        }
        // SQLite gives its other files the mode of this one.
        const FileDescriptor created(::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!created && errno != EEXIST) {
            throw Failure::ofSystem(errno);
        }
        return true;
    }
    struct stat status {};
    if (::stat(path_.c_str(), &status) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        throw Failure::ofSystem(errno);
    }
    return false;
}

void DefaultsStore::open() {
    // Of two processes that prepare a new file at once SQLite would refuse one.
    const FileDescriptor directory(
        ::open(stringByDeletingLastPathComponent(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    while (directory && ::flock(*directory, LOCK_EX) != 0 && errno == EINTR) {
    }
    sqlite3* opened = nullptr;
    const int result =
        sqlite3_open_v2(path_.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    connection_.reset(opened);
    try {
        if (result != SQLITE_OK) {
            throw Failure{result & 0xFF, sqlite3_errstr(result)};
        }
        sqlite3_busy_timeout(opened, patience);
        execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
        execute(
            "CREATE TABLE IF NOT EXISTS defaults (key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL) "
            "WITHOUT ROWID");
        select_ = prepare("SELECT value FROM defaults WHERE key = ?");
        selectAll_ = prepare("SELECT key, value FROM defaults ORDER BY key");
        replace_ = prepare("REPLACE INTO defaults (key, value) VALUES (?, ?)");
        remove_ = prepare("DELETE FROM defaults WHERE key = ?");
    } catch (const Failure&) {
        for (auto* statement : {&select_, &selectAll_, &replace_, &remove_}) {
            statement->reset();
        }
        connection_.reset();
        throw;
    }
    opener_ = ::getpid();
}

DefaultsStore::Statement DefaultsStore::prepare(const char* sql) const {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(connection_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK) {
        throw Failure::of(connection_.get());
    }
    return Statement(statement);
}

void DefaultsStore::execute(const char* sql) const {
    if (sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw Failure::of(connection_.get());
    }
}

void DefaultsStore::report(int code, std::string_view reason) {
    const auto bit = std::uint64_t{1} << (static_cast<unsigned>(code) % 64);
    if ((reported_.fetch_or(bit) & bit) == 0) {
        // In the background, because a sink may itself ask for a default, which this thread may be keeping.
        DDLog::sharedInstance()->log(true, LogLevel::All, LogFlag::Error, 0, __FILE__, __func__, __LINE__,
                                     nullptr, "Defaults in \"%@\" are not available: %@", path_, reason);
    }
}

}  // namespace qz::internal
