// Retried records and the latest-row state of the ODBC plug-in, on the
// fixture's PostgreSQL server and on SQLite through its ODBC driver: a run
// is stored once however often it is sent, and the latest rows read from
// the state are those recomputed from the whole table, whoever wrote or
// deleted rows, also under concurrent writers.
#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::ReadParameters;
using vexa::datastore::Row;
using vexa::test::control;
using vexa::test::insert_run;
using vexa::test::open_odbc;
using vexa::test::provider_run;
using vexa::test::psql;
using vexa::test::select_query;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;

std::vector<std::string> const kProviders = {"cpu", "mem", "uname"};

std::string text_of(Row const& row) {
    return std::to_string(row.rowid) + "|" + row.Provider + "|" + row.Hostname + "|" +
           row.OptionID + "|" + std::to_string(row.Unique_timestamp) + "|" + row.STDOUT + "|" +
           std::to_string(row.Exit_status) + "|" + row.Username;
}

std::vector<std::string> sorted_texts(std::vector<Row> const& rows) {
    std::vector<std::string> texts;
    for (Row const& row : rows) {
        texts.push_back(text_of(row));
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

// The latest row of every (Provider, Hostname, OptionID) of `rows`: the
// greatest stamp, the lowest rowid among equal stamps; only `hosts` when
// not empty.
std::vector<Row> recomputed_latest(std::vector<Row> const& rows,
                                   std::vector<std::string> const& providers,
                                   std::vector<std::string> const& hosts) {
    std::map<std::tuple<std::string, std::string, std::string>, Row> latest;
    for (Row const& row : rows) {
        if (std::find(providers.begin(), providers.end(), row.Provider) == providers.end() ||
            (!hosts.empty() &&
             std::find(hosts.begin(), hosts.end(), row.Hostname) == hosts.end())) {
            continue;
        }
        auto [slot, inserted] = latest.try_emplace({row.Provider, row.Hostname, row.OptionID}, row);
        Row& kept = slot->second;
        if (!inserted &&
            (row.Unique_timestamp > kept.Unique_timestamp ||
             (row.Unique_timestamp == kept.Unique_timestamp && row.rowid < kept.rowid))) {
            kept = row;
        }
    }
    std::vector<Row> result;
    for (auto const& [key, row] : latest) {
        result.push_back(row);
    }
    return result;
}

class OdbcLatestState : public vexa::test::OdbcBackendTest {
  protected:
    std::vector<Row> all_rows() {
        std::vector<Row> rows;
        EXPECT_EQ(select_query("s", "SELECT * FROM vexa_1", rows), kOk);
        return rows;
    }

    void expect_latest_rows_as_recomputed(std::vector<std::string> const& providers,
                                          std::vector<std::string> const& hosts = {}) {
        ReadParameters parameters;
        parameters.providers = providers;
        parameters.hostnames = hosts;
        std::vector<Row> from_state;
        ASSERT_EQ(control("s", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &from_state), kOk);
        EXPECT_EQ(sorted_texts(from_state),
                  sorted_texts(recomputed_latest(all_rows(), providers, hosts)));
    }

    void expect_hosts_as_recomputed() {
        vexa::datastore::SQLParameters sql;
        ReadParameters parameters;
        parameters.sql = &sql;
        std::vector<Row> from_state;
        ASSERT_EQ(control("s", vexa::datastore::OP_SELECT_HOSTS, &parameters, &from_state), kOk);
        std::map<std::string, Row> by_host;
        for (Row const& row : recomputed_latest(all_rows(), {"uname"}, {})) {
            auto [slot, inserted] = by_host.try_emplace(row.Hostname, row);
            if (!inserted && row.Unique_timestamp > slot->second.Unique_timestamp) {
                slot->second = row;
            }
        }
        std::vector<Row> expected;
        for (auto const& [host, row] : by_host) {
            expected.push_back(row);
        }
        EXPECT_EQ(sorted_texts(from_state), sorted_texts(expected));
    }

    void expect_everything_as_recomputed() {
        expect_latest_rows_as_recomputed(kProviders);
        expect_latest_rows_as_recomputed({"cpu"}, {"n1", "n3"});
        expect_hosts_as_recomputed();
    }

    // The schema as the library made it before it kept retried records out
    // and the state, with `runs` rows and then the latest run of (cpu, n0,
    // o0) stored twice.
    void write_older_schema(int runs) {
        std::string sql;
        if (sqlite()) {
            sql = vexa::datastore::default_create_table_query +
                  vexa::datastore::default_create_baseline_query +
                  vexa::datastore::default_create_view_query;
        } else {
            sql =
                "CREATE TABLE provider_datastore(rowid BIGINT GENERATED BY DEFAULT AS IDENTITY "
                "PRIMARY KEY, Provider TEXT, Hostname TEXT, num_nodes INTEGER, node_names TEXT, "
                "Exit_status INTEGER, Timestamp BIGINT, Duration DOUBLE PRECISION, Encoding "
                "INTEGER, STDOUT TEXT, STDERR TEXT, OptionID TEXT, version INTEGER, Username "
                "TEXT, Unique_timestamp BIGINT); CREATE VIEW vexa_1 AS SELECT "
                "rowid,Provider,Hostname,num_nodes,node_names,Exit_status,Timestamp, "
                "Duration,Encoding,STDOUT,STDERR, OptionID,Version,Username,Unique_timestamp "
                "from provider_datastore; CREATE TABLE baseline_datastore(rowid BIGINT "
                "GENERATED BY DEFAULT AS IDENTITY PRIMARY KEY, baseline_id TEXT, "
                "datastore_rowid BIGINT, fwd_name TEXT, provider_checksum TEXT, "
                "command_checksum TEXT);";
        }
        sql +=
            "CREATE INDEX provider_datastore_latest ON provider_datastore(Provider, Hostname, "
            "OptionID, Unique_timestamp DESC);";
        for (int i = 0; i < runs; ++i) {
            sql +=
                "INSERT INTO provider_datastore(Provider, Hostname, OptionID, "
                "Unique_timestamp, STDOUT) VALUES('" +
                kProviders[i % 3] + "', 'n" + std::to_string(i % 4) + "', 'o" +
                std::to_string(i % 2) + "', " + std::to_string((i * 7919) % 23 - 11) + ", 'run " +
                std::to_string(i) + "');";
        }
        for (char const* copy : {"first", "second"}) {
            sql +=
                "INSERT INTO provider_datastore(Provider, Hostname, OptionID, "
                "Unique_timestamp, STDOUT) VALUES('cpu', 'n0', 'o0', 1000, '" +
                std::string(copy) + " copy');";
        }
        other_client(sql);
    }

    // The answer of another client to `sql`, as its program prints it.
    std::string other_client_answer(std::string const& sql) {
        if (!sqlite()) {
            return psql(database_, sql);
        }
        std::string output;
        EXPECT_EQ(vexa::test::run_sqlite3_program(file_, sql, output), 0) << output;
        return output;
    }

    // The state next to the latest row of every key recomputed from the
    // table, keys holding a NULL and rows tied on the greatest stamp too:
    // per pair (a NULL a value of its own), the first stored among the rows
    // of the greatest stamp.
    void expect_state_of_every_key_as_recomputed() {
        EXPECT_EQ(other_client_answer("SELECT Provider, Hostname, OptionID, Unique_timestamp, "
                                      "latest_rowid FROM provider_datastore_state ORDER BY 1, 2, "
                                      "3;"),
                  other_client_answer(
                      "SELECT Provider, Hostname, OptionID, Unique_timestamp, rowid FROM "
                      "provider_datastore p WHERE NOT EXISTS (SELECT 1 FROM provider_datastore q "
                      "WHERE q.Provider IS NOT DISTINCT FROM p.Provider AND q.Hostname IS NOT "
                      "DISTINCT FROM p.Hostname AND q.OptionID IS NOT DISTINCT FROM p.OptionID "
                      "AND (q.Unique_timestamp > p.Unique_timestamp OR (q.Unique_timestamp = "
                      "p.Unique_timestamp AND q.rowid < p.rowid))) ORDER BY 1, 2, 3;"));
    }

    // The state's triggers as an older version of the library made them:
    // on PostgreSQL one row-level trigger for inserts, deletes and updates,
    // on SQLite one general trigger for every inserted row.
    void use_older_state_triggers() {
        if (sqlite()) {
            other_client(
                "DROP TRIGGER IF EXISTS provider_datastore_state_insert_pair; DROP TRIGGER IF "
                "EXISTS provider_datastore_state_insert_null_key; DROP TRIGGER IF EXISTS "
                "provider_datastore_state_insert; CREATE TRIGGER provider_datastore_state_insert "
                "AFTER INSERT ON provider_datastore BEGIN UPDATE provider_datastore_state SET "
                "Unique_timestamp = NEW.Unique_timestamp, latest_rowid = NEW.rowid WHERE "
                "Provider IS NEW.Provider AND Hostname IS NEW.Hostname AND OptionID IS "
                "NEW.OptionID AND (Unique_timestamp < NEW.Unique_timestamp OR "
                "(Unique_timestamp = NEW.Unique_timestamp AND latest_rowid > NEW.rowid)); "
                "INSERT INTO provider_datastore_state SELECT NEW.Provider, NEW.Hostname, "
                "NEW.OptionID, NEW.Unique_timestamp, NEW.rowid WHERE NOT EXISTS (SELECT 1 FROM "
                "provider_datastore_state WHERE Provider IS NEW.Provider AND Hostname IS "
                "NEW.Hostname AND OptionID IS NEW.OptionID); END;");
            return;
        }
        std::string const upsert =
            " ON CONFLICT (Provider, Hostname, OptionID) DO UPDATE SET Unique_timestamp = "
            "EXCLUDED.Unique_timestamp, latest_rowid = EXCLUDED.latest_rowid WHERE "
            "s.Unique_timestamp < EXCLUDED.Unique_timestamp OR (s.Unique_timestamp = "
            "EXCLUDED.Unique_timestamp AND s.latest_rowid > EXCLUDED.latest_rowid);";
        std::string const same_pair =
            "Provider = OLD.Provider AND Hostname = OLD.Hostname AND OptionID = OLD.OptionID";
        other_client(
            "SET client_min_messages = warning; DROP TRIGGER IF EXISTS "
            "provider_datastore_state_insert ON provider_datastore; DROP FUNCTION IF EXISTS "
            "provider_datastore_state_insert(); CREATE OR REPLACE FUNCTION "
            "provider_datastore_state_keep() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN IF "
            "TG_OP <> 'INSERT' THEN DELETE FROM provider_datastore_state WHERE " +
            same_pair +
            " AND latest_rowid = OLD.rowid; IF FOUND THEN INSERT INTO provider_datastore_state "
            "AS s SELECT Provider, Hostname, OptionID, Unique_timestamp, rowid FROM "
            "provider_datastore WHERE " +
            same_pair + " ORDER BY Unique_timestamp DESC, rowid LIMIT 1" + upsert +
            " END IF; END IF; IF TG_OP <> 'DELETE' THEN INSERT INTO provider_datastore_state AS "
            "s VALUES (NEW.Provider, NEW.Hostname, NEW.OptionID, NEW.Unique_timestamp, "
            "NEW.rowid)" +
            upsert +
            " END IF; RETURN NULL; END $$; CREATE OR REPLACE TRIGGER "
            "provider_datastore_state_keep AFTER INSERT OR DELETE OR UPDATE OF rowid, Provider, "
            "Hostname, OptionID, Unique_timestamp ON provider_datastore FOR EACH ROW EXECUTE "
            "FUNCTION provider_datastore_state_keep();");
    }

    std::string state_triggers() {
        return other_client_answer(
            sqlite() ? "SELECT name, sql FROM sqlite_master WHERE type = 'trigger' ORDER BY name;"
                     : "SELECT tgname, pg_get_triggerdef(oid) FROM pg_trigger WHERE tgrelid = "
                       "'provider_datastore'::regclass AND NOT tgisinternal ORDER BY 1;");
    }

    std::size_t count_of(std::string const& table) {
        std::vector<Row> rows;
        EXPECT_EQ(select_query("s", "SELECT count(*) AS rowid FROM " + table, rows), kOk);
        return rows.empty() ? 0 : static_cast<std::size_t>(rows[0].rowid);
    }
};

TEST_P(OdbcLatestState, ARetriedRecordSucceedsAndIsStoredOnceAloneAndInABatch) {
    open_odbc("s", source_);
    ASSERT_EQ(insert_run("s", provider_run("cpu", "n1", 1)), kOk);
    ASSERT_EQ(insert_run("s", provider_run("cpu", "n1", 1)), kOk);
    ASSERT_EQ(control("s", vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    ASSERT_EQ(insert_run("s", provider_run("cpu", "n1", 2)), kOk);
    ASSERT_EQ(insert_run("s", provider_run("cpu", "n1", 2)), kOk);
    ASSERT_EQ(insert_run("s", provider_run("cpu", "n1", 1)), kOk);
    ASSERT_EQ(control("s", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    EXPECT_EQ(count_of("provider_datastore"), 2u);
}

TEST_P(OdbcLatestState, RandomWorkloadsGiveTheLatestRowsRecomputedFromTheTable) {
    open_odbc("s", source_);
    std::mt19937 random(20261126);
    auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int step = 0; step < 150; ++step) {
        int const action = pick(20);
        if (action < 15) {
            auto run = provider_run(kProviders[pick(3)], "n" + std::to_string(pick(4)),
                                    pick(40) - 20, "o" + std::to_string(pick(2)));
            run.header.Unique_timestamp = pick(40) - 20;
            ASSERT_EQ(insert_run("s", run), kOk);
        } else if (action < 17) {
            other_client(
                "DELETE FROM provider_datastore WHERE rowid IN (SELECT latest_rowid FROM "
                "provider_datastore_state ORDER BY random() LIMIT 2);");
        } else if (action < 18) {
            other_client(
                "UPDATE provider_datastore SET Unique_timestamp = Unique_timestamp - 50 "
                "WHERE rowid IN (SELECT latest_rowid FROM provider_datastore_state "
                "ORDER BY random() LIMIT 1);");
        } else {
            vexa::datastore::PruneRequest request;
            request.older_than = pick(30) - 20;
            request.keep_latest = action == 18;
            std::uint64_t removed = 0;
            ASSERT_EQ(control("s", vexa::datastore::OP_PRUNE, &request, &removed), kOk);
        }
        if (step % 15 == 14) {
            expect_everything_as_recomputed();
        }
    }
    expect_everything_as_recomputed();
}

TEST_P(OdbcLatestState, AnOlderDatabaseHoldingARunTwiceGetsTheStateAndKeepsItsRows) {
    write_older_schema(60);
    {
        vexa::test::ScopedLogLevel const level(6);
        vexa::test::StderrCapture captured;
        open_odbc("s", source_);
        std::string const text = captured.text();
        std::string const prefix = "odbc connection=" + source_ + ": ";
        EXPECT_NE(
            text.find(prefix + "records stored twice already; a trigger skips retried records "
                               "instead of a unique provider_datastore_latest\n"),
            std::string::npos)
            << text;
        EXPECT_TRUE(std::regex_search(
            text, std::regex("latest-row state provider_datastore_state created for 12 pairs "
                             "in [0-9]+ ms\n")))
            << text;
    }
    EXPECT_EQ(count_of("provider_datastore"), 62u);
    expect_everything_as_recomputed();
    auto retried = provider_run("cpu", "n0", 0, "o0");
    retried.header.Unique_timestamp = 1000;
    ASSERT_EQ(insert_run("s", retried), kOk);
    ASSERT_EQ(insert_run("s", provider_run("cpu", "n0", 5, "o0")), kOk);
    ASSERT_EQ(insert_run("s", provider_run("cpu", "n0", 5, "o0")), kOk);
    EXPECT_EQ(count_of("provider_datastore"), 63u);
    expect_everything_as_recomputed();
}

TEST_P(OdbcLatestState, StatementsOfManyRowsPerPairKeepTheFirstStoredOfTheGreatestStamp) {
    open_odbc("s", source_);
    std::mt19937 random(20261127);
    auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    auto value_or_null = [&](std::string const& value) {
        return pick(3) == 0 ? std::string("NULL") : "'" + value + "'";
    };
    for (int round = 0; round < 12; ++round) {
        // Another client's statement: few values, so that rows of one pair,
        // NULL-keyed ones tied on their greatest stamp among them, come
        // together.
        std::string values;
        for (int row = 0; row < 12; ++row) {
            values += std::string(row == 0 ? "" : ", ") + "(" + value_or_null(kProviders[pick(2)]) +
                      ", " + value_or_null("n" + std::to_string(pick(2))) + ", " +
                      value_or_null("o" + std::to_string(pick(2))) + ", " +
                      std::to_string(pick(12)) + ")";
        }
        other_client(
            "INSERT INTO provider_datastore(Provider, Hostname, OptionID, Unique_timestamp) "
            "VALUES " +
            values + " ON CONFLICT DO NOTHING;");
        // A batch of the plug-in: many rows of few pairs in one statement,
        // stamps out of order.
        ASSERT_EQ(control("s", vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
        for (int row = 0; row < 20; ++row) {
            ASSERT_EQ(
                insert_run("s", provider_run(kProviders[pick(2)], "n" + std::to_string(pick(2)),
                                             pick(40), "o" + std::to_string(pick(2)))),
                kOk);
        }
        ASSERT_EQ(control("s", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kOk);
        expect_state_of_every_key_as_recomputed();
    }
    EXPECT_NE(other_client_answer(
                  "SELECT count(*) FROM provider_datastore_state WHERE OptionID IS NULL;"),
              other_client_answer("SELECT 0;"));
    expect_everything_as_recomputed();
}

TEST_P(OdbcLatestState, AWritableOpenReplacesTheStateTriggersOfAnOlderVersion) {
    open_odbc("s", source_);
    ASSERT_EQ(insert_run("s", provider_run("cpu", "n1", 5, "o1")), kOk);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    std::string const current = state_triggers();
    use_older_state_triggers();
    other_client(
        "INSERT INTO provider_datastore(Provider, Hostname, OptionID, Unique_timestamp) "
        "VALUES('cpu', 'n1', 'o1', 7), ('mem', 'n2', 'o1', 3);");
    ASSERT_NE(state_triggers(), current);
    {
        vexa::test::ScopedLogLevel const level(6);
        vexa::test::StderrCapture captured;
        open_odbc("s", source_);
        std::string const text = captured.text();
        EXPECT_NE(text.find("odbc connection=" + source_ +
                            ": latest-row state provider_datastore_state: triggers of an older "
                            "version replaced\n"),
                  std::string::npos)
            << text;
    }
    EXPECT_EQ(state_triggers(), current);
    expect_state_of_every_key_as_recomputed();
    ASSERT_EQ(control("s", vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    for (int stamp : {9, 12, 8}) {
        ASSERT_EQ(insert_run("s", provider_run("mem", "n2", stamp, "o1")), kOk);
    }
    ASSERT_EQ(control("s", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    other_client("DELETE FROM provider_datastore WHERE Unique_timestamp = 1700000000000012;");
    expect_state_of_every_key_as_recomputed();
    expect_everything_as_recomputed();
}

TEST_P(OdbcLatestState, AReadOnlyOpenOfAnOlderDatabaseAnswersWithoutTheState) {
    write_older_schema(30);
    vexa::test::ScopedLogLevel const level(6);
    vexa::test::StderrCapture captured;
    open_odbc("s", source_ + "|read_only=true");
    EXPECT_NE(captured.text().find(": no latest-row state in the database; latest rows come from "
                                   "the composed query\n"),
              std::string::npos);
    EXPECT_EQ(count_of("provider_datastore"), 32u);
    ReadParameters parameters;
    parameters.providers = kProviders;
    std::vector<Row> rows;
    ASSERT_EQ(control("s", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kOk);
    // SQLite's grouping gives one row per pair; the standard query
    // PostgreSQL needs gives both copies of the run stored twice.
    EXPECT_EQ(rows.size(), sqlite() ? 12u : 13u);
}

INSTANTIATE_TEST_SUITE_P(Backends, OdbcLatestState, ::testing::Values(false, true),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "SqliteThroughOdbc" : "Postgresql";
                         });

// Writers of the same pairs at once, each in its own server session under
// READ COMMITTED: the triggers' upserts wait for each other and keep the
// newest whatever the order of commits.
class OdbcLatestStateOnPostgresql : public ::testing::Test {
  protected:
    // The suites of this file share one process under valgrind: the next
    // one opens "s" again.
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }
};

TEST_F(OdbcLatestStateOnPostgresql, ConcurrentWritersOfTheSamePairsNeverLoseTheNewest) {
    std::string const database = vexa::test::fresh_database();
    open_odbc("s", vexa::test::pg_source(database));
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 6; ++writer) {
        // One transaction per row, stamps interleaved between writers and
        // running down as well as up.
        std::mt19937 random(static_cast<unsigned>(writer));
        std::string sql;
        for (int i = 0; i < 150; ++i) {
            sql +=
                "INSERT INTO provider_datastore(Provider, Hostname, OptionID, "
                "Unique_timestamp) VALUES('cpu', 'n" +
                std::to_string(i % 3) + "', 'o', " +
                std::to_string(static_cast<int>(random() % 100000) * 8 + writer) + ");";
        }
        writers.emplace_back([&database, sql] { psql(database, sql); });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(psql(database,
                   "SELECT Provider, Hostname, OptionID, Unique_timestamp, latest_rowid FROM "
                   "provider_datastore_state ORDER BY 1, 2, 3;"),
              psql(database,
                   "SELECT DISTINCT ON (Provider, Hostname, OptionID) Provider, Hostname, "
                   "OptionID, Unique_timestamp, rowid FROM provider_datastore ORDER BY 1, 2, 3, "
                   "4 DESC, 5;"));
}

}  // namespace
