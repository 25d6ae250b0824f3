// The database wrapper, and monitors.
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "Platform/Foundation/DDLog.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/Monitor.h"
#include "QZUtils/Storage/QZsqliteDb.h"
#include "QZUtils/Storage/QZsqliteStatement.h"

namespace qz::test {

class Database : public testing::Test {
protected:
    Database() {
        auto pattern = (std::filesystem::temp_directory_path() / "qz-database-XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
        db_ = QZsqliteDb::initWithPath((directory_ / "db").string());
        EXPECT_TRUE(db_->open());
        EXPECT_TRUE(db_->exec("CREATE TABLE t(a, b); INSERT INTO t VALUES (42, 1.5), ('text', NULL)"));
    }
    ~Database() override {
        db_->close();
        std::filesystem::remove_all(directory_);
    }
    [[nodiscard]] std::string count() const {
        const auto statement = db_->query("SELECT count(*) AS n FROM t");
        return statement->step() ? *statement->columnValue(0) : "none";
    }

    std::filesystem::path directory_;
    Ref<QZsqliteDb> db_;
};

TEST_F(Database, ReadsRowsAsTexts) {
    std::string log;
    const auto sink = DDLog::sharedInstance()->addSink([&](const LogMessage& line) { log += line.text; });
    const auto statement = db_->query("SELECT a, b, a AS b FROM t");
    EXPECT_EQ(descriptionOf(statement), "SELECT a, b, a AS b FROM t");
    EXPECT_EQ(statement->columnCount(), 3);
    ASSERT_TRUE(statement->step());
    EXPECT_EQ(statement->columnType(0), SQLITE_INTEGER);
    EXPECT_EQ(id(statement->row()), id(NSDictionary::dictionary({{"a", "42"}, {"b", "42"}})));  // the last b
    ASSERT_TRUE(statement->step());
    EXPECT_EQ(statement->columnValue(1), std::nullopt);
    EXPECT_EQ(id(statement->row()), id(NSDictionary::dictionary({{"a", "text"}, {"b", "text"}})));
    EXPECT_FALSE(statement->step());
    DDLog::sharedInstance()->flush();
    DDLog::sharedInstance()->removeSink(sink);
    EXPECT_EQ(log, "*** name(b) or value((null)) of field is empty");
    statement->reset();
    EXPECT_TRUE(statement->step());
    const auto blob = db_->query("SELECT x'FF', x'6162', ''");
    ASSERT_TRUE(blob->step());
    EXPECT_EQ(blob->columnValue(0), std::nullopt);  // not UTF-8
    EXPECT_EQ(blob->columnValue(1), "ab");
    EXPECT_EQ(blob->columnValue(2), "");
    EXPECT_EQ(blob->columnName(9), std::nullopt);
}

TEST_F(Database, BindsTexts) {
    EXPECT_FALSE(db_->exec("INSERT INTO t VALUES (?, ?)", {"x", "ü"}));  // no row, though it was inserted
    EXPECT_EQ(count(), "3");
    EXPECT_TRUE(db_->exec("SELECT * FROM t WHERE b = ?", {"ü"}));
    EXPECT_FALSE(db_->query("SELECT ?", {}));
    EXPECT_TRUE(db_->query("SELECT ?"));
    EXPECT_TRUE(db_->query("SELECT 1", {"more", "than", "needed"}));
    const auto plain = db_->query("SELECT 1");
    EXPECT_TRUE(plain->bind(std::nullopt));

    const auto statement = db_->query("SELECT ? || ?", {std::string(1000, 'a'), std::string(1000, 'b')});
    EXPECT_FALSE(statement->bind(QZsqliteDb::Parameters{"one"}));
    EXPECT_FALSE(statement->bind(std::nullopt));
    EXPECT_FALSE(statement->params());
    ASSERT_TRUE(statement->step());  // with what was bound before
    EXPECT_EQ(statement->columnValue(0), std::string(1000, 'a') + std::string(1000, 'b'));
    EXPECT_TRUE(statement->bind(QZsqliteDb::Parameters{"c", "d"}));  // refused by SQLite while a row is read
    EXPECT_EQ(statement->columnValue(0), std::string(1000, 'a') + std::string(1000, 'b'));
    statement->reset();
    EXPECT_TRUE(statement->bind(QZsqliteDb::Parameters{"c", "d"}));
    ASSERT_TRUE(statement->step());
    EXPECT_EQ(statement->columnValue(0), "cd");
}

TEST_F(Database, AnswersFalseWhereItCannot) {
    const auto closed = QZsqliteDb::initWithPath(nullptr);
    EXPECT_FALSE(closed->open());
    EXPECT_FALSE(closed->isOpen());
    EXPECT_FALSE(closed->exec("SELECT 1"));
    EXPECT_FALSE(closed->query("SELECT 1"));
    const auto statement = QZsqliteStatement::initWithDb(closed);
    EXPECT_FALSE(statement->prepare("SELECT 1"));
    EXPECT_EQ(descriptionOf(statement), "statememnt is not prepared");
    EXPECT_EQ(statement->columnType(0), 5);
    EXPECT_EQ(statement->columnCount(), 0);
    EXPECT_FALSE(statement->step() || statement->row() || statement->columnName(0));

    const auto missing = QZsqliteDb::initWithPath((directory_ / "no/such/db").string());
    EXPECT_FALSE(missing->open());
    EXPECT_TRUE(missing->isOpen());  // the handle of the failure
    std::ofstream(directory_ / "noise") << std::string(5000, 'x');
    const auto noise = QZsqliteDb::initWithPath((directory_ / "noise").string());
    EXPECT_TRUE(noise->open());
    EXPECT_FALSE(noise->exec("SELECT * FROM sqlite_master"));
    EXPECT_FALSE(db_->exec("nonsense"));
    EXPECT_FALSE(db_->query("nonsense"));
}

TEST_F(Database, ForgetsAHandleThatSQLiteKeeps) {
    auto statement = db_->query("SELECT 1");
    auto* const first = static_cast<::sqlite3*>(db_->sqlite());
    db_->close();  // refused by SQLite: a statement is prepared
    EXPECT_FALSE(db_->isOpen());
    EXPECT_TRUE(statement->step());
    statement = nullptr;
    EXPECT_EQ(::sqlite3_close(first), SQLITE_OK);
    EXPECT_TRUE(db_->open());
    auto* const second = static_cast<::sqlite3*>(db_->sqlite());
    EXPECT_TRUE(db_->open());
    EXPECT_NE(db_->sqlite(), second);
    EXPECT_EQ(::sqlite3_close(second), SQLITE_OK);
}

TEST_F(Database, StepsAStatementThatLetItsConnectionGo) {
    const auto statement = db_->query("SELECT 1");
    statement->setDb(nullptr);
    EXPECT_TRUE(statement->step());
    EXPECT_FALSE(statement->prepare("SELECT 1"));
}

TEST_F(Database, StepsTakeTurns) {
    EXPECT_TRUE(
        db_->exec("WITH RECURSIVE n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < 1000) INSERT "
                  "INTO t SELECT i, i FROM n"));
    const auto statement = db_->query("SELECT a FROM t");
    std::atomic<int> rows = 0;
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                while (rows < 1002 && statement->step()) {
                    ++rows;
                }
            });
        }
    }
    EXPECT_GE(rows, 1002);
}

TEST(Monitors, BelongToOneObjectOrClass) {
    const auto object = NSString::string("a");
    const auto monitor = monitorOf(object);
    EXPECT_EQ(monitor, monitorOf(object));
    EXPECT_NE(monitor, monitorOf(NSString::string("a")));
    EXPECT_EQ(monitorOf(NSString::cls()), monitorOf(NSString::cls()));
    EXPECT_NE(monitorOf(NSString::cls()), monitorOf(NSDictionary::cls()));
    EXPECT_FALSE(monitorOf(nullptr));
    const std::lock_guard once(*monitor);
    const std::lock_guard twice(*monitor);
    std::thread([&] { EXPECT_FALSE(monitor->try_lock()); }).join();
}

}  // namespace qz::test
