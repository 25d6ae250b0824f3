#include "QZUtils/Storage/QZsqliteStatement.h"

#include <sqlite3.h>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/internal/TextArrays.h"
#include "Platform/Foundation/internal/UTF8.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "QZUtils/Diagnostics/Log.h"

namespace qz {

namespace {

::sqlite3_stmt* handle(void* statement) {
    return static_cast<::sqlite3_stmt*>(statement);
}

/// Up to a terminating zero; nullopt for null and for what is not UTF-8.
std::optional<std::string> textOf(const char* bytes) {
    return bytes && internal::isUTF8(bytes) ? std::optional<std::string>(bytes) : std::nullopt;
}

}  // namespace

QZ_DEFINE_CLASS(QZsqliteStatement, cls) {
    using Self = QZsqliteStatement;
    cls.property("db", &Self::db, &Self::setDb);
    cls.method("isPrepared", &Self::isPrepared);
    cls.method("prepare:", &Self::prepare);
    cls.method("bind:", [](Self& self, const Ref<NSArray>& params) {
        return self.bind(params ? std::optional(internal::textsOfArray(params)) : std::nullopt);
    });
    cls.method("step", &Self::step);
    cls.method("reset", &Self::reset);
    cls.method("finalizeStatement", &Self::finalizeStatement);
    cls.method("columnCount", &Self::columnCount);
    cls.method("columnName:",
               [](const Self& self, std::int32_t index) { return id(Text(self.columnName(index))); });
    cls.method("columnType:", &Self::columnType);
    cls.method("columnValue:",
               [](const Self& self, std::int32_t index) { return id(Text(self.columnValue(index))); });
    cls.method("row", &Self::row);
    cls.method("description", [](const Self& self) {
        const char* sql = ::sqlite3_sql(handle(self.stmt_));
        return std::string(sql ? sql : "statememnt is not prepared");  // spelt so in the logs of this system
    });
}

QZsqliteStatement::QZsqliteStatement(const Ref<QZsqliteDb>& db) : db_(db), monitor_(monitorOf(db)) {}

void QZsqliteStatement::dealloc() {
    finalizeStatement();
    Super::dealloc();
}

void QZsqliteStatement::setDb(const Ref<QZsqliteDb>& db) {
    db_ = db;
    monitor_ = monitorOf(db);
}

bool QZsqliteStatement::prepare(std::string_view sql) {
    finalizeStatement();
    sql_ = sql;
    auto* const connection = db_ ? static_cast<::sqlite3*>(db_->sqlite()) : nullptr;
    if (!connection) {
        return false;
    }
    ::sqlite3_stmt* prepared = nullptr;
    const int result = ::sqlite3_prepare_v2(connection, sql_.c_str(), -1, &prepared, nullptr);
    stmt_ = prepared;
    return result == SQLITE_OK;
}

bool QZsqliteStatement::bind(const std::optional<Parameters>& params) {
    params_ = params;
    const auto count = static_cast<std::size_t>(::sqlite3_bind_parameter_count(handle(stmt_)));
    if (count < 1) {
        return true;
    }
    if (!params || params->size() < count) {
        return false;
    }
    bound_.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        // SQLite reads the text where it lies. What a refused binding leaves in force stays alive with it.
        auto text = std::make_unique<const std::string>((*params)[i]);
        if (::sqlite3_bind_text(handle(stmt_), static_cast<int>(i) + 1, text->data(),
                                static_cast<int>(text->size()), SQLITE_STATIC) == SQLITE_OK) {
            bound_[i] = std::move(text);
        }
    }
    return true;
}

bool QZsqliteStatement::step() {
    if (!isPrepared()) {
        return false;
    }
    const auto turn = monitor_ ? std::unique_lock(*monitor_) : std::unique_lock<std::recursive_mutex>();
    return ::sqlite3_step(handle(stmt_)) == SQLITE_ROW;
}

void QZsqliteStatement::reset() {
    if (isPrepared()) {
        ::sqlite3_reset(handle(stmt_));
    }
}

void QZsqliteStatement::finalizeStatement() {
    if (isPrepared()) {
        ::sqlite3_finalize(handle(stmt_));
        stmt_ = nullptr;
        bound_.clear();
    }
}

// The row.

std::int32_t QZsqliteStatement::columnCount() const {
    return isPrepared() ? ::sqlite3_column_count(handle(stmt_)) : 0;
}

std::optional<std::string> QZsqliteStatement::columnName(std::int32_t index) const {
    return isPrepared() ? textOf(::sqlite3_column_name(handle(stmt_), index)) : std::nullopt;
}

std::int32_t QZsqliteStatement::columnType(std::int32_t index) const {
    return isPrepared() ? ::sqlite3_column_type(handle(stmt_), index) : SQLITE_NULL;
}

std::optional<std::string> QZsqliteStatement::columnValue(std::int32_t index) const {
    return isPrepared() ? textOf(reinterpret_cast<const char*>(::sqlite3_column_text(handle(stmt_), index)))
                        : std::nullopt;
}

Ref<NSDictionary> QZsqliteStatement::row() const {
    if (!isPrepared()) {
        return nullptr;
    }
    auto row = NSMutableDictionary::dictionary();
    for (std::int32_t i = 0; i < columnCount(); ++i) {
        const auto name = columnName(i);
        const auto value = columnValue(i);
        if (name && value) {
            row->setObjectForKey(*value, *name);
        } else {
            logDebug("*** name(%@) or value(%@) of field is empty", Text(name), Text(value));
        }
    }
    return row;
}

}  // namespace qz
