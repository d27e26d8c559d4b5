// A free read through the SQLite plug-in's select reads and does nothing
// else: it cannot attach or detach files, open a transaction or change a
// setting of the connection, while PRAGMAs that only read still answer.
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::Row;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::provider_run;
using vexa::test::select_query;
using vexa::test::sqlite_params;
using vexa::test::StderrCapture;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

class SqliteReadGuard : public ::testing::Test {
  protected:
    void SetUp() override { open_sqlite("guarded", sqlite_params(file_, false)); }
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    // Runs `sql` through select; expects it refused and returns the log.
    std::string refusal_of(std::string const& sql) {
        StderrCapture captured;
        std::vector<Row> rows;
        EXPECT_EQ(select_query("guarded", sql, rows), kFailed) << sql;
        return captured.text();
    }

    // The first column of `sql`'s first row, read into an integer member.
    std::int64_t number_of(std::string const& sql, std::string const& column) {
        std::map<std::string, int> const fields{
            {column, vexa::datastore::column_index_map.at("Unique_timestamp")}};
        std::vector<Row> rows;
        EXPECT_EQ(select_query("guarded", sql, rows, fields), kOk) << sql;
        return rows.empty() ? -1 : rows.front().Unique_timestamp;
    }

    vexa::test::ScopedLogLevel log_level_{4};
    vexa::test::TempDir dir_;
    std::string const file_ = dir_.file("store.db");
};

TEST_F(SqliteReadGuard, AttachCreatesNoFileAndDetachIsRefused) {
    std::string const other = dir_.file("other.db");
    EXPECT_EQ(refusal_of("ATTACH '" + other + "' AS a"), "sqlite3 " + file_ + ": not authorized\n");
    EXPECT_FALSE(vexa::test::exists(other));
    EXPECT_EQ(refusal_of("DETACH main"), "sqlite3 " + file_ + ": not authorized\n");
}

TEST_F(SqliteReadGuard, TransactionsAreRefusedSoInsertsStillCommit) {
    for (std::string const sql : {"BEGIN", "BEGIN IMMEDIATE", "SAVEPOINT s", "COMMIT"}) {
        EXPECT_EQ(refusal_of(sql), "sqlite3 " + file_ + ": not authorized\n") << sql;
    }
    ASSERT_EQ(insert_run("guarded", provider_run("p", "h", 1)), kOk);
    vexa::test::PlainConnection db(file_);
    EXPECT_EQ(db.rows("SELECT COUNT(*) FROM provider_datastore;"), (std::vector<std::string>{"1"}));
}

TEST_F(SqliteReadGuard, PragmasThatChangeOrActAreRefused) {
    for (std::string const sql :
         {"PRAGMA journal_mode=DELETE", "PRAGMA synchronous=OFF", "PRAGMA query_only=1",
          "PRAGMA writable_schema=ON", "PRAGMA wal_checkpoint", "PRAGMA optimize",
          "PRAGMA main.cache_size=5"}) {
        EXPECT_EQ(refusal_of(sql), "sqlite3 " + file_ + ": not authorized\n") << sql;
    }
    vexa::test::PlainConnection db(file_);
    EXPECT_EQ(db.rows("PRAGMA journal_mode;"), (std::vector<std::string>{"wal"}));
}

TEST_F(SqliteReadGuard, PragmasThatOnlyReadAndPlainQueriesAnswer) {
    ASSERT_EQ(insert_run("guarded", provider_run("p", "h", 7)), kOk);
    EXPECT_EQ(number_of("PRAGMA synchronous", "synchronous"), 1);
    EXPECT_EQ(number_of("PRAGMA table_info(provider_datastore)", "cid"), 0);
    EXPECT_EQ(number_of("SELECT Unique_timestamp FROM vexa_1", "Unique_timestamp"),
              provider_run("p", "h", 7).header.Unique_timestamp);
}

}  // namespace
