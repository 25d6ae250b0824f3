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

SQLiteFailure systemError(int number) {
    return {systemFailure, std::generic_category().message(number)};
}

}  // namespace

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
    } catch (const SQLiteFailure& failure) {
        report(failure.code, failure.reason);
        return false;
    }
}

std::optional<NSData> DefaultsStore::read(std::string_view key) {
    std::optional<NSData> value;
    attempt(Access::Read, [&] {
        SQLiteRun run(select_);
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
        SQLiteRun run(selectAll_);
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
            SQLiteRun(replace_).bindText(1, key).bindBytes(2, value->text()).finish();
        } else {
            SQLiteRun(remove_).bindText(1, key).finish();
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
    // Immediate: one that began by reading could not go on to write after another process has.
    SQLiteTransaction transaction(connection_.get());
    struct Mark {
        bool& isInTransaction;
        ~Mark() { isInTransaction = false; }
    };
    const Mark mark{isInTransaction_};
    isInTransaction_ = true;
    isDoomed_ = false;
    block();
    if (!isDoomed_) {
        transaction.commit();
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
        throw SQLiteFailure{systemFailure, "there is no home directory"};
    }
    if (access == Access::Write) {
        if (const int number = makePrivateDirectories(stringByDeletingLastPathComponent(path_))) {
            throw systemError(number);
        }
        // SQLite gives its other files the mode of this one.
        const FileDescriptor created(::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!created && errno != EEXIST) {
            throw systemError(errno);
        }
        return true;
    }
    struct stat status {};
    if (::stat(path_.c_str(), &status) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        throw systemError(errno);
    }
    return false;
}

void DefaultsStore::open() {
    // Of two processes that prepare a new file at once SQLite would refuse one.
    const FileDescriptor directory(
        ::open(stringByDeletingLastPathComponent(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    while (directory && ::flock(*directory, LOCK_EX) != 0 && errno == EINTR) {
    }
    connection_ = openSQLite(path_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, patience);
    try {
        auto* const opened = connection_.get();
        execute(opened, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
        execute(opened,
                "CREATE TABLE IF NOT EXISTS defaults (key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL) "
                "WITHOUT ROWID");
        select_ = prepare(opened, "SELECT value FROM defaults WHERE key = ?");
        selectAll_ = prepare(opened, "SELECT key, value FROM defaults ORDER BY key");
        replace_ = prepare(opened, "REPLACE INTO defaults (key, value) VALUES (?, ?)");
        remove_ = prepare(opened, "DELETE FROM defaults WHERE key = ?");
    } catch (const SQLiteFailure&) {
        for (auto* statement : {&select_, &selectAll_, &replace_, &remove_}) {
            statement->reset();
        }
        connection_.reset();
        throw;
    }
    opener_ = ::getpid();
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
