// OP_LAST_FAILURE of the SQLite plug-in: the reason of the latest failed call
// of an instance in the calling thread, in SQLite's own words, for callers
// that must say why a datastore failed without reading the log.
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::OP_LAST_FAILURE;
using vexa::datastore::OP_QUERY_TABLE;
using vexa::datastore::Row;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::provider_run;
using vexa::test::select_query;
using vexa::test::sqlite_params;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

std::string last_failure(std::string const& name) {
    std::string reason = "not asked";
    EXPECT_EQ(control(name, OP_LAST_FAILURE, nullptr, &reason), kOk);
    return reason;
}

class SqliteLastFailure : public ::testing::Test {
  protected:
    void SetUp() override {
        file_ = dir_.file("store.db");
        open_sqlite("writer", sqlite_params(file_, false));
    }
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    vexa::test::ScopedLogLevel quiet_{0};
    vexa::test::TempDir dir_;
    std::string file_;
};

TEST_F(SqliteLastFailure, IsEmptyBeforeAnyCallFailed) {
    std::vector<Row> rows;
    EXPECT_EQ(select_query("writer", "SELECT * FROM vexa_1", rows), kOk);
    EXPECT_EQ(last_failure("writer"), "");
}

TEST_F(SqliteLastFailure, AFailedContractReadGivesSQLitesText) {
    std::vector<Row> rows;
    EXPECT_EQ(select_query("writer", "SELECT * FROM no_such_table", rows), kFailed);
    EXPECT_EQ(last_failure("writer"), "no such table: no_such_table");
}

TEST_F(SqliteLastFailure, ALaterSuccessKeepsTheReasonOfTheLastFailure) {
    std::vector<Row> rows;
    EXPECT_EQ(select_query("writer", "SELECT * FROM gone", rows), kFailed);
    EXPECT_EQ(select_query("writer", "SELECT * FROM vexa_1", rows), kOk);
    EXPECT_EQ(last_failure("writer"), "no such table: gone");
}

TEST_F(SqliteLastFailure, AFailedQueryTableGivesSQLitesText) {
    std::string const sql = "SELECT missing_column FROM vexa_1";
    vexa::datastore::Table table;
    EXPECT_EQ(control("writer", OP_QUERY_TABLE, &sql, &table), kFailed);
    EXPECT_EQ(last_failure("writer"), "no such column: missing_column");
}

TEST_F(SqliteLastFailure, ARefusedInsertNamesTheReadOnlyInstance) {
    open_sqlite("reader", sqlite_params(file_, true));
    EXPECT_EQ(insert_run("reader", provider_run("p", "h", 1)), kFailed);
    EXPECT_EQ(last_failure("reader"), "refused by sqlite3 " + file_ + " (read-only)");
}

TEST_F(SqliteLastFailure, EachInstanceKeepsItsOwnReason) {
    open_sqlite("other", sqlite_params(dir_.file("other.db"), false));
    std::vector<Row> rows;
    EXPECT_EQ(select_query("writer", "SELECT * FROM first_missing", rows), kFailed);
    EXPECT_EQ(select_query("other", "SELECT * FROM second_missing", rows), kFailed);
    EXPECT_EQ(last_failure("writer"), "no such table: first_missing");
    EXPECT_EQ(last_failure("other"), "no such table: second_missing");
}

TEST_F(SqliteLastFailure, AnotherThreadsFailureDoesNotReplaceThisThreads) {
    std::vector<Row> rows;
    EXPECT_EQ(select_query("writer", "SELECT * FROM mine", rows), kFailed);
    std::string other_thread_reason;
    std::thread other([&] {
        std::vector<Row> its_rows;
        EXPECT_EQ(select_query("writer", "SELECT * FROM theirs", its_rows), kFailed);
        other_thread_reason = last_failure("writer");
    });
    other.join();
    EXPECT_EQ(other_thread_reason, "no such table: theirs");
    EXPECT_EQ(last_failure("writer"), "no such table: mine");
}

TEST_F(SqliteLastFailure, AThreadWithoutFailuresHasNoReason) {
    std::vector<Row> rows;
    EXPECT_EQ(select_query("writer", "SELECT * FROM mine", rows), kFailed);
    std::string other_thread_reason = "not asked";
    std::thread other([&] { other_thread_reason = last_failure("writer"); });
    other.join();
    EXPECT_EQ(other_thread_reason, "");
}

TEST_F(SqliteLastFailure, AnInstanceThatDidNotOpenIsReportedWithSQLitesReason) {
    std::string const missing = dir_.file("missing.db");
    EXPECT_THROW(open_sqlite("absent", sqlite_params(missing, true)), std::runtime_error);
    auto const failure = vexa::datastore::open_failure("absent");
    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->instance_name, "absent");
    EXPECT_EQ(failure->result, kFailed);
    EXPECT_EQ(failure->reason, "unable to open database file");
}

TEST_F(SqliteLastFailure, AMisspelledSourceKeyIsTheOpenFailuresReason) {
    EXPECT_THROW(open_sqlite("typo", "sorce=" + file_), std::runtime_error);
    auto const failure = vexa::datastore::open_failure("typo");
    ASSERT_TRUE(failure.has_value());
    EXPECT_NE(failure->reason.find("sorce"), std::string::npos) << failure->reason;
}

}  // namespace
