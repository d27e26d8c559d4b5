// Since when a pair has been failing, as the SQLite plug-in finds it: the
// index of passing runs that makes the last pass one lookup, and
// OP_FAILING_SINCE over random histories checked against all their rows.
#include <algorithm>
#include <chrono>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "run_pair_history.h"
#include "sqlite_datastores.h"
#include "statements.h"
#include "test_support.h"

namespace {

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

using vexa::datastore::OP_FAILING_SINCE;
using vexa::datastore::RunPairBound;
using vexa::datastore::RunPairHistory;
using vexa::test::control;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::sqlite_params;

std::string const kPassingIndexRow =
    "index|provider_datastore_passed|CREATE INDEX provider_datastore_passed ON "
    "provider_datastore(Provider, Hostname, OptionID, Unique_timestamp) WHERE Exit_status = 0";

class SqliteFailingSince : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    std::vector<std::string> passing_index_rows() {
        return PlainConnection(file_).rows(
            "SELECT type, name, sql FROM sqlite_master WHERE name = "
            "'provider_datastore_passed';");
    }

    // A file as the library wrote it before it kept the index of passing runs.
    void write_file_without_passing_index() {
        PlainConnection db(file_, false);
        db.execute(vexa::datastore::default_create_table_query +
                   vexa::datastore::default_create_baseline_query +
                   vexa::datastore::default_create_view_query +
                   "CREATE INDEX provider_datastore_latest ON provider_datastore(Provider, "
                   "Hostname, OptionID, Unique_timestamp DESC);"
                   "INSERT INTO provider_datastore(Provider, Hostname, OptionID, Exit_status, "
                   "Unique_timestamp) VALUES('cpu', 'n1', 'o', 0, 5), ('cpu', 'n1', 'o', 1, 6);");
    }

    vexa::test::TempDir dir_;
    std::string const file_ = dir_.file("store.db");
};

TEST_F(SqliteFailingSince, ANewFileHoldsTheIndexOfPassingRuns) {
    open_sqlite("rw", sqlite_params(file_, false));
    EXPECT_EQ(passing_index_rows(), std::vector<std::string>{kPassingIndexRow});
}

TEST_F(SqliteFailingSince, AWritableOpenOfAnOlderFileBuildsTheIndexAndSaysSo) {
    write_file_without_passing_index();
    {
        vexa::test::ScopedLogLevel const level(6);
        vexa::test::StderrCapture captured;
        open_sqlite("rw", sqlite_params(file_, false));
        std::string const text = captured.text();
        EXPECT_TRUE(std::regex_search(
            text, std::regex("sqlite3 " + file_ +
                             ": index provider_datastore_passed of passing runs created in "
                             "[0-9]+ ms\n")))
            << text;
    }
    EXPECT_EQ(passing_index_rows(), std::vector<std::string>{kPassingIndexRow});
}

TEST_F(SqliteFailingSince, AReadOnlyOpenOfAnOlderFileLeavesItWithoutTheIndex) {
    write_file_without_passing_index();
    open_sqlite("ro", sqlite_params(file_, true));
    EXPECT_TRUE(passing_index_rows().empty());
}

TEST_F(SqliteFailingSince, TheLastPassIsOneLookupInTheIndexOfPassingRuns) {
    open_sqlite("rw", sqlite_params(file_, false));
    PlainConnection db(file_);
    for (bool const null_option : {false, true}) {
        std::vector<std::string> const plan =
            db.rows("EXPLAIN QUERY PLAN " + vexa::datastore::common::last_pass_query(null_option));
        ASSERT_EQ(plan.size(), 1u);
        // The row's detail, after its numbers.
        EXPECT_EQ(plan[0].substr(plan[0].rfind('|') + 1),
                  "SEARCH provider_datastore USING INDEX provider_datastore_passed (Provider=? "
                  "AND Hostname=? AND OptionID=?)");
    }
}

TEST_F(SqliteFailingSince, RandomHistoriesGiveWhatAllTheirRowsSay) {
    open_sqlite("rw", sqlite_params(file_, false));
    PlainConnection other(file_, false);
    vexa::test::RandomRuns runs(20261126);
    for (int round = 0; round < 6; ++round) {
        for (int i = 0; i < 60; ++i) {
            ASSERT_EQ(vexa::test::insert_run("rw", runs.next()), kOk);
        }
        // Rows of other programs: a NULL option, also tying with an empty
        // one stored before it.
        other.execute(
            "UPDATE provider_datastore SET OptionID = NULL WHERE rowid IN (SELECT rowid FROM "
            "provider_datastore WHERE OptionID = '' ORDER BY rowid DESC LIMIT 2);"
            "INSERT INTO provider_datastore(Provider, Hostname, OptionID, Exit_status, "
            "Timestamp, Unique_timestamp) SELECT Provider, Hostname, NULL, 1, Timestamp + 1, "
            "Unique_timestamp FROM provider_datastore WHERE OptionID = '' ORDER BY rowid "
            "LIMIT 1;");
        std::vector<RunPairBound> const pairs = runs.pairs();
        std::vector<std::string> const expected = vexa::test::brute_force_histories("rw", pairs);
        EXPECT_EQ(vexa::test::asked_histories("rw", pairs), expected) << "round " << round;
        // Pairs failing since a pass, never passed, and passed last.
        auto const count = [&](std::regex const& pattern) {
            return std::count_if(expected.begin(), expected.end(), [&](std::string const& text) {
                return std::regex_match(text, pattern);
            });
        };
        EXPECT_GT(count(std::regex("-?[0-9]+\\|-?[0-9]+\\|[0-9]+")), 0);
        EXPECT_GT(count(std::regex("-\\|-?[0-9]+\\|[0-9]+")), 0);
        EXPECT_GT(count(std::regex("-?[0-9]+\\|-\\|-")), 0);
    }
    open_sqlite("ro", sqlite_params(file_, true));
    std::vector<RunPairBound> const pairs = runs.pairs();
    EXPECT_EQ(vexa::test::asked_histories("ro", pairs),
              vexa::test::brute_force_histories("rw", pairs));
}

TEST_F(SqliteFailingSince, AnUnknownPairHasNeitherAPassNorARun) {
    open_sqlite("rw", sqlite_params(file_, false));
    EXPECT_EQ(vexa::test::asked_histories(
                  "rw", {{"ghost", "n0", "o", std::nullopt}, {"ghost", "n0", "o", 5}}),
              (std::vector<std::string>{"-|-|-", "-|-|-"}));
}

TEST_F(SqliteFailingSince, AFileWithoutTheIndexAnswersAlike) {
    write_file_without_passing_index();
    open_sqlite("ro", sqlite_params(file_, true));
    EXPECT_EQ(vexa::test::asked_histories(
                  "ro", {{"cpu", "n1", "o", std::nullopt}, {"cpu", "n1", "o", 4}}),
              (std::vector<std::string>{"5|6|0", "5|5|0"}));
}

TEST_F(SqliteFailingSince, AFailureKeepsSQLitesReasonForTheLastFailure) {
    open_sqlite("rw", sqlite_params(file_, false));
    PlainConnection(file_, false).execute("DROP TABLE provider_datastore;");
    std::vector<RunPairBound> const pairs{{"cpu", "n1", "o", std::nullopt}};
    std::vector<RunPairHistory> histories;
    EXPECT_EQ(control("rw", OP_FAILING_SINCE, &pairs, &histories), kFailed);
    EXPECT_TRUE(histories.empty());
    std::string reason;
    ASSERT_EQ(control("rw", vexa::datastore::OP_LAST_FAILURE, nullptr, &reason), kOk);
    EXPECT_EQ(reason, "no such table: provider_datastore");
}

TEST_F(SqliteFailingSince, ACallLongerThanTheTimeLimitTimesOut) {
    open_sqlite("rw", sqlite_params(file_, false));
    std::chrono::milliseconds const limit(1);
    ASSERT_EQ(control("rw", vexa::datastore::OP_SET_TIME_LIMIT, &limit, nullptr), kOk);
    std::vector<RunPairBound> const pairs(300000, RunPairBound{"cpu", "n1", "", std::nullopt});
    std::vector<RunPairHistory> histories;
    EXPECT_EQ(control("rw", OP_FAILING_SINCE, &pairs, &histories), kFailed);
    std::string reason;
    ASSERT_EQ(control("rw", vexa::datastore::OP_LAST_FAILURE, nullptr, &reason), kOk);
    EXPECT_EQ(reason, "timed out: the call ran longer than its limit of 1 ms");
}

}  // namespace
