// The keychain in an SQLite file. It is opened for each operation: there are few, and nothing is held that a fork or
// another process could trip over.
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

/// Takes from a file or directory what others may do with it; throws what the system says.
void makePrivate(const FileDescriptor& file) {
    struct stat status {};
    if (!file || ::fstat(*file, &status) != 0 ||
        ((status.st_mode & accessOfOthers) != 0 &&
         ::fchmod(*file, status.st_mode & 07777 & ~accessOfOthers) != 0)) {
        throw SQLiteFailure{SQLITE_CANTOPEN, std::generic_category().message(errno)};
    }
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
            const auto statement =
                prepare(connection, "DELETE FROM items WHERE service = ? AND account = ?");
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
            const auto connection =
                openSQLite(path_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, patience);
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
        const auto directory = stringByDeletingLastPathComponent(path_);
        if (making == Making::Yes) {
            if (const int number = makePrivateDirectories(directory)) {
                throw SQLiteFailure{SQLITE_CANTOPEN, std::generic_category().message(number)};
            }
        }
        // SQLite gives its other files the mode of this one. Closing any descriptor of a file drops the locks that
        // SQLite has on it in this process, hence none with another thread's operation on the way.
        struct stat status {};
        if (::stat(path_.c_str(), &status) != 0) {
            if (errno != ENOENT || making == Making::No) {
                return errno == ENOENT ? false : throw SQLiteFailure{SQLITE_CANTOPEN, std::generic_category().message(errno)};
            }
            const FileDescriptor created(::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
            if (!created && errno != EEXIST) {
                throw SQLiteFailure{SQLITE_CANTOPEN, std::generic_category().message(errno)};
            }
        }
        return true;
    }

    const std::string path_;
};

}  // namespace

}  // namespace qz::internal
