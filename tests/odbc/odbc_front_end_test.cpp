// The front end's query functions over ODBC datastores: the same runs
// stored through the SQLite plug-in, in PostgreSQL and in SQLite through
// ODBC read back as the same rows; several datastores merge in registry
// order; a record of type odbc with every field vacant finds its defaults.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::column_index_map;
using vexa::datastore::InsertRequest;
using vexa::datastore::Row;
using vexa::test::insert_run;
using vexa::test::open_odbc;
using vexa::test::provider_run;

// Every member of `row`, Duration in hexadecimal so that every bit shows.
std::string text_of(Row const& row) {
    char duration[64];
    std::snprintf(duration, sizeof duration, "%a", row.Duration);
    std::string names;
    for (std::string const& name : row.node_names) {
        names += "[" + name + "]";
    }
    return std::to_string(row.rowid) + "|" + row.Provider + "|" + row.Hostname + "|" +
           std::to_string(row.num_nodes) + "|" + names + "|" + std::to_string(row.Exit_status) +
           "|" + std::to_string(row.Timestamp) + "|" + duration + "|" +
           std::to_string(row.Encoding) + "|" + row.STDOUT + "|" + row.STDERR + "|" + row.OptionID +
           "|" + std::to_string(row.version) + "|" + row.Username + "|" +
           std::to_string(row.Unique_timestamp) + "|" + row.datastore_source;
}

// Rows of different engines come in the order of each one's plan; sorted
// texts compare what was read, not how.
std::vector<std::string> sorted_texts(std::vector<Row> const& rows) {
    std::vector<std::string> texts;
    for (Row const& row : rows) {
        texts.push_back(text_of(row));
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

// Runs with every member set, edge values among them, a host record
// (provider "uname") per host and no two runs of one provider, host and
// option sharing a stamp. Provider and host names hold no quote: the
// composed queries paste them unescaped.
std::vector<InsertRequest> workload() {
    std::vector<InsertRequest> runs;
    std::int64_t stamp = 0;
    for (std::string const host : {"n1", "n2", "h\xc3\xa9te"}) {
        for (std::string const provider : {"uname", "cpu", "disk"}) {
            for (std::string const option : {"opt-a", "opt-b"}) {
                runs.push_back(provider_run(provider, host, ++stamp, option));
                runs.push_back(provider_run(provider, host, ++stamp, option));
            }
        }
    }
    runs[3].header.Timestamp = -1'700'000'000'123;
    runs[3].header.Unique_timestamp = -42;
    runs[4].header.Duration = 0.1 + 0.2;
    runs[5].stdout_text = std::string(1 << 20, 'z') + "\xe2\x82\xac";
    runs[6].stderr_text = "it's \"quoted\"";
    runs[7].header.node_names.clear();
    runs[7].header.num_nodes = 0;
    // The last run is the view's newest.
    runs.push_back(provider_run("cpu", "n2", 1'000, "opt-a"));
    return runs;
}

using Query = std::function<bool(std::vector<Row>&)>;

std::map<std::string, Query> front_end_queries() {
    using namespace vexa::datastore;
    return {
        {"select_provider_data",
         [](auto& rows) {
             return select_provider_data({"cpu", "disk"}, rows, "");
         }},
        {"select_provider_data with a condition",
         [](auto& rows) {
             return select_provider_data({"cpu", "uname"}, rows, "Hostname = 'n2'");
         }},
        {"get_latest_rows_provider_data",
         [](auto& rows) {
             return get_latest_rows_provider_data({"cpu", "disk"}, rows, "");
         }},
        {"get_latest_rows_provider_data on a host",
         [](auto& rows) { return get_latest_rows_provider_data({"cpu"}, rows, "n1"); }},
        {"get_latest_rows_provider_hosts_data",
         [](auto& rows) {
             return get_latest_rows_provider_hosts_data({"cpu", "uname"}, rows, {});
         }},
        {"get_latest_rows_provider_hosts_data on hosts",
         [](auto& rows) {
             return get_latest_rows_provider_hosts_data({"cpu"}, rows, {"n1", "h\xc3\xa9te"});
         }},
        {"get_hosts_data", [](auto& rows) { return get_hosts_data(rows, column_index_map); }},
        {"select_data",
         [](auto& rows) {
             return select_data("SELECT * FROM vexa_1 WHERE Provider <> 'uname'", rows,
                                column_index_map);
         }},
    };
}

// Stores the workload in one datastore "store" made by `open`, then the
// sorted rows of every query function, by the function's name.
std::map<std::string, std::vector<std::string>> answers_of(std::function<void()> const& open,
                                                           bool through_sqlite_driver) {
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    open();
    for (InsertRequest const& run : workload()) {
        EXPECT_EQ(
            insert_run("store",
                       through_sqlite_driver ? vexa::test::as_sqlite_driver_keeps_it(run) : run),
            0);
    }
    std::map<std::string, std::vector<std::string>> answers;
    for (auto const& [name, query] : front_end_queries()) {
        std::vector<Row> rows;
        EXPECT_TRUE(query(rows)) << name;
        answers[name] = sorted_texts(rows);
    }
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    return answers;
}

class OdbcFrontEnd : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    vexa::test::TempDir dir_;
};

TEST_F(OdbcFrontEnd, EveryQueryFunctionReadsTheSameRowsFromAllThreeBackends) {
    auto const sqlite = answers_of(
        [&] {
            vexa::test::open_sqlite("store", vexa::test::sqlite_params(dir_.file("s.db"), false));
        },
        false);
    auto const postgresql = answers_of(
        [&] { open_odbc("store", vexa::test::pg_source(vexa::test::fresh_database())); }, false);
    for (auto const& [name, rows] : sqlite) {
        EXPECT_FALSE(rows.empty()) << name;
        EXPECT_EQ(postgresql.at(name), rows) << name;
    }

    // The SQLite ODBC driver keeps 15 significant digits of a double: the
    // reference for it stores the durations so rounded.
    auto const sqlite_rounded = answers_of(
        [&] {
            vexa::test::open_sqlite("store", vexa::test::sqlite_params(dir_.file("r.db"), false));
        },
        true);
    auto const sqlite_odbc = answers_of(
        [&] { open_odbc("store", vexa::test::sqlite_odbc_source(dir_.file("o.db"))); }, true);
    for (auto const& [name, rows] : sqlite_rounded) {
        EXPECT_EQ(sqlite_odbc.at(name), rows) << name;
    }
}

TEST_F(OdbcFrontEnd, ThreeDatastoresMergeInRegistryOrderAndKeepTiesOfTheLatestRows) {
    vexa::test::open_sqlite("a", vexa::test::sqlite_params(dir_.file("a.db"), false));
    open_odbc("b", vexa::test::pg_source(vexa::test::fresh_database()));
    open_odbc("c", vexa::test::sqlite_odbc_source(dir_.file("c.db")));
    for (std::string const name : {"a", "b", "c"}) {
        ASSERT_EQ(insert_run(name, provider_run("p", "h", 1)), 0);
        InsertRequest tied = provider_run("p", "h", 2);
        tied.stdout_text = "from " + name;
        ASSERT_EQ(insert_run(name, tied), 0);
    }

    std::vector<Row> rows;
    ASSERT_TRUE(vexa::datastore::select_provider_data({"p"}, rows, ""));
    std::vector<std::string> sources;
    for (Row const& row : rows) {
        sources.push_back(row.datastore_source);
    }
    EXPECT_EQ(sources, (std::vector<std::string>{"a", "a", "b", "b", "c", "c"}));

    ASSERT_TRUE(vexa::datastore::get_latest_rows_provider_hosts_data({"p"}, rows, {}));
    std::vector<std::string> outputs;
    for (Row const& row : rows) {
        outputs.push_back(row.STDOUT);
    }
    EXPECT_EQ(outputs, (std::vector<std::string>{"from a", "from b", "from c"}));
}

TEST_F(OdbcFrontEnd, ARecordOfTypeOdbcWithEveryFieldVacantOpensTheDefaultDsn) {
    vexa::datastore::DataStoreConfig config;
    config.type = vexa::datastore::odbc;
    std::vector<vexa::datastore::DataStoreConfig> configs{config};
    vexa::datastore::DataStoreParseUtility::initializeDatastoreExtensions(configs);

    auto const found = vexa::datastore::DataStoreParseUtility::locate_datastores(
        {vexa::datastore::DEFAULT_DATASTORE_NAME});
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].first.source_parameters, "odbc_default_dsn");
    EXPECT_EQ(vexa::test::real_path(found[0].first.extension_path + "/libodbc.so"),
              vexa::test::real_path(VEXA_ODBC_PLUGIN));
    std::string const description = found[0].second.lock()->describe();
    EXPECT_EQ(description.substr(0, 16), "odbc PostgreSQL ");
    EXPECT_EQ(description.substr(description.size() - 34), " dsn=odbc_default_dsn (read-write)");
    EXPECT_EQ(vexa::test::psql("vexa_default", "SELECT count(*) FROM provider_datastore;"), "0\n");
}

}  // namespace
