// QZsqliteStatement: a prepared statement of a connection (QZsqliteDb.h, which shows its use): bound, stepped
// and read row by row.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Runtime/Monitor.h"
#include "Platform/Runtime/Object.h"
#include "QZUtils/Storage/QZsqliteDb.h"

namespace qz {

class NSDictionary;

class QZ_EXPORT QZsqliteStatement : public NSObject {
    QZ_OBJECT(QZsqliteStatement, NSObject)
public:
    using Parameters = QZsqliteDb::Parameters;

    template <class Self = QZsqliteStatement>
    [[nodiscard]] static Ref<Self> initWithDb(const Ref<QZsqliteDb>& db) {
        return make<Self>(db);
    }

    [[nodiscard]] const Ref<QZsqliteDb>& db() const noexcept { return db_; }
    void setDb(const Ref<QZsqliteDb>& db);
    /// SQLite's handle, a `sqlite3_stmt*`; null while not prepared.
    [[nodiscard]] void* stmt() const noexcept { return stmt_; }
    /// What was last given to prepare().
    [[nodiscard]] const std::string& sql() const noexcept { return sql_; }
    /// What was last given to bind(), refused or not.
    [[nodiscard]] const std::optional<Parameters>& params() const noexcept { return params_; }

    [[nodiscard]] bool isPrepared() const noexcept { return stmt_ != nullptr; }
    /// Takes the first statement of a text in the place of what was prepared before. A text without a
    /// statement is fine, and leaves nothing prepared.
    bool prepare(std::string_view sql);
    /// Binds texts to the parameters, in their order. A statement without parameters takes anything, nullopt
    /// included; one with more of them than there are texts takes none. Texts beyond the parameters are
    /// ignored.
    bool bind(const std::optional<Parameters>& params);
    /// Goes to the next row, and answers whether there is one: not at the end, nor on an error.
    bool step();
    /// Back before the first row.
    void reset();
    void finalizeStatement();

    // Of the current row. Indices from 0.

    /// 0 when not prepared.
    [[nodiscard]] std::int32_t columnCount() const;
    /// Nullopt when not prepared or there is no such column.
    [[nodiscard]] std::optional<std::string> columnName(std::int32_t index) const;
    /// 1 integer, 2 float, 3 text, 4 blob, 5 null or not prepared.
    [[nodiscard]] std::int32_t columnType(std::int32_t index) const;
    /// SQLite's text of the value; nullopt for NULL and for bytes that are not UTF-8.
    [[nodiscard]] std::optional<std::string> columnValue(std::int32_t index) const;
    /// Values by name. Columns without a value are left out, which is logged; of equal names the last counts.
    /// Null when not prepared.
    [[nodiscard]] Ref<NSDictionary> row() const;

protected:
    explicit QZsqliteStatement(const Ref<QZsqliteDb>& db);
    void dealloc() override;

private:
    Ref<QZsqliteDb> db_;
    Monitor monitor_;  // the connection's
    void* stmt_ = nullptr;
    std::string sql_;
    std::optional<Parameters> params_;
    std::vector<std::unique_ptr<const std::string>> bound_;  // what SQLite may still read
};

}  // namespace qz
