// Since when a pair has been failing, as the SQLite plug-in finds it: the
// index of passing runs that makes the last pass one lookup, and
// OP_FAILING_SINCE over random histories checked against all their rows.
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "statements.h"
#include "test_support.h"

namespace {

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

}  // namespace
