// The keychain in an SQLite file. It is opened for each operation: there are few, and nothing is held that a
// fork or another process could trip over.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/PathUtilities.h"
#include "Platform/Foundation/internal/FileDescriptor.h"
#include "Platform/Foundation/internal/SQLite.h"
#include "Platform/Security/internal/KeychainService.h"

namespace qz::internal {

namespace {

/// Milliseconds that one process waits for others.
constexpr int patience = 5000;

constexpr mode_t accessOfOthers = S_IRWXG | S_IRWXO;

SQLiteFailure systemError(int number) {
    return {SQLITE_CANTOPEN, std::generic_category().message(number)};
}

/// Takes from a file or directory what others may do with it: whether it is there. By its path, for closing
/// any descriptor of a file would drop the locks that SQLite has on it in this process.
bool makePrivate(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return errno == ENOENT ? false : throw systemError(errno);
    }
    if ((status.st_mode & accessOfOthers) != 0 &&
        ::chmod(path.c_str(), status.st_mode & 07777 & ~accessOfOthers) != 0) {
        throw systemError(errno);
    }
    return true;
}

std::vector<KeychainItem> matching(sqlite3* connection, const KeychainQuery& query) {
    std::string sql = "SELECT account, service, accessible, synchronizable, value FROM items WHERE 1";
    sql += query.account ? " AND account = ?1" : "";
    sql += query.service ? " AND service = ?2" : "";
    const auto statement = prepare(connection, (sql + " ORDER BY service, account").c_str());
    SQLiteRun run(statement);
    if (query.account) {
        run.bindText(1, *query.account);
    }
    if (query.service) {
        run.bindText(2, *query.service);
    }
    std::vector<KeychainItem> items;
    while (run.step()) {
        items.push_back({std::string(run.column(0)), std::string(run.column(1)), std::string(run.column(2)),
                         run.column(3) == "1", NSData::dataWithText(run.column(4))});
    }
    return items;
}

void write(sqlite3* connection, const KeychainItem& item) {
    const auto statement = prepare(
        connection,
        "REPLACE INTO items (account, service, accessible, synchronizable, value) VALUES (?, ?, ?, ?, ?)");
    SQLiteRun(statement)
        .bindText(1, item.account)
        .bindText(2, item.service)
        .bindText(3, item.accessible)
        .bindText(4, item.isSynchronizable ? "1" : "0")
        .bindBytes(5, item.value.text())
        .finish();
}

class FileKeychain final : public KeychainService {
public:
    explicit FileKeychain(std::string path) : path_(std::move(path)) {}

    OSStatus find(const KeychainQuery& query, std::vector<KeychainItem>& items) override {
        items.clear();
        return attempt(Making::No, [&](sqlite3* connection) {
            items = matching(connection, query);
            return items.empty() ? errSecItemNotFound : errSecSuccess;
        });
    }

    OSStatus add(const KeychainItem& item) override {
        return attempt(Making::Yes, [&](sqlite3* connection) {
            if (!matching(connection, {item.account, item.service}).empty()) {
                return errSecDuplicateItem;
            }
            write(connection, item);
            return errSecSuccess;
        });
    }

    OSStatus update(const KeychainQuery& query, const KeychainChange& change) override {
        return attempt(Making::No, [&](sqlite3* connection) {
            auto items = matching(connection, query);
            for (auto& item : items) {
                change.applyTo(item);
                write(connection, item);
            }
            return items.empty() ? errSecItemNotFound : errSecSuccess;
        });
    }

    OSStatus remove(const KeychainQuery& query) override {
        return attempt(Making::No, [&](sqlite3* connection) {
            const auto items = matching(connection, query);
            const auto statement = prepare(connection, "DELETE FROM items WHERE service = ? AND account = ?");
            for (const auto& item : items) {
                SQLiteRun(statement).bindText(1, item.service).bindText(2, item.account).finish();
            }
            return items.empty() ? errSecItemNotFound : errSecSuccess;
        });
    }

private:
    enum class Making { No, Yes };

    /// Runs an operation as one step for everybody.
    template <class F>
    OSStatus attempt(Making making, F&& operation) const {
        try {
            if (!prepareFile(making)) {
                return errSecItemNotFound;
            }
            const auto connection = openSQLite(path_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, patience);
            SQLiteTransaction transaction(connection.get());
            execute(connection.get(),
                    "CREATE TABLE IF NOT EXISTS items (service TEXT NOT NULL, account TEXT NOT NULL, "
                    "accessible TEXT NOT NULL, synchronizable TEXT NOT NULL, value BLOB NOT NULL, "
                    "PRIMARY KEY (service, account)) WITHOUT ROWID");
            const OSStatus status = operation(connection.get());
            if (status == errSecSuccess) {
                transaction.commit();
            }
            return status;
        } catch (const SQLiteFailure& failure) {
            DDLog::sharedInstance()->log(true, LogLevel::All, LogFlag::Error, 0, __FILE__, __func__, __LINE__,
                                         nullptr, "The keychain in \"%@\" is not available: %@", path_,
                                         failure.reason);
            return errSecNotAvailable;
        }
    }

    /// Whether there is a file, for the user alone; makes it if that is wanted.
    [[nodiscard]] bool prepareFile(Making making) const {
        if (path_.empty()) {
            throw SQLiteFailure{SQLITE_CANTOPEN, "there is no home directory"};
        }
        const auto directory = stringByDeletingLastPathComponent(path_);
        if (making == Making::Yes) {
            if (const int number = makePrivateDirectories(directory)) {
                throw systemError(number);
            }
        }
        if (!makePrivate(directory)) {
            return false;
        }
        if (makePrivate(path_)) {
            return true;
        }
        if (making == Making::No) {
            return false;
        }
        // SQLite gives its other files the mode of this one. The file is new: nobody has locks on it.
        const FileDescriptor created(::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!created && errno != EEXIST) {
            throw systemError(errno);
        }
        return true;
    }

    const std::string path_;
};

}  // namespace

std::unique_ptr<KeychainService> makeFileKeychain(std::string path) {
    return std::make_unique<FileKeychain>(std::move(path));
}

}  // namespace qz::internal
