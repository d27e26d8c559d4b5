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
