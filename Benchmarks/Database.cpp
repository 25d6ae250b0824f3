// Rows inserted, stepped over and read through the wrapper, beside the bare C interface.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "Platform/Foundation/NSDictionary.h"
#include "QZUtils/Storage/QZsqliteDb.h"
#include "QZUtils/Storage/QZsqliteStatement.h"

namespace {

constexpr int numberOfRows = 1'000'000;
constexpr auto insertion = "INSERT INTO t VALUES (?, ?)";
constexpr auto selection = "SELECT a, b FROM t";

qz::Ref<qz::QZsqliteDb> database() {
    auto db = qz::QZsqliteDb::initWithPath(":memory:");
    db->open();
    db->exec("CREATE TABLE t(a TEXT, b TEXT)");
    return db;
}

const qz::Ref<qz::QZsqliteDb>& filledDatabase() {
    static const auto db = [] {
        auto filled = database();
        filled->exec("WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " +
                     std::to_string(numberOfRows) +
                     ") INSERT INTO t SELECT 'title ' || i, 'page ' || i FROM n");
        return filled;
    }();
    return db;
}

::sqlite3_stmt* bare(const qz::Ref<qz::QZsqliteDb>& db, const char* sql) {
    ::sqlite3_stmt* statement = nullptr;
    ::sqlite3_prepare_v2(static_cast<::sqlite3*>(db->sqlite()), sql, -1, &statement, nullptr);
    return statement;
}

void insertByWrapper(benchmark::State& state) {
    const auto db = database();
    const auto statement = db->query(insertion);
    db->exec("BEGIN");
    for (auto _ : state) {
        statement->bind(qz::QZsqliteDb::Parameters{"title 1", "page 1"});
        statement->step();
        statement->reset();
    }
}
BENCHMARK(insertByWrapper)->Iterations(numberOfRows);

void insertBare(benchmark::State& state) {
    const auto db = database();
    auto* statement = bare(db, insertion);
    db->exec("BEGIN");
    for (auto _ : state) {
        ::sqlite3_bind_text(statement, 1, "title 1", -1, SQLITE_STATIC);
        ::sqlite3_bind_text(statement, 2, "page 1", -1, SQLITE_STATIC);
        ::sqlite3_step(statement);
        ::sqlite3_reset(statement);
    }
    ::sqlite3_finalize(statement);
}
BENCHMARK(insertBare)->Iterations(numberOfRows);

void stepByWrapper(benchmark::State& state) {
    const auto statement = filledDatabase()->query(selection);
    for (auto _ : state) {
        if (!statement->step()) {
            statement->reset();
        }
    }
}
BENCHMARK(stepByWrapper)->Iterations(numberOfRows);

void stepBare(benchmark::State& state) {
    auto* statement = bare(filledDatabase(), selection);
    for (auto _ : state) {
        if (::sqlite3_step(statement) != SQLITE_ROW) {
            ::sqlite3_reset(statement);
        }
    }
    ::sqlite3_finalize(statement);
}
BENCHMARK(stepBare)->Iterations(numberOfRows);

/// What a dictionary of the row costs on top of the step.
void rowByWrapper(benchmark::State& state) {
    const auto statement = filledDatabase()->query(selection);
    for (auto _ : state) {
        if (!statement->step()) {
            statement->reset();
        }
        benchmark::DoNotOptimize(statement->row());
    }
}
BENCHMARK(rowByWrapper)->Iterations(numberOfRows / 2);

}  // namespace
