#include <quillo1/quillo1.h>

#include <sqlite3.h>

#include <string>

#include <gtest/gtest.h>

#include "test_support.h"

namespace {

// A second, independent view of a database file through the SQLite C library.
class Observer {
  public:
    explicit Observer(std::string const& file) {
        if (sqlite3_open_v2(file.c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
            ADD_FAILURE() << "cannot open " << file;
        }
    }
    ~Observer() { sqlite3_close_v2(db_); }
    Observer(Observer const&) = delete;
    Observer& operator=(Observer const&) = delete;

    // The integer in the first column of the first row of `sql`, or -1.
    long long integer(std::string const& sql) {
        sqlite3_stmt* statement = nullptr;
        long long value = -1;
        if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW) {
            value = sqlite3_column_int64(statement, 0);
        }
        sqlite3_finalize(statement);
        return value;
    }

    // The result code of running `sql`.
    int run(std::string const& sql) {
        return sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr);
    }

  private:
    ::sqlite3* db_ = nullptr;
};

class Quillo1 : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(quillo1::newConnection(file_, 0, &raw_), 0);
        ASSERT_NE(raw_, nullptr);
        connection_.reset(raw_);
    }

    vexa::test::TempDir dir_;
    std::string const file_ = dir_.file("test.db");
    quillo1::Connection* raw_ = nullptr;
    quillo1::AutoPtr<quillo1::Connection> connection_;
};

TEST(NewConnection, CreatesAMissingFile) {
    vexa::test::TempDir dir;
    std::string const file = dir.file("created.db");
    ASSERT_FALSE(vexa::test::exists(file));
    quillo1::Connection* raw = nullptr;
    EXPECT_EQ(quillo1::newConnection(file, 0, &raw), 0);
    quillo1::AutoPtr<quillo1::Connection> connection(raw);
    ASSERT_TRUE(connection);
    EXPECT_TRUE(vexa::test::exists(file));
}

TEST(NewConnection, OpensAnExistingDatabaseWithoutLosingItsContent) {
    vexa::test::TempDir dir;
    std::string const file = dir.file("kept.db");
    {
        quillo1::Connection* raw = nullptr;
        ASSERT_EQ(quillo1::newConnection(file, 0, &raw), 0);
        quillo1::AutoPtr<quillo1::Connection> connection(raw);
        ASSERT_EQ(connection->issueCommand("CREATE TABLE t(a); INSERT INTO t VALUES (5);"), 0);
    }
    quillo1::Connection* raw = nullptr;
    ASSERT_EQ(quillo1::newConnection(file, 0, &raw), 0);
    quillo1::AutoPtr<quillo1::Connection> connection(raw);
    EXPECT_EQ(Observer(file).integer("SELECT a FROM t;"), 5);
}

TEST(NewConnection, FailsWithNullConnectionInAMissingDirectory) {
    vexa::test::TempDir dir;
    quillo1::Connection* raw = reinterpret_cast<quillo1::Connection*>(&dir);
    EXPECT_NE(quillo1::newConnection(dir.file("no/such/dir/x.db"), 0, &raw), 0);
    EXPECT_EQ(raw, nullptr);
    EXPECT_FALSE(vexa::test::exists(dir.file("no")));
}

TEST_F(Quillo1, IssueCommandRunsEveryStatementOfTheText) {
    EXPECT_EQ(connection_->issueCommand("CREATE TABLE t(a INTEGER);"
                                        "INSERT INTO t VALUES (1);"
                                        "INSERT INTO t VALUES (2);"),
              0);
    EXPECT_EQ(connection_->lastError(), "");
    EXPECT_EQ(Observer(file_).integer("SELECT sum(a) FROM t;"), 3);
}

TEST_F(Quillo1, IssueCommandSucceedsForAnEmptyText) {
    EXPECT_EQ(connection_->issueCommand(""), 0);
    EXPECT_EQ(connection_->issueCommand("   \n"), 0);
    EXPECT_EQ(connection_->lastError(), "");
}

TEST_F(Quillo1, IssueCommandReturnsNonZeroAndKeepsTheMessageForBadSql) {
    EXPECT_NE(connection_->issueCommand("THIS IS NOT SQL;"), 0);
    EXPECT_EQ(connection_->lastError(), "near \"THIS\": syntax error");
}

TEST_F(Quillo1, IssueCommandReturnsNonZeroForAMissingTable) {
    EXPECT_NE(connection_->issueCommand("INSERT INTO missing VALUES (1);"), 0);
    EXPECT_EQ(connection_->lastError(), "no such table: missing");
}

TEST_F(Quillo1, IssueCommandStopsAtTheFirstFailingStatement) {
    ASSERT_EQ(connection_->issueCommand("CREATE TABLE t(a);"), 0);
    EXPECT_NE(connection_->issueCommand("INSERT INTO t VALUES (1); BAD; INSERT INTO t VALUES (2);"),
              0);
    EXPECT_EQ(Observer(file_).integer("SELECT count(*) FROM t;"), 1);
}

TEST_F(Quillo1, ASuccessAfterAFailureClearsTheMessage) {
    ASSERT_NE(connection_->issueCommand("BAD;"), 0);
    ASSERT_NE(connection_->lastError(), "");
    EXPECT_EQ(connection_->issueCommand("CREATE TABLE t(a);"), 0);
    EXPECT_EQ(connection_->lastError(), "");
}

TEST_F(Quillo1, AutoPtrClosesTheConnectionWhenItGoesOutOfScope) {
    ASSERT_EQ(connection_->issueCommand("CREATE TABLE t(a); BEGIN EXCLUSIVE;"), 0);
    Observer other(file_);
    EXPECT_EQ(other.run("INSERT INTO t VALUES (1);"), SQLITE_BUSY);
    connection_.reset();
    EXPECT_EQ(other.run("INSERT INTO t VALUES (1);"), SQLITE_OK);
}

// Counts its own destruction.
struct Tracked {
    explicit Tracked(int& deleted) : deleted(deleted) {}
    ~Tracked() { ++deleted; }
    int& deleted;
};

TEST(AutoPtr, DeletesItsObjectAtTheEndOfItsScope) {
    int deleted = 0;
    {
        quillo1::AutoPtr<Tracked> owner(new Tracked(deleted));
        EXPECT_TRUE(owner);
        EXPECT_EQ(&owner->deleted, &deleted);
        EXPECT_EQ(&(*owner).deleted, &deleted);
        EXPECT_EQ(deleted, 0);
    }
    EXPECT_EQ(deleted, 1);
}

TEST(AutoPtr, ResetDeletesTheOldObjectAndOwnsTheNewOne) {
    int first = 0;
    int second = 0;
    {
        quillo1::AutoPtr<Tracked> owner(new Tracked(first));
        Tracked* replacement = new Tracked(second);
        owner.reset(replacement);
        EXPECT_EQ(first, 1);
        EXPECT_EQ(owner.get(), replacement);
        owner.reset(replacement);
        EXPECT_EQ(second, 0);
    }
    EXPECT_EQ(second, 1);
}

TEST(AutoPtr, EmptyOneIsFalseAndDeletesNothing) {
    quillo1::AutoPtr<quillo1::Connection> owner;
    EXPECT_FALSE(owner);
    EXPECT_EQ(owner.get(), nullptr);
}

}  // namespace
