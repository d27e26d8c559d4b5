// Free SQL texts (OP_SELECT of a whole query, OP_QUERY_TABLE) cannot change
// a database reached through ODBC: the database system refuses the change
// with its own reason, and nothing changes. Normal reads and writes work on.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>
#include <util/str.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::datastore::OP_QUERY_TABLE;
using vexa::datastore::Row;
using vexa::datastore::Table;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::provider_run;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

// Which way a free text reaches the plug-in.
enum class Entry { select, query_table };

class OdbcFreeReads : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        if (sqlite()) {
            file_ = dir_.file("free.db");
            vexa::test::open_odbc("free", vexa::test::sqlite_odbc_source(file_));
        } else {
            database_ = vexa::test::fresh_database();
            vexa::test::open_odbc("free", vexa::test::pg_source(database_));
        }
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(insert_run("free", provider_run("uname", "h" + std::to_string(i), i)), kOk);
        }
        ASSERT_EQ(insert_run("free", provider_run("cpu", "h0", 5)), kOk);
    }
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    bool sqlite() const { return GetParam(); }

    // The first column of the first row of `sql`, seen from outside the
    // library.
    std::string outside(std::string const& sql) {
        if (sqlite()) {
            return vexa::test::PlainConnection(file_).rows(sql).at(0);
        }
        return vexa::str::stripws(vexa::test::psql(database_, sql + ";"));
    }

    // Runs `sql` through `entry`; the result code, and the reason: what
    // OP_QUERY_TABLE logs at level 4, what the plug-in's select() throws
    // (OP_SELECT answers 1 without a word).
    int run_free(Entry entry, std::string const& sql, std::string& reason) {
        if (entry == Entry::select) {
            std::vector<Row> rows;
            auto const plugin = std::dynamic_pointer_cast<vexa::datastore::interface>(
                vexa::test::extension_of("free"));
            reason = vexa::test::thrown_text(
                [&] { plugin->select(sql, rows, vexa::datastore::column_index_map); });
            return vexa::test::select_query("free", sql, rows);
        }
        vexa::test::ScopedLogLevel const level(4);
        vexa::test::StderrCapture capture;
        Table table;
        int const result = control("free", OP_QUERY_TABLE, &sql, &table);
        reason = capture.text();
        return result;
    }

    // The database system's refusal of `what` in a read.
    std::string refusal(std::string const& what) const {
        return sqlite() ? "attempt to write a readonly database"
                        : "ERROR: cannot execute " + what + " in a read-only transaction";
    }

    void expect_refused(std::string const& sql, std::string const& what) {
        for (Entry const entry : {Entry::select, Entry::query_table}) {
            SCOPED_TRACE(entry == Entry::select ? "OP_SELECT" : "OP_QUERY_TABLE");
            std::string reason;
            EXPECT_EQ(run_free(entry, sql, reason), kFailed);
            EXPECT_NE(reason.find(refusal(what)), std::string::npos) << reason;
        }
    }

    vexa::test::TempDir dir_;
    std::string file_;
    std::string database_;
};

TEST_P(OdbcFreeReads, ADeleteIsRefusedByTheDatabaseAndRemovesNothing) {
    expect_refused("DELETE FROM provider_datastore WHERE provider = 'uname'", "DELETE");
    EXPECT_EQ(outside("SELECT count(*) FROM provider_datastore"), "4");
}

TEST_P(OdbcFreeReads, ACreateTableIsRefusedByTheDatabaseAndCreatesNothing) {
    expect_refused("CREATE TABLE evil_table(x int)", "CREATE TABLE");
    EXPECT_EQ(outside(sqlite() ? "SELECT count(*) FROM sqlite_master WHERE name = 'evil_table'"
                               : "SELECT count(*) FROM pg_class WHERE relname = 'evil_table'"),
              "0");
}

// SQLite has no sequence that a SELECT could change.
class OdbcFreeReadsOnPostgresql : public OdbcFreeReads {};

TEST_P(OdbcFreeReadsOnPostgresql, ASequenceIsNotResetByASelect) {
    std::string const sequence = "pg_get_serial_sequence('provider_datastore', 'rowid')";
    expect_refused("SELECT setval(" + sequence + ", 1)", "setval()");
    EXPECT_EQ(outside("SELECT last_value FROM " +
                      vexa::str::stripws(vexa::test::psql(database_, "SELECT " + sequence + ";"))),
              "4");
}

TEST_P(OdbcFreeReads, ASecondStatementThatWritesIsRefusedToo) {
    std::string log;
    EXPECT_EQ(run_free(Entry::query_table, "SELECT 1; DELETE FROM provider_datastore", log),
              kFailed);
    EXPECT_EQ(outside("SELECT count(*) FROM provider_datastore"), "4");
}

TEST_P(OdbcFreeReads, ReadsAndWritesWorkAsBeforeAroundAFreeRead) {
    std::string log;
    ASSERT_EQ(run_free(Entry::query_table, "DELETE FROM provider_datastore", log), kFailed);
    ASSERT_EQ(insert_run("free", provider_run("cpu", "h1", 6)), kOk);
    std::vector<Row> rows;
    ASSERT_EQ(vexa::test::select_query("free", "SELECT * FROM vexa_1 WHERE Provider = 'cpu'", rows),
              kOk);
    EXPECT_EQ(rows.size(), 2u);
    Table table;
    std::string const count = "SELECT count(*) AS n FROM provider_datastore";
    ASSERT_EQ(control("free", OP_QUERY_TABLE, &count, &table), kOk);
    EXPECT_EQ(table.rows.at(0).at(0), std::optional<std::string>("5"));
    EXPECT_EQ(outside("SELECT count(*) FROM provider_datastore"), "5");
}

TEST_P(OdbcFreeReads, AFreeReadInsideABatchSeesTheBatchAndLeavesItWhole) {
    ASSERT_EQ(control("free", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    ASSERT_EQ(insert_run("free", provider_run("cpu", "h1", 6)), kOk);
    Table table;
    std::string const count = "SELECT count(*) AS n FROM provider_datastore";
    ASSERT_EQ(control("free", OP_QUERY_TABLE, &count, &table), kOk);
    EXPECT_EQ(table.rows.at(0).at(0), std::optional<std::string>("5"));
    ASSERT_EQ(insert_run("free", provider_run("cpu", "h2", 7)), kOk);
    ASSERT_EQ(control("free", OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    EXPECT_EQ(outside("SELECT count(*) FROM provider_datastore"), "6");
    std::string log;
    EXPECT_EQ(run_free(Entry::query_table, "DELETE FROM provider_datastore", log), kFailed);
    EXPECT_EQ(outside("SELECT count(*) FROM provider_datastore"), "6");
}

INSTANTIATE_TEST_SUITE_P(Backends, OdbcFreeReads, ::testing::Values(false, true),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "SqliteThroughOdbc" : "Postgresql";
                         });

INSTANTIATE_TEST_SUITE_P(Backends, OdbcFreeReadsOnPostgresql, ::testing::Values(false),
                         [](::testing::TestParamInfo<bool> const&) { return "Postgresql"; });

}  // namespace
