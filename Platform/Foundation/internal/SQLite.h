// SQLite's handles with owners, and its failures as exceptions, which do not leave the store that uses them.
//
//     const auto connection = openSQLite(path, SQLITE_OPEN_READWRITE, milliseconds);
//     const auto select = prepare(connection.get(), "SELECT value FROM items WHERE account = ?");
//     SQLiteRun run(select);
//     if (run.bindText(1, account).step()) { use(run.column(0)); }
#pragma once

#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace qz::internal {

struct SQLiteFailure {
    int code;  // SQLite's primary result code, or what the store adds to these
    std::string reason;

    [[nodiscard]] static SQLiteFailure of(sqlite3* connection);
};

struct SQLiteClose {
    void operator()(sqlite3* connection) const noexcept;
};
struct SQLiteFinalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
};
using SQLiteConnection = std::unique_ptr<sqlite3, SQLiteClose>;
using SQLiteStatement = std::unique_ptr<sqlite3_stmt, SQLiteFinalize>;

// These throw SQLiteFailure.

/// `flags` are those of sqlite3_open_v2(); `patience` is how long to wait for others' locks.
[[nodiscard]] SQLiteConnection openSQLite(const std::string& path, int flags, int patienceInMilliseconds);
/// For a statement that is used again and again.
[[nodiscard]] SQLiteStatement prepare(sqlite3* connection, const char* sql);
void execute(sqlite3* connection, const char* sql);

/// One use of a prepared statement, which is free for the next afterwards.
class SQLiteRun {
public:
    explicit SQLiteRun(const SQLiteStatement& statement) noexcept : statement_(statement.get()) {}
    SQLiteRun(const SQLiteRun&) = delete;
    SQLiteRun& operator=(const SQLiteRun&) = delete;
    ~SQLiteRun();

    // What is bound has to live as long as the run.
    SQLiteRun& bindText(int index, std::string_view text);
    SQLiteRun& bindBytes(int index, std::string_view bytes);
    /// Whether there is another row.
    [[nodiscard]] bool step();
    void finish();
    /// Valid until the next step.
    [[nodiscard]] std::string_view column(int index) const;

private:
    SQLiteRun& check(int result);

    sqlite3_stmt* statement_;
};

/// A transaction that may write, from its beginning on; taken back unless it is committed.
class SQLiteTransaction {
public:
    explicit SQLiteTransaction(sqlite3* connection);
    SQLiteTransaction(const SQLiteTransaction&) = delete;
    SQLiteTransaction& operator=(const SQLiteTransaction&) = delete;
    ~SQLiteTransaction();

    void commit();

private:
    sqlite3* connection_;
};

}  // namespace qz::internal
