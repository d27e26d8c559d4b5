// Since when a pair has been failing, as the ODBC plug-in finds it on the
// fixture's PostgreSQL server and on SQLite through its ODBC driver: the
// index of passing runs, and OP_FAILING_SINCE over random histories checked
// against all their rows.
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "odbc_test_support.h"
#include "run_pair_history.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::OP_FAILING_SINCE;
using vexa::datastore::RunPairBound;
using vexa::datastore::RunPairHistory;
using vexa::test::control;
using vexa::test::open_odbc;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;
using vexa::test::psql;

class OdbcFailingSince : public vexa::test::OdbcBackendTest {
  protected:
    // The index of passing runs as the database system describes it; "" when
    // it is missing.
    std::string passing_index() {
        if (sqlite()) {
            std::vector<std::string> const rows = vexa::test::PlainConnection(file_).rows(
                "SELECT sql FROM sqlite_master WHERE name = 'provider_datastore_passed';");
            return rows.empty() ? "" : rows[0];
        }
        return psql(database_,
                    "SELECT indexdef FROM pg_indexes WHERE indexname = "
                    "'provider_datastore_passed';");
    }

    std::string expected_passing_index() const {
        return sqlite() ? "CREATE INDEX provider_datastore_passed ON provider_datastore(Provider, "
                          "Hostname, OptionID, Unique_timestamp) WHERE Exit_status = 0"
                        : "CREATE INDEX provider_datastore_passed ON public.provider_datastore "
                          "USING btree (provider, hostname, optionid, unique_timestamp) WHERE "
                          "(exit_status = 0)\n";
    }

    // The schema as the library made it before the index of passing runs.
    void write_schema_without_passing_index() {
        open_odbc("s", source_);
        vexa::datastore::DataStoreParseUtility::clear_db_vector();
        other_client("DROP INDEX provider_datastore_passed;");
        ASSERT_EQ(passing_index(), "");
    }
};

TEST_P(OdbcFailingSince, ANewDatabaseHoldsTheIndexOfPassingRuns) {
    open_odbc("s", source_);
    EXPECT_EQ(passing_index(), expected_passing_index());
}

TEST_P(OdbcFailingSince, AWritableOpenOfAnOlderDatabaseBuildsTheIndexAndSaysSo) {
    write_schema_without_passing_index();
    {
        vexa::test::ScopedLogLevel const level(6);
        vexa::test::StderrCapture captured;
        open_odbc("s", source_);
        std::string const text = captured.text();
        EXPECT_TRUE(std::regex_search(
            text, std::regex(": index provider_datastore_passed of passing runs created in "
                             "[0-9]+ ms\n")))
            << text;
    }
    EXPECT_EQ(passing_index(), expected_passing_index());
}

TEST_P(OdbcFailingSince, AReadOnlyOpenOfAnOlderDatabaseLeavesItWithoutTheIndex) {
    write_schema_without_passing_index();
    open_odbc("s", source_ + "|read_only=true");
    EXPECT_EQ(passing_index(), "");
}

TEST_P(OdbcFailingSince, RandomHistoriesGiveWhatAllTheirRowsSay) {
    open_odbc("s", source_);
    vexa::test::RandomRuns runs(20261127);
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < 60; ++i) {
            ASSERT_EQ(vexa::test::insert_run("s", runs.next()), kOk);
        }
        // Rows of other programs: a NULL option, also tying with an empty
        // one stored before it.
        other_client(
            "UPDATE provider_datastore SET OptionID = NULL WHERE rowid IN (SELECT rowid FROM "
            "provider_datastore WHERE OptionID = '' ORDER BY rowid DESC LIMIT 2);"
            "INSERT INTO provider_datastore(Provider, Hostname, OptionID, Exit_status, "
            "Timestamp, Unique_timestamp) SELECT Provider, Hostname, NULL, 1, Timestamp + 1, "
            "Unique_timestamp FROM provider_datastore WHERE OptionID = '' ORDER BY rowid "
            "LIMIT 1;");
        std::vector<RunPairBound> const pairs = runs.pairs();
        EXPECT_EQ(vexa::test::asked_histories("s", pairs),
                  vexa::test::brute_force_histories("s", pairs))
            << "round " << round;
    }
    open_odbc("ro", source_ + "|read_only=true");
    std::vector<RunPairBound> const pairs = runs.pairs();
    EXPECT_EQ(vexa::test::asked_histories("ro", pairs),
              vexa::test::brute_force_histories("s", pairs));
}

TEST_P(OdbcFailingSince, AnUnknownPairHasNeitherAPassNorARun) {
    open_odbc("s", source_);
    EXPECT_EQ(vexa::test::asked_histories(
                  "s", {{"ghost", "n0", "o", std::nullopt}, {"ghost", "n0", "", 5}}),
              (std::vector<std::string>{"-|-|-", "-|-|-"}));
}

TEST_P(OdbcFailingSince, AFailureKeepsTheDriversReasonForTheLastFailure) {
    open_odbc("s", source_);
    other_client(sqlite() ? "DROP TABLE provider_datastore;"
                          : "DROP TABLE provider_datastore CASCADE;");
    std::vector<RunPairBound> const pairs{{"cpu", "n1", "o", std::nullopt}};
    std::vector<RunPairHistory> histories;
    EXPECT_EQ(control("s", OP_FAILING_SINCE, &pairs, &histories), kFailed);
    EXPECT_TRUE(histories.empty());
    std::string reason;
    ASSERT_EQ(control("s", vexa::datastore::OP_LAST_FAILURE, nullptr, &reason), kOk);
    EXPECT_NE(reason.find("provider_datastore"), std::string::npos) << reason;
}

INSTANTIATE_TEST_SUITE_P(Backends, OdbcFailingSince, ::testing::Values(false, true),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "SqliteThroughOdbc" : "Postgresql";
                         });

}  // namespace
