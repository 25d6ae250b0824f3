#include "Platform/Foundation/internal/SQLite.h"

#include <sqlite3.h>

namespace qz::internal {

namespace {

/// No address would bind null, and an empty view may have none.
const char* addressOf(std::string_view view) noexcept {
    return view.empty() ? "" : view.data();
}

}  // namespace

SQLiteFailure SQLiteFailure::of(sqlite3* connection) {
    return {sqlite3_errcode(connection), sqlite3_errmsg(connection)};
}

void SQLiteClose::operator()(sqlite3* connection) const noexcept {
    sqlite3_close(connection);
}

void SQLiteFinalize::operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_finalize(statement);
}

SQLiteConnection openSQLite(const std::string& path, int flags, int patienceInMilliseconds) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
    SQLiteConnection connection(opened);
    if (result != SQLITE_OK) {
        throw SQLiteFailure{result & 0xFF, sqlite3_errstr(result)};
    }
    sqlite3_busy_timeout(opened, patienceInMilliseconds);
    return connection;
}

SQLiteStatement prepare(sqlite3* connection, const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK) {
        throw SQLiteFailure::of(connection);
    }
    return SQLiteStatement(statement);
}

void execute(sqlite3* connection, const char* sql) {
    if (sqlite3_exec(connection, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw SQLiteFailure::of(connection);
    }
}

SQLiteRun::~SQLiteRun() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

SQLiteRun& SQLiteRun::bindText(int index, std::string_view text) {
    return check(
        sqlite3_bind_text64(statement_, index, addressOf(text), text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

SQLiteRun& SQLiteRun::bindBytes(int index, std::string_view bytes) {
    return check(sqlite3_bind_blob64(statement_, index, addressOf(bytes), bytes.size(), SQLITE_STATIC));
}

bool SQLiteRun::step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        throw SQLiteFailure::of(sqlite3_db_handle(statement_));
    }
    return result == SQLITE_ROW;
}

void SQLiteRun::finish() {
    while (step()) {
    }
}

std::string_view SQLiteRun::column(int index) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, index));
    return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, index))};
}

SQLiteRun& SQLiteRun::check(int result) {
    if (result != SQLITE_OK) {
        throw SQLiteFailure::of(sqlite3_db_handle(statement_));
    }
    return *this;
}

SQLiteTransaction::SQLiteTransaction(sqlite3* connection) : connection_(connection) {
    execute(connection, "BEGIN IMMEDIATE");
}

SQLiteTransaction::~SQLiteTransaction() {
    if (sqlite3_get_autocommit(connection_) == 0) {
        sqlite3_exec(connection_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void SQLiteTransaction::commit() {
    execute(connection_, "COMMIT");
}

}  // namespace qz::internal
