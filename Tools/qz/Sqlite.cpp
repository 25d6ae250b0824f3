// qz sqlite: runs a statement on a database and prints its rows.
#include <sqlite3.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "QZUtils/Storage/QZsqliteDb.h"
#include "QZUtils/Storage/QZsqliteStatement.h"

namespace qz::tool {

namespace {

struct Options {
    std::string file;
    std::string sql;
    std::vector<std::string> parameters;
    bool writesJSON = false;
};

/// NULL is an empty field, or null in JSON.
void print(const QZsqliteStatement& row, bool asJSON) {
    auto object = nlohmann::ordered_json::object();
    for (std::int32_t i = 0; i < row.columnCount(); ++i) {
        const auto value = row.columnValue(i);
        if (asJSON) {
            object[row.columnName(i).value_or("")] = value ? nlohmann::ordered_json(*value) : nullptr;
        } else {
            std::cout << (i == 0 ? "" : "\t") << value.value_or("");
        }
    }
    std::cout << (asJSON ? object.dump() : "") << '\n';
}

void run(const Options& options) {
    const auto db = QZsqliteDb::initWithPath(options.file);
    const auto require = [&](bool holds) {
        if (!holds) {
            throw Failure(::sqlite3_errmsg(static_cast<::sqlite3*>(db->sqlite())));
        }
    };
    require(db->open());
    const auto statement = db->query(options.sql);
    require(statement != nullptr);
    if (!statement->bind(options.parameters)) {
        throw Failure("the statement has more parameters than were given", wrongUsage);
    }
    while (statement->step()) {
        print(*statement, options.writesJSON);
    }
    std::cout << std::flush;
    const int result = ::sqlite3_errcode(static_cast<::sqlite3*>(db->sqlite()));
    require(result == SQLITE_OK || result == SQLITE_DONE || result == SQLITE_ROW);
}

}  // namespace

void addSqlite(CLI::App& program) {
    auto* command =
        program.add_subcommand("sqlite", "Run a statement on an SQLite database and print its rows");
    const auto options = std::make_shared<Options>();
    command->add_option("FILE", options->file, "The database; made when it is missing")->required();
    command->add_option("SQL", options->sql, "One statement")->required();
    command->add_option("PARAMETER", options->parameters, "Texts for its question marks");
    command->add_flag("--json", options->writesJSON, "Print each row as a JSON object");
    command->callback([options] { run(*options); });
}

}  // namespace qz::tool
