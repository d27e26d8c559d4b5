// A record stored twice is kept once: an insert that failed after reaching
// the file (a lost answer, say) can be retried, alone or in a batch. Files
// that already hold a run twice keep it, open in both modes, and keep later
// retries out through a trigger instead of the run-key index.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::default_create_baseline_query;
using vexa::datastore::default_create_table_query;
using vexa::datastore::default_create_view_query;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::provider_run;
using vexa::test::sqlite_params;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;

class SqliteRetriedInsert : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    std::vector<std::string> stored() {
        PlainConnection db(file_);
        return db.rows(
            "SELECT rowid, Provider, Hostname, OptionID, Unique_timestamp, STDOUT FROM "
            "provider_datastore ORDER BY rowid;");
    }

    // A file as an older version of the library left it, holding the run
    // (cpu, n1, opt-a, 1) twice.
    void write_file_with_a_duplicate() {
        PlainConnection db(file_, false);
        db.execute(default_create_table_query + default_create_baseline_query +
                   default_create_view_query);
        db.execute(
            "CREATE INDEX provider_datastore_latest ON provider_datastore(Provider, Hostname, "
            "OptionID, Unique_timestamp DESC);"
            "INSERT INTO provider_datastore(Provider, Hostname, OptionID, Unique_timestamp, "
            "STDOUT) VALUES('cpu', 'n1', 'opt-a', 1700000000000001, 'first'), ('cpu', 'n1', "
            "'opt-a', 1700000000000001, 'second');");
    }

    vexa::test::TempDir dir_;
    std::string const file_ = dir_.file("store.db");
};

TEST_F(SqliteRetriedInsert, ARetriedRecordSucceedsAndIsStoredOnce) {
    open_sqlite("rw", sqlite_params(file_, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1, "opt-b")), kOk);

    EXPECT_EQ(stored(),
              (std::vector<std::string>{"1|cpu|n1|opt-a|1700000000000001|cpu on n1 says 1\n",
                                        "2|cpu|n1|opt-b|1700000000000001|cpu on n1 says 1\n"}));
}

TEST_F(SqliteRetriedInsert, ARetriedRecordInABatchSucceedsAndIsStoredOnce) {
    open_sqlite("rw", sqlite_params(file_, false));
    ASSERT_EQ(control("rw", vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 7)), kOk);
    }
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n2", 7)), kOk);
    ASSERT_EQ(control("rw", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kOk);

    EXPECT_EQ(stored(),
              (std::vector<std::string>{"1|cpu|n1|opt-a|1700000000000007|cpu on n1 says 7\n",
                                        "2|cpu|n2|opt-a|1700000000000007|cpu on n2 says 7\n"}));
}

TEST_F(SqliteRetriedInsert, AFileHoldingARunTwiceOpensWritableKeepsItAndSkipsLaterRetries) {
    write_file_with_a_duplicate();
    {
        vexa::test::ScopedLogLevel const level(6);
        vexa::test::StderrCapture captured;
        open_sqlite("rw", sqlite_params(file_, false));
        EXPECT_NE(captured.text().find(
                      "sqlite3 " + file_ +
                      ": records stored twice already (UNIQUE constraint failed: "
                      "provider_datastore.Provider, provider_datastore.Hostname, "
                      "provider_datastore.OptionID, provider_datastore.Unique_timestamp); a "
                      "trigger skips retried records instead of a unique "
                      "provider_datastore_latest\n"),
                  std::string::npos);
    }
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 2)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 2)), kOk);

    EXPECT_EQ(stored(),
              (std::vector<std::string>{"1|cpu|n1|opt-a|1700000000000001|first",
                                        "2|cpu|n1|opt-a|1700000000000001|second",
                                        "3|cpu|n1|opt-a|1700000000000002|cpu on n1 says 2\n"}));
}

TEST_F(SqliteRetriedInsert, AFileHoldingARunTwiceOpensReadOnlyAndReadsBoth) {
    write_file_with_a_duplicate();
    open_sqlite("ro", sqlite_params(file_, true));
    std::vector<vexa::datastore::Row> rows;
    ASSERT_EQ(vexa::test::select_query("ro", "SELECT * FROM vexa_1", rows), kOk);
    EXPECT_EQ(rows.size(), 2u);
}

TEST_F(SqliteRetriedInsert, TheIndexReplacesTheTriggerOnceTheDuplicatesAreGone) {
    write_file_with_a_duplicate();
    open_sqlite("rw", sqlite_params(file_, false));
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    PlainConnection(file_, false).execute("DELETE FROM provider_datastore WHERE rowid = 2;");

    open_sqlite("rw", sqlite_params(file_, false));
    PlainConnection db(file_);
    EXPECT_EQ(
        db.rows("SELECT name, \"unique\" FROM pragma_index_list('provider_datastore') "
                "ORDER BY name;"),
        (std::vector<std::string>{"provider_datastore_latest|1", "provider_datastore_passed|0"}));
    EXPECT_TRUE(db.rows("SELECT name FROM sqlite_master WHERE name LIKE '%skip_retried';").empty());
}

// The library always stores an OptionID, "" when there is none; a NULL
// comes only from another program, and such rows stay as it wrote them.
TEST_F(SqliteRetriedInsert, RowsWithANullOptionIdFromAnotherProgramAreNeverDuplicates) {
    open_sqlite("rw", sqlite_params(file_, false));
    std::string output;
    ASSERT_EQ(vexa::test::run_sqlite3_program(
                  file_,
                  "INSERT INTO provider_datastore(Provider, Hostname, Unique_timestamp) VALUES"
                  "('cpu', 'n1', 5), ('cpu', 'n1', 5);",
                  output),
              0)
        << output;
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1, "")), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1, "")), kOk);

    EXPECT_EQ(stored(),
              (std::vector<std::string>{"1|cpu|n1|NULL|5|NULL", "2|cpu|n1|NULL|5|NULL",
                                        "3|cpu|n1||1700000000000001|cpu on n1 says 1\n"}));
}

}  // namespace
