// Queries with any result columns: OP_QUERY_TABLE on real SQLite files
// through the controller, and select_table over the registry, next to a
// plug-in that serves none of the project's own opcodes.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "steered_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::datastore::OP_PRUNE;
using vexa::datastore::OP_QUERY_TABLE;
using vexa::datastore::PruneRequest;
using vexa::datastore::select_table;
using vexa::datastore::Table;
using vexa::test::contents_of;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::provider_run;
using vexa::test::register_steered;
using vexa::test::ScopedLogLevel;
using vexa::test::sqlite_params;
using vexa::test::StderrCapture;

constexpr int kOk = DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = DataStoreExtension::OPERATION_UNSUCCESSFULL;
constexpr int kUnsupported = DataStoreExtension::UNSUPPORTED_OPERATION;

using Cells = std::vector<std::optional<std::string>>;

class QueryTable : public vexa::test::RegistryTest {
  protected:
    // Opens a writable instance `name` on a fresh file of its own.
    std::string open_store(std::string const& name) {
        std::string const file = dir_.file(name + ".db");
        open_sqlite(name, sqlite_params(file, false));
        return file;
    }

    static int query(std::string const& name, std::string const& sql, Table& out) {
        return control(name, OP_QUERY_TABLE, &sql, &out);
    }

    vexa::test::TempDir dir_;
};

TEST_F(QueryTable, AggregatesAndAliasesComeBackByColumnName) {
    open_store("rw");
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "h1", 1)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "h2", 2)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("mem", "h1", 3)), kOk);
    Table table;

    ASSERT_EQ(query("rw",
                    "SELECT Provider, count(*) AS runs, sum(num_nodes) FROM vexa_1 "
                    "GROUP BY Provider ORDER BY Provider",
                    table),
              kOk);

    EXPECT_EQ(table.columns, (std::vector<std::string>{"Provider", "runs", "sum(num_nodes)"}));
    EXPECT_EQ(table.rows, (std::vector<Cells>{{"cpu", "2", "6"}, {"mem", "1", "3"}}));
}

TEST_F(QueryTable, NullsAreAbsentAndExtremeIntegersExact) {
    open_store("rw");
    Table table;

    ASSERT_EQ(query("rw",
                    "SELECT NULL AS missing, 9223372036854775807 AS top, "
                    "-9223372036854775808 AS bottom, 0.5 AS half, '' AS empty, x'' AS blob",
                    table),
              kOk);

    EXPECT_EQ(table.columns,
              (std::vector<std::string>{"missing", "top", "bottom", "half", "empty", "blob"}));
    EXPECT_EQ(table.rows, (std::vector<Cells>{{std::nullopt, "9223372036854775807",
                                               "-9223372036854775808", "0.5", "", ""}}));
}

TEST_F(QueryTable, StoredSixtyFourBitStampsReadBackDigitForDigit) {
    open_store("rw");
    vexa::datastore::InsertRequest run = provider_run("cpu", "h1", 1);
    run.header.Unique_timestamp = INT64_MIN;
    ASSERT_EQ(insert_run("rw", run), kOk);
    run.header.Unique_timestamp = INT64_MAX;
    ASSERT_EQ(insert_run("rw", run), kOk);
    Table table;

    ASSERT_EQ(query("rw", "SELECT Unique_timestamp FROM vexa_1 ORDER BY Unique_timestamp", table),
              kOk);

    EXPECT_EQ(table.rows, (std::vector<Cells>{{"-9223372036854775808"}, {"9223372036854775807"}}));
}

TEST_F(QueryTable, AnEmptyResultStillNamesItsColumns) {
    open_store("rw");
    Table table;
    table.rows.push_back({"left over"});

    ASSERT_EQ(query("rw", "SELECT Provider, Hostname FROM vexa_1", table), kOk);

    EXPECT_EQ(table.columns, (std::vector<std::string>{"Provider", "Hostname"}));
    EXPECT_TRUE(table.rows.empty());
}

TEST_F(QueryTable, WritingStatementsAreRefusedBeforeTheyRun) {
    std::string const file = open_store("rw");
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "h1", 1)), kOk);
    std::vector<std::string> const before = contents_of(file);
    Table table;

    for (std::string const& sql :
         {std::string("DELETE FROM provider_datastore"),
          std::string("INSERT INTO provider_datastore(Provider) VALUES('x')"),
          std::string("DROP TABLE baseline_datastore"),
          std::string("WITH gone AS (SELECT 1) DELETE FROM provider_datastore")}) {
        StderrCapture err;
        EXPECT_EQ(query("rw", sql, table), kFailed) << sql;
        EXPECT_EQ(err.text(), "Datastore \"rw\": not a read-only statement: " + sql + "\n");
    }
    // What would change the connection or make files is not authorized.
    for (std::string const& sql :
         {std::string("BEGIN"),
          std::string("ATTACH DATABASE '" + dir_.file("other.db") + "' AS other"),
          std::string("PRAGMA journal_mode=DELETE")}) {
        StderrCapture err;
        EXPECT_EQ(query("rw", sql, table), kFailed) << sql;
        EXPECT_EQ(err.text(), "Datastore \"rw\": not authorized\n");
    }

    EXPECT_EQ(contents_of(file), before);
    EXPECT_FALSE(vexa::test::exists(dir_.file("other.db")));
}

TEST_F(QueryTable, APragmaThatOnlyReadsAnswers) {
    open_store("rw");
    Table table;

    ASSERT_EQ(query("rw", "PRAGMA index_info(provider_datastore_latest)", table), kOk);

    ASSERT_EQ(table.rows.size(), 4u);
    EXPECT_EQ(table.rows.front().back(), "Provider");
}

TEST_F(QueryTable, ASecondStatementIsRefusedAndNothingRuns) {
    std::string const file = open_store("rw");
    std::vector<std::string> const before = contents_of(file);
    std::string const sql = "SELECT 1; DELETE FROM provider_datastore";
    Table table;
    StderrCapture err;

    EXPECT_EQ(query("rw", sql, table), kFailed);

    EXPECT_EQ(err.text(), "Datastore \"rw\": more than one statement: " + sql + "\n");
    EXPECT_EQ(contents_of(file), before);
    EXPECT_EQ(query("rw", "SELECT 1; -- a trailing comment\n", table), kOk);
}

TEST_F(QueryTable, AnSqlErrorFailsAndLogsSqlitesText) {
    open_store("rw");
    Table table;
    StderrCapture err;

    EXPECT_EQ(query("rw", "SELECT nope FROM vexa_1", table), kFailed);

    EXPECT_EQ(err.text(), "Datastore \"rw\": no such column: nope\n");
}

TEST_F(QueryTable, AReadOnlyInstanceAnswersQueries) {
    std::string const file = open_store("rw");
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "h1", 1)), kOk);
    open_sqlite("ro", sqlite_params(file, true));
    Table table;

    ASSERT_EQ(query("ro", "SELECT count(*) FROM vexa_1", table), kOk);

    EXPECT_EQ(table.rows, (std::vector<Cells>{{"1"}}));
}

TEST_F(QueryTable, APluginWithoutTheOperationsAnswersUnsupported) {
    register_steered("plain", "");
    std::string const sql = "SELECT 1";
    Table table;
    PruneRequest request;
    std::uint64_t removed = 0;

    EXPECT_EQ(control("plain", OP_QUERY_TABLE, &sql, &table), kUnsupported);
    EXPECT_EQ(control("plain", OP_BEGIN_BATCH, nullptr, nullptr), kUnsupported);
    EXPECT_EQ(control("plain", OP_COMMIT_BATCH, nullptr, nullptr), kUnsupported);
    EXPECT_EQ(control("plain", OP_PRUNE, &request, &removed), kUnsupported);
}

TEST_F(QueryTable, SelectTableMergesDatastoresWithTheirNameFirst) {
    open_store("first");
    open_store("second");
    ASSERT_EQ(insert_run("first", provider_run("cpu", "h1", 1)), kOk);
    ASSERT_EQ(insert_run("second", provider_run("cpu", "h2", 2)), kOk);
    ASSERT_EQ(insert_run("second", provider_run("mem", "h2", 3)), kOk);
    Table table;

    ASSERT_TRUE(select_table("SELECT Provider, count(*) FROM vexa_1 GROUP BY Provider", table));

    EXPECT_EQ(table.columns, (std::vector<std::string>{"datastore", "Provider", "count(*)"}));
    EXPECT_EQ(table.rows,
              (std::vector<Cells>{
                  {"first", "cpu", "1"}, {"second", "cpu", "1"}, {"second", "mem", "1"}}));
}

TEST_F(QueryTable, SelectTableSkipsAndNamesDatastoresThatCannotAnswer) {
    register_steered("plain", "");
    open_store("store");
    register_steered("broken", "code=1");
    register_steered("thrower", "throw=std");
    register_steered("streams", "", std::bitset<2>().set(vexa::datastore::stream));
    ScopedLogLevel debug(7);
    std::vector<std::string> unsupported{"stale"};
    Table table;
    StderrCapture err;

    ASSERT_TRUE(select_table("SELECT 42 AS answer", table, &unsupported));

    EXPECT_EQ(err.text(),
              "Operation code 768 unsupported for plain\n"
              "Operation code 768 failed for broken\n"
              "Operation code 768 failed for thrower\n");
    EXPECT_EQ(unsupported, std::vector<std::string>{"plain"});
    EXPECT_EQ(table.columns, (std::vector<std::string>{"datastore", "answer"}));
    EXPECT_EQ(table.rows, (std::vector<Cells>{{"store", "42"}}));
}

TEST_F(QueryTable, SelectTableIsFalseWhenNoDatastoreAnswers) {
    register_steered("plain", "");
    std::vector<std::string> unsupported;
    Table table;
    table.columns = {"old"};

    EXPECT_FALSE(select_table("SELECT 1", table, &unsupported));

    EXPECT_EQ(unsupported, std::vector<std::string>{"plain"});
    EXPECT_TRUE(table.columns.empty());
    EXPECT_TRUE(table.rows.empty());
}

TEST_F(QueryTable, SelectTableAsksNobodyForAnEmptyQuery) {
    register_steered("plain", "");
    ScopedLogLevel debug(7);
    Table table;
    StderrCapture err;

    EXPECT_FALSE(select_table("", table));

    EXPECT_EQ(err.text(), "");
}

TEST_F(QueryTable, SelectTableLeavesOutAnswersWithOtherColumns) {
    std::string const other = open_store("other");
    open_store("main");
    // The same query finds other columns where the view has another shape.
    PlainConnection(other, false).execute("DROP VIEW vexa_1; CREATE VIEW vexa_1 AS SELECT 1 AS x;");
    ScopedLogLevel debug(7);
    Table table;
    StderrCapture err;

    ASSERT_TRUE(select_table("SELECT * FROM vexa_1 LIMIT 0", table));

    EXPECT_EQ(err.text(),
              "Columns of \"main\" differ from those of \"other\"; its rows are left out\n");
    EXPECT_EQ(table.columns, (std::vector<std::string>{"datastore", "x"}));
}

}  // namespace
