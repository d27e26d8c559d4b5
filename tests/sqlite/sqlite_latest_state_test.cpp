// The latest-row state of the SQLite plug-in: kept by the file's own
// triggers whoever writes, read by OP_GET_LATEST_ROWS and OP_SELECT_HOSTS,
// and always giving the rows of the composed query on the same data.
#include <cstdint>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::ReadParameters;
using vexa::datastore::Row;
using vexa::test::control;
using vexa::test::extension_of;
using vexa::test::insert_run;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::provider_run;
using vexa::test::sqlite_params;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

std::vector<std::string> const kProviders = {"cpu", "mem", "uname"};

std::string text_of(Row const& row) {
    std::string names;
    for (std::string const& name : row.node_names) {
        names += name + ",";
    }
    return std::to_string(row.rowid) + "|" + row.Provider + "|" + row.Hostname + "|" +
           std::to_string(row.num_nodes) + "|" + names + "|" + std::to_string(row.Exit_status) +
           "|" + std::to_string(row.Timestamp) + "|" + std::to_string(row.Duration) + "|" +
           std::to_string(row.Encoding) + "|" + row.STDOUT + "|" + row.STDERR + "|" + row.OptionID +
           "|" + std::to_string(row.version) + "|" + row.Username + "|" +
           std::to_string(row.Unique_timestamp);
}

std::vector<std::string> texts_of(std::vector<Row> const& rows) {
    std::vector<std::string> texts;
    for (Row const& row : rows) {
        texts.push_back(text_of(row));
    }
    return texts;
}

vexa::datastore::interface& plugin_of(std::string const& name) {
    return dynamic_cast<vexa::datastore::interface&>(*extension_of(name));
}

// The latest rows of `providers` (and `hosts`) from the operation and from
// the composed query the library runs without the state.
void expect_latest_rows_as_composed(std::string const& name, std::vector<std::string> providers,
                                    std::vector<std::string> hosts = {}) {
    ReadParameters parameters;
    parameters.providers = providers;
    parameters.hostnames = hosts;
    std::vector<Row> from_state;
    ASSERT_EQ(control(name, vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &from_state), kOk);
    std::vector<Row> composed;
    ASSERT_TRUE(plugin_of(name).vexa::datastore::interface::get_latest_rows_provider(
        providers, composed, hosts));
    EXPECT_EQ(texts_of(from_state), texts_of(composed));
}

void expect_hosts_as_composed(std::string const& name) {
    vexa::datastore::SQLParameters sql;
    ReadParameters parameters;
    parameters.sql = &sql;
    std::vector<Row> from_state;
    ASSERT_EQ(control(name, vexa::datastore::OP_SELECT_HOSTS, &parameters, &from_state), kOk);
    std::vector<Row> composed;
    ASSERT_EQ(vexa::test::select_query(name,
                                       "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE "
                                       "Provider = 'uname' GROUP BY Hostname;",
                                       composed),
              kOk);
    EXPECT_EQ(texts_of(from_state), texts_of(composed));
}

// The state table next to the latest rows recomputed from the whole table.
void expect_state_as_recomputed(std::string const& file) {
    PlainConnection db(file);
    EXPECT_EQ(db.rows("SELECT Provider, Hostname, OptionID, Unique_timestamp, latest_rowid FROM "
                      "provider_datastore_state ORDER BY Provider, Hostname, OptionID;"),
              db.rows("SELECT Provider, Hostname, OptionID, MAX(Unique_timestamp), rowid FROM "
                      "provider_datastore GROUP BY Provider, Hostname, OptionID ORDER BY "
                      "Provider, Hostname, OptionID;"));
}

// The same where keys may hold a NULL and rows tie on the greatest stamp:
// per pair (a NULL a value of its own), the greatest stamp, the first
// stored among equal ones.
void expect_state_of_every_key_as_recomputed(std::string const& file) {
    PlainConnection db(file);
    EXPECT_EQ(db.rows("SELECT Provider, Hostname, OptionID, Unique_timestamp, latest_rowid FROM "
                      "provider_datastore_state ORDER BY Provider, Hostname, OptionID;"),
              db.rows("SELECT Provider, Hostname, OptionID, Unique_timestamp, rowid FROM "
                      "provider_datastore p WHERE NOT EXISTS (SELECT 1 FROM provider_datastore "
                      "q WHERE q.Provider IS p.Provider AND q.Hostname IS p.Hostname AND "
                      "q.OptionID IS p.OptionID AND (q.Unique_timestamp > p.Unique_timestamp OR "
                      "(q.Unique_timestamp = p.Unique_timestamp AND q.rowid < p.rowid))) ORDER "
                      "BY Provider, Hostname, OptionID;"));
}

// Values of a key where one in three is NULL.
std::string value_or_null(int pick, std::string const& value) {
    return pick % 3 == 0 ? "NULL" : "'" + value + "'";
}

class SqliteLatestState : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    void expect_everything_as_composed(std::string const& name) {
        expect_latest_rows_as_composed(name, kProviders);
        expect_latest_rows_as_composed(name, {"cpu"}, {"n1", "n3"});
        expect_hosts_as_composed(name);
        expect_state_as_recomputed(file_);
    }

    // A file as the library wrote it before it kept the state.
    void write_file_without_state(int runs) {
        PlainConnection db(file_, false);
        db.execute(vexa::datastore::default_create_table_query +
                   vexa::datastore::default_create_baseline_query +
                   vexa::datastore::default_create_view_query);
        db.execute(
            "CREATE INDEX provider_datastore_latest ON provider_datastore(Provider, Hostname, "
            "OptionID, Unique_timestamp DESC);");
        for (int i = 0; i < runs; ++i) {
            db.execute(
                "INSERT INTO provider_datastore(Provider, Hostname, OptionID, "
                "Unique_timestamp, STDOUT) VALUES('" +
                kProviders[i % 3] + "', 'n" + std::to_string(i % 4) + "', 'o" +
                std::to_string(i % 2) + "', " + std::to_string((i * 7919) % 23 - 11) + ", 'run " +
                std::to_string(i) + "');");
        }
    }

    // The state as older versions kept it: one general trigger for every
    // inserted row.
    void use_older_insert_trigger() {
        PlainConnection(file_, false)
            .execute(
                "DROP TRIGGER IF EXISTS provider_datastore_state_insert_pair; DROP TRIGGER IF "
                "EXISTS provider_datastore_state_insert_null_key; DROP TRIGGER IF EXISTS "
                "provider_datastore_state_insert; CREATE TRIGGER "
                "provider_datastore_state_insert AFTER INSERT ON provider_datastore BEGIN UPDATE "
                "provider_datastore_state SET Unique_timestamp = NEW.Unique_timestamp, "
                "latest_rowid = NEW.rowid WHERE Provider IS NEW.Provider AND Hostname IS "
                "NEW.Hostname AND OptionID IS NEW.OptionID AND (Unique_timestamp < "
                "NEW.Unique_timestamp OR (Unique_timestamp = NEW.Unique_timestamp AND "
                "latest_rowid > NEW.rowid)); INSERT INTO provider_datastore_state SELECT "
                "NEW.Provider, NEW.Hostname, NEW.OptionID, NEW.Unique_timestamp, NEW.rowid "
                "WHERE NOT EXISTS (SELECT 1 FROM provider_datastore_state WHERE Provider IS "
                "NEW.Provider AND Hostname IS NEW.Hostname AND OptionID IS NEW.OptionID); END;");
    }

    std::vector<std::string> state_trigger_names() {
        return PlainConnection(file_).rows(
            "SELECT name FROM sqlite_master WHERE type = 'trigger' AND tbl_name = "
            "'provider_datastore' ORDER BY name;");
    }

    vexa::test::TempDir dir_;
    std::string const file_ = dir_.file("store.db");
};

TEST_F(SqliteLatestState, RandomWorkloadsGiveTheRowsOfTheComposedQuery) {
    open_sqlite("rw", sqlite_params(file_, false));
    PlainConnection other(file_, false);
    std::mt19937 random(20261126);
    auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int step = 0; step < 400; ++step) {
        int const action = pick(20);
        if (action < 14) {
            // Out of order, negative and repeated stamps over few pairs.
            auto run = provider_run(kProviders[pick(3)], "n" + std::to_string(pick(4)),
                                    pick(40) - 20, "o" + std::to_string(pick(2)));
            run.header.Unique_timestamp = pick(40) - 20;
            ASSERT_EQ(insert_run("rw", run), kOk);
        } else if (action < 16) {
            other.execute(
                "DELETE FROM provider_datastore WHERE rowid = (SELECT latest_rowid "
                "FROM provider_datastore_state ORDER BY random() LIMIT 1);");
        } else if (action < 17) {
            std::string output;
            ASSERT_EQ(vexa::test::run_sqlite3_program(
                          file_,
                          "DELETE FROM provider_datastore WHERE rowid IN (SELECT rowid FROM "
                          "provider_datastore ORDER BY random() LIMIT 3);",
                          output),
                      0)
                << output;
        } else if (action < 18) {
            other.execute(
                "UPDATE OR IGNORE provider_datastore SET Unique_timestamp = Unique_timestamp - "
                "30, OptionID = 'o' || (abs(random()) % 3) WHERE rowid = (SELECT "
                "rowid FROM provider_datastore ORDER BY random() LIMIT 1);");
        } else {
            vexa::datastore::PruneRequest request;
            request.older_than = pick(30) - 20;
            request.keep_latest = action == 18;
            std::uint64_t removed = 0;
            ASSERT_EQ(control("rw", vexa::datastore::OP_PRUNE, &request, &removed), kOk);
        }
        if (step % 10 == 9) {
            expect_everything_as_composed("rw");
        }
    }
    expect_everything_as_composed("rw");
}

TEST_F(SqliteLatestState, RandomBatchesGiveTheRowsOfTheComposedQuery) {
    open_sqlite("rw", sqlite_params(file_, false));
    PlainConnection other(file_, false);
    std::mt19937 random(20261127);
    auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    auto insert_some = [&](int count) {
        for (int i = 0; i < count; ++i) {
            // Out of order, negative and repeated stamps: a repeated one of
            // the same pair is a retried record, stored once.
            auto run = provider_run(kProviders[pick(3)], "n" + std::to_string(pick(4)),
                                    pick(40) - 20, "o" + std::to_string(pick(2)));
            run.header.Unique_timestamp = pick(40) - 20;
            ASSERT_EQ(insert_run("rw", run), kOk);
        }
    };
    for (int batch = 0; batch < 60; ++batch) {
        ASSERT_EQ(control("rw", vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
        insert_some(pick(12));
        if (pick(3) == 0) {
            // A read inside the batch sees its rows, then the batch goes on.
            expect_latest_rows_as_composed("rw", kProviders);
            insert_some(pick(6));
        }
        ASSERT_EQ(control("rw", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kOk);
        expect_everything_as_composed("rw");
        if (pick(4) == 0) {
            other.execute(
                "DELETE FROM provider_datastore WHERE rowid = (SELECT latest_rowid "
                "FROM provider_datastore_state ORDER BY random() LIMIT 1);");
        }
    }
    expect_everything_as_composed("rw");
}

TEST_F(SqliteLatestState, ABatchLostToAFailedInsertLeavesTheStateAndLaterRowsCount) {
    open_sqlite("rw", sqlite_params(file_, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    ASSERT_EQ(control("rw", vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 5)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("mem", "n2", 6)), kOk);
    auto bad = provider_run("cpu", "n1", 7);
    bad.header.node_names = {"a,b"};
    {
        vexa::test::StderrCapture captured;
        EXPECT_EQ(insert_run("rw", bad), kFailed);
        EXPECT_EQ(control("rw", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kFailed);
        std::string const log = captured.text();
        std::string const line =
            "Datastore \"rw\": batch rolled back: an insert failed: node name \"a,b\" holds a "
            "comma, which separates the stored node names\n";
        ASSERT_GE(log.size(), line.size()) << log;
        EXPECT_EQ(log.substr(log.size() - line.size()), line);
    }
    expect_everything_as_composed("rw");

    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 9)), kOk);
    expect_everything_as_composed("rw");
    EXPECT_EQ(PlainConnection(file_).rows("SELECT Unique_timestamp FROM provider_datastore_state;"),
              (std::vector<std::string>{"1700000000000009"}));
}

TEST_F(SqliteLatestState, AnotherProgramsTriggerSeesEveryRowOfABatch) {
    open_sqlite("rw", sqlite_params(file_, false));
    // Created while the instance is open: each batch looks anew.
    PlainConnection(file_, false)
        .execute(
            "CREATE TABLE audit(stored INTEGER); CREATE TRIGGER audit_insert AFTER INSERT ON "
            "provider_datastore BEGIN INSERT INTO audit VALUES(NEW.rowid); END;");
    ASSERT_EQ(control("rw", vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    for (int stamp = 1; stamp <= 3; ++stamp) {
        ASSERT_EQ(insert_run("rw", provider_run("cpu", "n" + std::to_string(stamp), stamp)), kOk);
    }
    ASSERT_EQ(control("rw", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    EXPECT_EQ(PlainConnection(file_).rows("SELECT count(*) FROM audit;"),
              (std::vector<std::string>{"3"}));
    expect_everything_as_composed("rw");
}

TEST_F(SqliteLatestState, AWritableOpenAddsAndFillsTheStateOfAnOlderFile) {
    write_file_without_state(100);
    {
        vexa::test::ScopedLogLevel const level(6);
        vexa::test::StderrCapture captured;
        open_sqlite("rw", sqlite_params(file_, false));
        std::string const text = captured.text();
        EXPECT_TRUE(std::regex_search(
            text, std::regex("sqlite3 " + file_ +
                             ": latest-row state provider_datastore_state created for 12 pairs "
                             "in [0-9]+ ms\n")))
            << text;
    }
    expect_everything_as_composed("rw");
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 100, "o1")), kOk);
    expect_everything_as_composed("rw");
}

TEST_F(SqliteLatestState, RowsWithANullInTheirKeyAndTiedStampsKeepTheStateExact) {
    open_sqlite("rw", sqlite_params(file_, false));
    PlainConnection other(file_, false);
    std::mt19937 random(20261127);
    auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int step = 0; step < 300; ++step) {
        int const action = pick(10);
        if (action < 4) {
            auto run = provider_run(kProviders[pick(2)], "n" + std::to_string(pick(2)), 0,
                                    "o" + std::to_string(pick(2)));
            run.header.Unique_timestamp = pick(20);
            ASSERT_EQ(insert_run("rw", run), kOk);
        } else if (action < 8) {
            // Few values, so that NULL-keyed rows tie on their pair's
            // greatest stamp, several in one statement.
            std::string values;
            for (int row = 0, rows = 1 + pick(3); row < rows; ++row) {
                values += std::string(row == 0 ? "" : ", ") + "(" +
                          value_or_null(pick(6), kProviders[pick(2)]) + ", " +
                          value_or_null(pick(6), "n" + std::to_string(pick(2))) + ", " +
                          value_or_null(pick(6), "o" + std::to_string(pick(2))) + ", " +
                          std::to_string(pick(20)) + ")";
            }
            other.execute(
                "INSERT OR IGNORE INTO provider_datastore(Provider, Hostname, OptionID, "
                "Unique_timestamp) VALUES " +
                values + ";");
        } else if (action < 9) {
            other.execute(
                "DELETE FROM provider_datastore WHERE rowid = (SELECT latest_rowid "
                "FROM provider_datastore_state ORDER BY random() LIMIT 1);");
        } else {
            other.execute(
                "UPDATE OR IGNORE provider_datastore SET Unique_timestamp = Unique_timestamp + "
                "3, OptionID = NULL WHERE rowid = (SELECT rowid FROM provider_datastore ORDER "
                "BY random() LIMIT 1);");
        }
        if (step % 10 == 9) {
            expect_state_of_every_key_as_recomputed(file_);
        }
    }
    EXPECT_NE(PlainConnection(file_).rows("SELECT count(*) FROM provider_datastore_state WHERE "
                                          "OptionID IS NULL;"),
              std::vector<std::string>{"0"});
}

TEST_F(SqliteLatestState, AWritableOpenReplacesTheStateTriggersOfAnOlderVersion) {
    open_sqlite("rw", sqlite_params(file_, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 5, "o1")), kOk);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    std::vector<std::string> const current = state_trigger_names();
    use_older_insert_trigger();
    PlainConnection(file_, false)
        .execute(
            "INSERT INTO provider_datastore(Provider, Hostname, OptionID, Unique_timestamp) "
            "VALUES('cpu', 'n1', 'o1', 7), ('mem', NULL, 'o1', 3);");
    {
        vexa::test::ScopedLogLevel const level(6);
        vexa::test::StderrCapture captured;
        open_sqlite("rw", sqlite_params(file_, false));
        EXPECT_EQ(captured.text(), "sqlite3 " + file_ +
                                       ": latest-row state provider_datastore_state: triggers "
                                       "of an older version replaced\n");
    }
    EXPECT_EQ(state_trigger_names(), current);
    expect_state_of_every_key_as_recomputed(file_);
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 9, "o1")), kOk);
    PlainConnection(file_, false)
        .execute(
            "INSERT INTO provider_datastore(Provider, Hostname, OptionID, Unique_timestamp) "
            "VALUES('mem', NULL, 'o1', 4), ('mem', NULL, 'o1', 2);");
    expect_state_of_every_key_as_recomputed(file_);
    expect_everything_as_composed("rw");
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    // Done once: the next open finds nothing to replace.
    vexa::test::ScopedLogLevel const level(6);
    vexa::test::StderrCapture captured;
    open_sqlite("rw", sqlite_params(file_, false));
    EXPECT_EQ(captured.text(), "");
}

TEST_F(SqliteLatestState, AReadOnlyOpenOfAnOlderFileAnswersWithTheComposedQuery) {
    write_file_without_state(30);
    std::string const before = vexa::test::read_file(file_);
    vexa::test::ScopedLogLevel const level(6);
    vexa::test::StderrCapture captured;
    open_sqlite("ro", sqlite_params(file_, true));
    EXPECT_EQ(captured.text(), "sqlite3 " + file_ +
                                   ": no latest-row state in the file; latest rows come from "
                                   "the composed query\n");
    expect_latest_rows_as_composed("ro", kProviders);
    expect_hosts_as_composed("ro");
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    EXPECT_EQ(vexa::test::read_file(file_), before);
}

TEST_F(SqliteLatestState, LatestRowsComeFromTheStateTable) {
    open_sqlite("rw", sqlite_params(file_, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    // A state that disagrees with the table shows which one is read.
    PlainConnection(file_, false).execute("DELETE FROM provider_datastore_state;");
    ReadParameters parameters;
    parameters.providers = {"cpu"};
    std::vector<Row> rows;
    ASSERT_EQ(control("rw", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kOk);
    EXPECT_TRUE(rows.empty());
}

}  // namespace
