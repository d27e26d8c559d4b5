// Streamed reads (OP_STREAM_QUERY) on PostgreSQL and on SQLite through ODBC:
// blocks in order, records as OP_SELECT reads them, an early stop, and the
// read-only refusal of OP_QUERY_TABLE.
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::OP_BEGIN_BATCH;
using vexa::datastore::OP_COMMIT_BATCH;
using vexa::datastore::OP_STREAM_QUERY;
using vexa::datastore::Row;
using vexa::datastore::StreamRequest;
using vexa::datastore::StreamResult;
using vexa::datastore::Table;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_odbc;
using vexa::test::provider_run;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

using Cells = std::vector<std::optional<std::string>>;

class OdbcStreamQuery : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        std::string const source = GetParam()
                                       ? vexa::test::sqlite_odbc_source(dir_.file("stream.db"))
                                       : vexa::test::pg_source(vexa::test::fresh_database());
        open_odbc("s", source);
        ASSERT_EQ(control("s", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
        for (int stamp = 1; stamp <= 2500; ++stamp) {
            ASSERT_EQ(insert_run("s", provider_run("cpu", "h" + std::to_string(stamp % 5), stamp)),
                      kOk);
        }
        ASSERT_EQ(control("s", OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    }
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    vexa::test::TempDir dir_;
};

TEST_P(OdbcStreamQuery, CellBlocksArriveInOrder) {
    std::vector<std::size_t> sizes;
    std::vector<Cells> rows;
    std::vector<std::string> columns;
    StreamRequest request;
    request.query =
        "SELECT Unique_timestamp - 1700000000000000 AS n FROM vexa_1 "
        "ORDER BY Unique_timestamp";
    request.on_table = [&](Table const& block) {
        sizes.push_back(block.rows.size());
        columns = block.columns;
        rows.insert(rows.end(), block.rows.begin(), block.rows.end());
        return true;
    };
    StreamResult result;

    ASSERT_EQ(control("s", OP_STREAM_QUERY, &request, &result), kOk);

    EXPECT_EQ(sizes, (std::vector<std::size_t>{1000, 1000, 500}));
    EXPECT_EQ(columns, std::vector<std::string>{"n"});
    ASSERT_EQ(rows.size(), 2500u);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        ASSERT_EQ(rows[i], Cells{std::to_string(i + 1)});
    }
    EXPECT_EQ(result.rows, 2500u);
}

TEST_P(OdbcStreamQuery, RecordBlocksHoldWhatOpSelectReadsAndFalseStops) {
    std::string const sql = "SELECT * FROM vexa_1 ORDER BY Unique_timestamp";
    std::vector<Row> whole;
    ASSERT_EQ(vexa::test::select_query("s", sql, whole), kOk);
    std::vector<Row> streamed;
    StreamRequest request;
    request.query = sql;
    request.block_rows = 700;
    request.on_rows = [&](std::vector<Row> const& block) {
        streamed.insert(streamed.end(), block.begin(), block.end());
        return streamed.size() < 1400;
    };
    StreamResult result;

    ASSERT_EQ(control("s", OP_STREAM_QUERY, &request, &result), kOk);

    ASSERT_EQ(streamed.size(), 1400u);
    EXPECT_EQ(result.rows, 1400u);
    for (std::size_t i = 0; i < streamed.size(); ++i) {
        ASSERT_EQ(streamed[i].Unique_timestamp, whole[i].Unique_timestamp);
        ASSERT_EQ(streamed[i].node_names, whole[i].node_names);
        ASSERT_EQ(streamed[i].Duration, whole[i].Duration);
        ASSERT_EQ(streamed[i].STDOUT, whole[i].STDOUT);
    }
}

TEST_P(OdbcStreamQuery, WritesAndSecondStatementsAreRefusedWithTheirReason) {
    vexa::test::ScopedLogLevel const level(4);
    vexa::test::StderrCapture capture;
    int calls = 0;
    StreamRequest request;
    request.on_table = [&](Table const&) { return ++calls > 0; };
    StreamResult result;

    request.query = "SELECT 1; DELETE FROM provider_datastore";
    EXPECT_EQ(control("s", OP_STREAM_QUERY, &request, &result), kFailed);
    // The database system refuses it: PostgreSQL the write of the read-only
    // transaction, the SQLite ODBC driver the second statement.
    EXPECT_EQ(result.failure,
              GetParam() ? "SQLExecDirect: [HY000] (-1) [SQLite]only one SQL statement allowed"
                         : "SQLExecDirect: [25006] (1) ERROR: cannot execute DELETE in a read-only "
                           "transaction; Error while executing the query");
    request.query = "DELETE FROM provider_datastore";
    EXPECT_EQ(control("s", OP_STREAM_QUERY, &request, &result), kFailed);
    EXPECT_NE(result.failure, "");

    EXPECT_EQ(calls, 0);
    std::vector<Row> rows;
    ASSERT_EQ(vexa::test::select_query("s", "SELECT * FROM vexa_1", rows), kOk);
    EXPECT_EQ(rows.size(), 2500u);
}

INSTANTIATE_TEST_SUITE_P(Backends, OdbcStreamQuery, ::testing::Values(false, true),
                         [](auto const& info) { return info.param ? "SqliteOdbc" : "PostgreSql"; });

}  // namespace
