// The project's own operations on PostgreSQL and on SQLite through ODBC:
// any-column queries, batches and pruning, through control() and the front
// end, as the SQLite plug-in serves them.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::InsertRequest;
using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::datastore::OP_PRUNE;
using vexa::datastore::OP_QUERY_TABLE;
using vexa::datastore::PruneRequest;
using vexa::datastore::Row;
using vexa::datastore::Table;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_odbc;
using vexa::test::provider_run;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

class OdbcOperations : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        source_ = GetParam() ? vexa::test::sqlite_odbc_source(dir_.file("ops.db"))
                             : vexa::test::pg_source(vexa::test::fresh_database());
        open_odbc("ops", source_);
    }
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    std::size_t stored() {
        std::vector<Row> rows;
        EXPECT_EQ(vexa::test::select_query("ops", "SELECT * FROM vexa_1", rows), kOk);
        return rows.size();
    }

    int query(std::string const& sql, Table& table) {
        return control("ops", OP_QUERY_TABLE, &sql, &table);
    }

    int prune(PruneRequest const& request, std::uint64_t& removed) {
        return control("ops", OP_PRUNE, &request, &removed);
    }

    vexa::test::TempDir dir_;
    std::string source_;
};

TEST_P(OdbcOperations, QueryTableGivesColumnsExactIntegersAndNulls) {
    InsertRequest run = provider_run("p", "h", 1);
    run.header.Unique_timestamp = 1'700'000'000'123'457;
    ASSERT_EQ(insert_run("ops", run), kOk);
    Table table;
    ASSERT_EQ(query("SELECT Provider AS name, Unique_timestamp AS stamp, NULL AS missing "
                    "FROM vexa_1;",
                    table),
              kOk);
    EXPECT_EQ(table.columns, (std::vector<std::string>{"name", "stamp", "missing"}));
    ASSERT_EQ(table.rows.size(), 1u);
    EXPECT_EQ(table.rows[0][0], std::optional<std::string>("p"));
    EXPECT_EQ(table.rows[0][1], std::optional<std::string>("1700000000123457"));
    EXPECT_EQ(table.rows[0][2], std::nullopt);
}

TEST_P(OdbcOperations, QueryTableHasWritesRefusedByTheDatabaseSystem) {
    ASSERT_EQ(insert_run("ops", provider_run("p", "h", 1)), kOk);
    vexa::test::ScopedLogLevel const level(4);
    vexa::test::StderrCapture capture;
    Table table;
    EXPECT_EQ(query("DELETE FROM provider_datastore", table), kFailed);
    EXPECT_EQ(query("SELECT 1; DELETE FROM provider_datastore", table), kFailed);
    std::string const log = capture.text();
    std::string const refusal = GetParam()
                                    ? "attempt to write a readonly database"
                                    : "ERROR: cannot execute DELETE in a read-only transaction";
    EXPECT_NE(log.find("Datastore \"ops\": SQLExecDirect: "), std::string::npos) << log;
    EXPECT_NE(log.find(refusal), std::string::npos) << log;
    EXPECT_EQ(stored(), 1u);
}

TEST_P(OdbcOperations, ABatchCommitsItsRowsTogetherAndReadsInsideSeeThem) {
    ASSERT_EQ(control("ops", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    EXPECT_EQ(control("ops", OP_BEGIN_BATCH, nullptr, nullptr), kFailed);  // one at a time
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(insert_run("ops", provider_run("p", "h", i)), kOk);
    }
    EXPECT_EQ(stored(), 5u);
    open_odbc("other", source_ + "|read_only=true");
    std::vector<Row> rows;
    if (!GetParam()) {
        // Another connection sees nothing before the commit (SQLite's file
        // lock would make it wait instead).
        ASSERT_EQ(vexa::test::select_query("other", "SELECT * FROM vexa_1", rows), kOk);
        EXPECT_TRUE(rows.empty());
    }
    ASSERT_EQ(control("ops", OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    ASSERT_EQ(vexa::test::select_query("other", "SELECT * FROM vexa_1", rows), kOk);
    EXPECT_EQ(rows.size(), 5u);
    EXPECT_EQ(control("ops", OP_COMMIT_BATCH, nullptr, nullptr), kOk);  // none open
}

TEST_P(OdbcOperations, AFailureInsideABatchRollsItBackAndSaysSo) {
    ASSERT_EQ(control("ops", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    ASSERT_EQ(insert_run("ops", provider_run("p", "h", 1)), kOk);
    InsertRequest bad = provider_run("p", "h", 2);
    bad.header.node_names = {"a,b"};
    vexa::test::ScopedLogLevel const level(4);
    vexa::test::StderrCapture capture;
    EXPECT_EQ(insert_run("ops", bad), kFailed);
    EXPECT_EQ(insert_run("ops", provider_run("p", "h", 3)), kFailed);
    EXPECT_EQ(control("ops", OP_COMMIT_BATCH, nullptr, nullptr), kFailed);
    std::string const log = capture.text();
    EXPECT_NE(log.find("Datastore \"ops\": batch rolled back: node name \"a,b\" holds a comma"),
              std::string::npos)
        << log;
    EXPECT_EQ(stored(), 0u);
    ASSERT_EQ(insert_run("ops", provider_run("p", "h", 4)), kOk);  // the batch is over
    EXPECT_EQ(stored(), 1u);
}

TEST_P(OdbcOperations, ABatchLeftOpenIsCommittedWhenTheInstanceCloses) {
    ASSERT_EQ(control("ops", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    ASSERT_EQ(insert_run("ops", provider_run("p", "h", 1)), kOk);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    open_odbc("ops", source_);
    EXPECT_EQ(stored(), 1u);
}

TEST_P(OdbcOperations, PruneRemovesOldRowsOfTheProvidersKeepingTheLatestWhenAsked) {
    // p/h: stamps 1..4 (opt-a), run 4 sent twice and stored once; q/h:
    // stamps 1, 2.
    for (int i = 1; i <= 4; ++i) {
        ASSERT_EQ(insert_run("ops", provider_run("p", "h", i)), kOk);
    }
    ASSERT_EQ(insert_run("ops", provider_run("p", "h", 4)), kOk);
    ASSERT_EQ(insert_run("ops", provider_run("q", "h", 1)), kOk);
    ASSERT_EQ(insert_run("ops", provider_run("q", "h", 2)), kOk);
    std::int64_t const base = provider_run("p", "h", 0).header.Unique_timestamp;

    PruneRequest request;
    request.older_than = base + 100;
    request.providers = {"p"};
    request.keep_latest = true;
    request.dry_run = true;
    std::uint64_t removed = 99;
    ASSERT_EQ(prune(request, removed), kOk);
    EXPECT_EQ(removed, 3u);
    EXPECT_EQ(stored(), 6u);

    request.dry_run = false;
    ASSERT_EQ(prune(request, removed), kOk);
    EXPECT_EQ(removed, 3u);
    EXPECT_EQ(stored(), 3u);

    PruneRequest everything;
    everything.older_than = base + 2;
    ASSERT_EQ(prune(everything, removed), kOk);
    EXPECT_EQ(removed, 1u);  // q at stamp 1
    EXPECT_EQ(stored(), 2u);
}

TEST_P(OdbcOperations, AReadOnlyInstancePrunesOnlyInADryRunAndBeginsNoBatch) {
    ASSERT_EQ(insert_run("ops", provider_run("p", "h", 1)), kOk);
    open_odbc("ro", source_ + "|read_only=true");
    PruneRequest request;
    request.older_than = provider_run("p", "h", 5).header.Unique_timestamp;
    std::uint64_t removed = 0;
    EXPECT_EQ(control("ro", OP_PRUNE, &request, &removed), kFailed);
    request.dry_run = true;
    ASSERT_EQ(control("ro", OP_PRUNE, &request, &removed), kOk);
    EXPECT_EQ(removed, 1u);
    EXPECT_EQ(control("ro", OP_BEGIN_BATCH, nullptr, nullptr), kFailed);
    EXPECT_EQ(stored(), 1u);
}

TEST_P(OdbcOperations, TheFrontEndMergesTablesAndPruneCountsByInstance) {
    ASSERT_EQ(insert_run("ops", provider_run("p", "h", 1)), kOk);
    Table table;
    ASSERT_TRUE(vexa::datastore::select_table("SELECT Hostname FROM vexa_1", table));
    // PostgreSQL folds the unquoted name to lower case.
    EXPECT_EQ(table.columns,
              (std::vector<std::string>{"datastore", GetParam() ? "Hostname" : "hostname"}));
    ASSERT_EQ(table.rows.size(), 1u);
    EXPECT_EQ(table.rows[0][0], std::optional<std::string>("ops"));
    EXPECT_EQ(table.rows[0][1], std::optional<std::string>("h"));

    PruneRequest request;
    request.older_than = provider_run("p", "h", 5).header.Unique_timestamp;
    std::vector<std::pair<std::string, std::uint64_t>> removed;
    ASSERT_TRUE(vexa::datastore::prune_rows(request, removed));
    EXPECT_EQ(removed, (std::vector<std::pair<std::string, std::uint64_t>>{{"ops", 1}}));
}

INSTANTIATE_TEST_SUITE_P(Backends, OdbcOperations, ::testing::Values(false, true),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "SqliteThroughOdbc" : "Postgresql";
                         });

}  // namespace
