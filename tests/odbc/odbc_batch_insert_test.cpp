// Batched inserts on PostgreSQL and on SQLite through ODBC: inside a batch
// the plug-in sends its rows many to a statement; every row still comes back
// exactly, whatever the batch's size, and a row that fails takes the whole
// batch with it.
#include <cstdint>
#include <limits>
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
using vexa::datastore::Row;
using vexa::test::control;
using vexa::test::expect_row_of;
using vexa::test::insert_run;
using vexa::test::provider_run;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

// The rows the plug-in sends in one statement; the failure tests below pin it.
constexpr int kRowsPerStatement = 256;

class OdbcBatchInsert : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        if (GetParam()) {
            file_ = dir_.file("batch.db");
            source_ = vexa::test::sqlite_odbc_source(file_);
        } else {
            database_ = vexa::test::fresh_database();
            source_ = vexa::test::pg_source(database_);
        }
        vexa::test::open_odbc("b", source_);
    }
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    bool sqlite() const { return GetParam(); }

    // Makes the database refuse a row of the host "bad", naming the rule
    // no_bad_host in its reason.
    void refuse_bad_host() {
        if (sqlite()) {
            vexa::test::PlainConnection(file_, false)
                .execute(
                    "CREATE TRIGGER no_bad_host BEFORE INSERT ON provider_datastore "
                    "WHEN NEW.Hostname = 'bad' BEGIN SELECT RAISE(ABORT, 'no_bad_host'); "
                    "END;");
        } else {
            vexa::test::psql(database_,
                             "ALTER TABLE provider_datastore ADD CONSTRAINT no_bad_host "
                             "CHECK (Hostname <> 'bad');");
        }
    }

    std::vector<Row> stored() {
        std::vector<Row> rows;
        EXPECT_EQ(vexa::test::select_query("b", "SELECT * FROM vexa_1 ORDER BY rowid", rows), kOk);
        return rows;
    }

    // Stores `runs` in one batch.
    void store_batch(std::vector<InsertRequest> const& runs) {
        ASSERT_EQ(control("b", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
        for (InsertRequest const& run : runs) {
            ASSERT_EQ(insert_run("b", run), kOk);
        }
        ASSERT_EQ(control("b", OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    }

    // Every stored row is the run of `runs` at its place, exactly.
    void expect_stored(std::vector<InsertRequest> const& runs) {
        std::vector<Row> const rows = stored();
        ASSERT_EQ(rows.size(), runs.size());
        for (std::size_t i = 0; i < runs.size(); ++i) {
            SCOPED_TRACE("row " + std::to_string(i));
            expect_row_of(rows[i],
                          sqlite() ? vexa::test::as_sqlite_driver_keeps_it(runs[i]) : runs[i]);
        }
    }

    vexa::test::TempDir dir_;
    std::string file_;
    std::string database_;
    std::string source_;
};

std::vector<InsertRequest> numbered_runs(int count) {
    std::vector<InsertRequest> runs;
    for (int i = 0; i < count; ++i) {
        runs.push_back(provider_run("p", "h" + std::to_string(i), i));
    }
    return runs;
}

TEST_P(OdbcBatchInsert, BatchesOfOneOfAStatementAndOfAStatementAndOneComeBackExactly) {
    std::vector<InsertRequest> all;
    int stamp = 0;
    for (int count : {1, kRowsPerStatement, kRowsPerStatement + 1, 2 * kRowsPerStatement + 3}) {
        std::vector<InsertRequest> runs;
        for (int i = 0; i < count; ++i, ++stamp) {
            runs.push_back(provider_run("p" + std::to_string(count), "h", stamp));
        }
        store_batch(runs);
        all.insert(all.end(), runs.begin(), runs.end());
    }
    expect_stored(all);
}

TEST_P(OdbcBatchInsert, AwkwardValuesComeBackExactlyFromEveryPlaceOfABatch) {
    std::vector<InsertRequest> runs;
    for (int i = 0; i < kRowsPerStatement + 2; ++i) {
        runs.push_back(provider_run("p", "h", i));
    }
    InsertRequest& quoted = runs[0];
    quoted.header.Provider = "it's";
    quoted.header.Hostname = "h\xc3\xa9te \xe2\x82\xac";
    quoted.stdout_text = "say \"hi\"; -- not a comment\n\\N ?, ?";
    quoted.stderr_text = "'); DROP TABLE provider_datastore; --";
    InsertRequest& empty = runs[1];
    empty.header.Provider.clear();
    empty.header.Hostname.clear();
    empty.header.node_names.clear();
    empty.header.num_nodes = 0;
    empty.header.Exit_status = 0;
    empty.header.Timestamp = 0;
    empty.header.Duration = 0.0;
    empty.header.Encoding = vexa::provider::none;
    empty.header.version = 0;
    empty.header.Username.clear();
    empty.header.Unique_timestamp = 0;
    empty.option_id.clear();
    empty.stdout_text.clear();
    empty.stderr_text.clear();
    InsertRequest& extreme = runs[kRowsPerStatement - 1];
    extreme.header.Timestamp = std::numeric_limits<std::int64_t>::min();
    extreme.header.Unique_timestamp = std::numeric_limits<std::int64_t>::max();
    extreme.header.Exit_status = std::numeric_limits<std::int32_t>::min();
    extreme.header.version = std::numeric_limits<std::int32_t>::max();
    extreme.header.Duration = 0.1 + 0.2;
    InsertRequest& long_texts = runs[kRowsPerStatement];
    long_texts.stdout_text = std::string(1 << 20, 'o') + "\xc3\xa9nd";
    long_texts.stderr_text = std::string(70'000, 'e');
    runs.back().header.Unique_timestamp = std::numeric_limits<std::int64_t>::min();
    store_batch(runs);
    expect_stored(runs);
}

// Both drivers take a bound text up to its first NUL byte, whatever length
// it is given with; a batch stores such a text as a single insert does.
TEST_P(OdbcBatchInsert, ATextHoldingANulIsStoredUpToItInABatchAsAlone) {
    std::vector<InsertRequest> runs;
    for (std::int64_t stamp : {1, 2, 3}) {
        InsertRequest& run = runs.emplace_back(provider_run("p", "h", stamp));
        run.stdout_text = std::string("before\0after", 12);
    }
    ASSERT_EQ(insert_run("b", runs[0]), kOk);
    store_batch({runs[1], runs[2]});
    std::vector<Row> const rows = stored();
    ASSERT_EQ(rows.size(), 3u);
    for (Row const& row : rows) {
        EXPECT_EQ(row.STDOUT, "before");
    }
}

TEST_P(OdbcBatchInsert, ARowFailingInTheMiddleOfAStatementRollsBackTheWholeBatchAndSaysSo) {
    refuse_bad_host();
    std::vector<InsertRequest> runs = numbered_runs(kRowsPerStatement + 40);
    runs[100].header.Hostname = "bad";
    vexa::test::ScopedLogLevel const level(4);
    vexa::test::StderrCapture capture;
    ASSERT_EQ(control("b", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    for (int i = 0; i < kRowsPerStatement - 1; ++i) {
        ASSERT_EQ(insert_run("b", runs[i]), kOk) << "row " << i;
    }
    // The row that fills the statement sends it, and meets the failure.
    EXPECT_EQ(insert_run("b", runs[kRowsPerStatement - 1]), kFailed);
    EXPECT_EQ(insert_run("b", runs[kRowsPerStatement]), kFailed);
    EXPECT_EQ(control("b", OP_COMMIT_BATCH, nullptr, nullptr), kFailed);
    std::string const log = capture.text();
    EXPECT_NE(log.find("Datastore \"b\": batch rolled back: SQLExecute: ["), std::string::npos)
        << log;
    EXPECT_NE(log.find("no_bad_host"), std::string::npos) << log;
    EXPECT_TRUE(stored().empty());
    ASSERT_EQ(insert_run("b", runs[0]), kOk);  // the batch is over
    EXPECT_EQ(stored().size(), 1u);
}

TEST_P(OdbcBatchInsert, ARowFailingInTheLastShortStatementFailsTheCommitAndStoresNothing) {
    refuse_bad_host();
    std::vector<InsertRequest> runs = numbered_runs(kRowsPerStatement + 5);
    runs[kRowsPerStatement + 2].header.Hostname = "bad";
    vexa::test::ScopedLogLevel const level(4);
    vexa::test::StderrCapture capture;
    ASSERT_EQ(control("b", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    for (InsertRequest const& run : runs) {
        ASSERT_EQ(insert_run("b", run), kOk);
    }
    EXPECT_EQ(control("b", OP_COMMIT_BATCH, nullptr, nullptr), kFailed);
    std::string const log = capture.text();
    EXPECT_NE(log.find("Datastore \"b\": batch rolled back: SQLExecute: ["), std::string::npos)
        << log;
    EXPECT_TRUE(stored().empty());
}

TEST_P(OdbcBatchInsert, ReadsInsideABatchSeeTheRowsNotYetSent) {
    ASSERT_EQ(control("b", OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(insert_run("b", provider_run("p", "h", i)), kOk);
    }
    vexa::datastore::Table table;
    std::string const count = "SELECT count(*) AS n FROM vexa_1";
    ASSERT_EQ(control("b", OP_QUERY_TABLE, &count, &table), kOk);
    ASSERT_EQ(table.rows.size(), 1u);
    EXPECT_EQ(table.rows[0][0], std::optional<std::string>("3"));

    ASSERT_EQ(insert_run("b", provider_run("p", "h", 3)), kOk);
    vexa::datastore::PruneRequest request;
    request.older_than = provider_run("p", "h", 100).header.Unique_timestamp;
    request.dry_run = true;
    std::uint64_t removed = 0;
    ASSERT_EQ(control("b", OP_PRUNE, &request, &removed), kOk);
    EXPECT_EQ(removed, 4u);

    ASSERT_EQ(insert_run("b", provider_run("p", "h", 4)), kOk);
    ASSERT_EQ(control("b", OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    EXPECT_EQ(stored().size(), 5u);
}

INSTANTIATE_TEST_SUITE_P(Backends, OdbcBatchInsert, ::testing::Values(false, true),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "SqliteThroughOdbc" : "Postgresql";
                         });

}  // namespace
