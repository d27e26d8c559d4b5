// The library with its real default back end: configuration read from the
// shipped files (or left to the defaults), instances registered, rows written
// through execute_ioctl and read back through every query function.
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "child_process.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::column_index_map;
using vexa::datastore::DataStoreConfig;
using vexa::datastore::DataStoreExtension;
using vexa::datastore::DataStoreParseUtility;
using vexa::datastore::InsertRequest;
using vexa::datastore::OP_INSERT;
using vexa::datastore::Row;
using vexa::test::extension_of;
using vexa::test::provider_run;
using vexa::test::sqlite_config;
using vexa::test::sqlite_params;

std::vector<int> reported_codes;

void record_code(int code, unsigned short, std::weak_ptr<DataStoreExtension>, void const*,
                 void const*) {
    reported_codes.push_back(code);
}

// Writes one run to the named datastore as a tool does; the result of
// execute_ioctl (1 when a datastore took it).
int write_run(std::string const& name, InsertRequest run) {
    return vexa::datastore::execute_ioctl({name}, OP_INSERT, nullptr, &run, nullptr, record_code);
}

// (datastore, host, unique stamp) of each row, in order.
std::vector<std::string> origins(std::vector<Row> const& rows) {
    std::vector<std::string> result;
    for (Row const& row : rows) {
        result.push_back(row.datastore_source + "/" + row.Provider + "/" + row.Hostname + "/" +
                         std::to_string(row.Unique_timestamp - 1'700'000'000'000'000));
    }
    return result;
}

// The same as a set: without ORDER BY a datastore returns its rows in the
// order its query plan visits them.
std::set<std::string> origin_set(std::vector<Row> const& rows) {
    std::vector<std::string> const list = origins(rows);
    return {list.begin(), list.end()};
}

// The datastore of each row, in order: the merge keeps datastore order.
std::vector<std::string> sources(std::vector<Row> const& rows) {
    std::vector<std::string> result;
    for (Row const& row : rows) {
        result.push_back(row.datastore_source);
    }
    return result;
}

struct DocumentDeleter {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};

class SqliteEndToEnd : public ::testing::Test {
  protected:
    SqliteEndToEnd() : home_("HOME", home_dir_.path()) {
        saved_install_path_ = DataStoreParseUtility::get_default_install_path();
        DataStoreParseUtility::set_default_install_path(VEXA_BUILD_ROOT);
        reported_codes.clear();
    }
    ~SqliteEndToEnd() override {
        DataStoreParseUtility::clear_db_vector();
        DataStoreParseUtility::set_default_install_path(saved_install_path_);
    }

    std::string default_file() const { return home_dir_.file(".vexa/2021.4.0/vexa.db"); }

    vexa::test::TempDir home_dir_;
    vexa::test::ScopedEnv home_;
    std::string saved_install_path_;
};

TEST_F(SqliteEndToEnd, ShippedGroupDocumentServesEveryQueryFunction) {
    std::unique_ptr<xmlDoc, DocumentDeleter> document(
        xmlReadFile(VEXA_BUILD_ROOT "/etc/datastore/datastores.xml", nullptr, 0));
    ASSERT_TRUE(document);
    std::vector<DataStoreConfig> configs = DataStoreParseUtility::parse_db_configs(
        xmlDocGetRootElement(document.get()), DataStoreConfig{});
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].instance_name, "vexa_default");
    EXPECT_EQ(configs[0].source_parameters, "source=$HOME/.vexa/2021.4.0/vexa.db|read_only=false");
    DataStoreParseUtility::initializeDatastoreExtensions(configs);
    ASSERT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 1u);
    EXPECT_EQ(extension_of("vexa_default")->describe(),
              "sqlite3 " + default_file() + " (read-write)");

    std::vector<InsertRequest> const runs{
        provider_run("cpu", "n1", 1),   provider_run("cpu", "n2", 2),
        provider_run("cpu", "n1", 3),   provider_run("uname", "n1", 4),
        provider_run("uname", "n2", 5), provider_run("mem", "n1", 6)};
    for (InsertRequest const& run : runs) {
        ASSERT_EQ(write_run("vexa_default", run), 1);
    }
    EXPECT_EQ(reported_codes, std::vector<int>(runs.size(), 0));

    std::vector<Row> rows;
    ASSERT_TRUE(vexa::datastore::select_data("SELECT * FROM vexa_1 ORDER BY rowid", rows,
                                             column_index_map));
    ASSERT_EQ(rows.size(), runs.size());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        EXPECT_EQ(rows[i].rowid, static_cast<std::int32_t>(i + 1));
        EXPECT_EQ(rows[i].datastore_source, "vexa_default");
        vexa::test::expect_row_of(rows[i], runs[i]);
    }

    ASSERT_TRUE(vexa::datastore::select_provider_data({"cpu"}, rows, "  Hostname = 'n1'  "));
    EXPECT_EQ(origin_set(rows),
              (std::set<std::string>{"vexa_default/cpu/n1/1", "vexa_default/cpu/n1/3"}));

    ASSERT_TRUE(vexa::datastore::get_latest_rows_provider_data({"cpu"}, rows, ""));
    EXPECT_EQ(origin_set(rows),
              (std::set<std::string>{"vexa_default/cpu/n1/3", "vexa_default/cpu/n2/2"}));

    ASSERT_TRUE(vexa::datastore::get_latest_rows_provider_data({"cpu"}, rows, "n2"));
    ASSERT_EQ(rows.size(), 1u);
    vexa::test::expect_row_of(rows[0], runs[1]);

    ASSERT_TRUE(vexa::datastore::get_latest_rows_provider_hosts_data({"cpu", "mem"}, rows, {"n1"}));
    EXPECT_EQ(origin_set(rows),
              (std::set<std::string>{"vexa_default/cpu/n1/3", "vexa_default/mem/n1/6"}));

    ASSERT_TRUE(vexa::datastore::get_hosts_data(rows, column_index_map));
    ASSERT_EQ(rows.size(), 2u);
    vexa::test::sort_by_host(rows);
    vexa::test::expect_row_of(rows[0], runs[3]);
    vexa::test::expect_row_of(rows[1], runs[4]);
    EXPECT_EQ(rows[1].datastore_source, "vexa_default");
}

// The set-up the README shows: a group document naming the plug-in and a
// configuration file of the user's own, whose SQLite file lives elsewhere.
TEST_F(SqliteEndToEnd, OwnConfigurationFilePointsTheLibraryAtAnSqliteFile) {
    vexa::test::TempDir config_dir;
    std::string const group = config_dir.file("datastores.xml");
    vexa::test::write_file(group,
                           "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<datastores>\n"
                           "  <group path=\"datastore/quarn64\">\n"
                           "    <entry config_path=\"" +
                               config_dir.path() +
                               "\" config_file=\"cluster.xml\">libsqlite.so</entry>\n"
                               "  </group>\n"
                               "</datastores>\n");
    vexa::test::write_file(config_dir.file("cluster.xml"),
                           "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<configuration instance_name=\"cluster\"\n"
                           "               type=\"sqlite3\"\n"
                           "               source_types=\"data\"\n"
                           "               source_parameters=\"source=$HOME/data/cluster.db|"
                           "read_only=false\"/>\n");
    std::unique_ptr<xmlDoc, DocumentDeleter> document(xmlReadFile(group.c_str(), nullptr, 0));
    ASSERT_TRUE(document);
    std::vector<DataStoreConfig> configs = DataStoreParseUtility::parse_db_configs(
        xmlDocGetRootElement(document.get()), DataStoreConfig{});
    DataStoreParseUtility::initializeDatastoreExtensions(configs);

    std::string const file = home_dir_.file("data/cluster.db");
    EXPECT_EQ(extension_of("cluster")->describe(), "sqlite3 " + file + " (read-write)");
    ASSERT_EQ(write_run("cluster", provider_run("uname", "n1", 1)), 1);
    std::vector<Row> rows;
    ASSERT_TRUE(vexa::datastore::get_hosts_data(rows, column_index_map));
    EXPECT_EQ(origins(rows), std::vector<std::string>{"cluster/uname/n1/1"});
    EXPECT_EQ(vexa::test::PlainConnection(file).rows("SELECT Hostname FROM vexa_1;"),
              std::vector<std::string>{"n1"});
}

TEST_F(SqliteEndToEnd, DefaultConfigurationCreatesAndUsesTheFileUnderHome) {
    std::vector<DataStoreConfig> configs(1);
    DataStoreParseUtility::initializeDatastoreExtensions(configs);
    EXPECT_EQ(configs[0].instance_name, "vexa_default");
    EXPECT_EQ(configs[0].source_parameters,
              "read_only=false|source=\"$HOME/.vexa/2021.4.0/vexa.db\"");
    ASSERT_TRUE(vexa::test::exists(default_file()));

    ASSERT_EQ(write_run("vexa_default", provider_run("cpu", "n1", 1)), 1);
    std::vector<Row> rows;
    ASSERT_TRUE(vexa::datastore::select_provider_data({"cpu"}, rows, ""));
    ASSERT_EQ(rows.size(), 1u);
    vexa::test::expect_row_of(rows[0], provider_run("cpu", "n1", 1));
    EXPECT_EQ(vexa::test::PlainConnection(default_file())
                  .rows("SELECT count(*) FROM provider_datastore;"),
              std::vector<std::string>{"1"});
}

TEST_F(SqliteEndToEnd, TwoDatastoresMergeAndTheLatestRowWinsAcrossThemWithTiesKept) {
    std::vector<DataStoreConfig> configs{
        sqlite_config("left", sqlite_params(home_dir_.file("left.db"), false)),
        sqlite_config("right", sqlite_params(home_dir_.file("right.db"), false))};
    DataStoreParseUtility::initializeDatastoreExtensions(configs);
    ASSERT_EQ(write_run("left", provider_run("cpu", "n1", 5)), 1);
    ASSERT_EQ(write_run("left", provider_run("cpu", "n2", 9)), 1);
    ASSERT_EQ(write_run("right", provider_run("cpu", "n1", 7)), 1);
    ASSERT_EQ(write_run("right", provider_run("cpu", "n2", 9)), 1);
    ASSERT_EQ(write_run("right", provider_run("mem", "n1", 1)), 1);

    std::vector<Row> rows;
    ASSERT_TRUE(vexa::datastore::select_provider_data({"cpu"}, rows, ""));
    EXPECT_EQ(sources(rows), (std::vector<std::string>{"left", "left", "right", "right"}));
    EXPECT_EQ(origin_set(rows), (std::set<std::string>{"left/cpu/n1/5", "left/cpu/n2/9",
                                                       "right/cpu/n1/7", "right/cpu/n2/9"}));

    ASSERT_TRUE(vexa::datastore::get_latest_rows_provider_data({"cpu"}, rows, ""));
    EXPECT_EQ(sources(rows), (std::vector<std::string>{"left", "right", "right"}));
    EXPECT_EQ(origin_set(rows),
              (std::set<std::string>{"left/cpu/n2/9", "right/cpu/n1/7", "right/cpu/n2/9"}));

    ASSERT_TRUE(vexa::datastore::select_data("SELECT * FROM vexa_1 WHERE Provider = 'mem'", rows,
                                             column_index_map));
    EXPECT_EQ(origins(rows), std::vector<std::string>{"right/mem/n1/1"});
}

TEST_F(SqliteEndToEnd, ReadOnlyDatastoreRefusesInsertAndLeavesTheFileByteIdentical) {
    std::string const file = home_dir_.file("store.db");
    vexa::test::open_sqlite("writer", sqlite_params(file, false));
    ASSERT_EQ(write_run("writer", provider_run("cpu", "n1", 1)), 1);
    DataStoreParseUtility::clear_db_vector();
    std::string const before = vexa::test::read_file(file);
    reported_codes.clear();

    vexa::test::open_sqlite("reader", sqlite_params(file, true));
    {
        vexa::test::ScopedLogLevel debug(7);
        vexa::test::StderrCapture captured;
        EXPECT_EQ(write_run("reader", provider_run("cpu", "n1", 2)), 0);
        EXPECT_EQ(captured.text(), "Operation code 515 failed for reader\n");
    }
    EXPECT_EQ(reported_codes, std::vector<int>{1});
    std::vector<Row> rows;
    ASSERT_TRUE(vexa::datastore::get_latest_rows_provider_data({"cpu"}, rows, ""));
    EXPECT_EQ(origins(rows), std::vector<std::string>{"reader/cpu/n1/1"});
    DataStoreParseUtility::clear_db_vector();

    EXPECT_EQ(vexa::test::read_file(file), before);
}

TEST_F(SqliteEndToEnd, InjectionTextsChangeNothingAndReturnNoRows) {
    std::string const file = home_dir_.file("store.db");
    vexa::test::open_sqlite("store", sqlite_params(file, false));
    ASSERT_EQ(write_run("store", provider_run("cpu", "n1", 1)), 1);
    std::vector<std::string> const before = vexa::test::contents_of(file);

    std::vector<Row> rows;
    for (std::string const& name :
         {std::string("x') OR 1=1 --"), std::string("; DROP TABLE provider_datastore;"),
          std::string("x'; DROP TABLE provider_datastore; --"),
          std::string("x') ); DROP TABLE provider_datastore; --")}) {
        EXPECT_FALSE(vexa::datastore::select_provider_data({name}, rows, "")) << name;
        EXPECT_TRUE(rows.empty()) << name;
    }
    for (std::string const& name :
         {std::string("x') OR 1=1 --"), std::string("; DROP TABLE provider_datastore;"),
          std::string("x'; DROP TABLE provider_datastore; --")}) {
        EXPECT_FALSE(vexa::datastore::get_latest_rows_provider_data({name}, rows, "")) << name;
        EXPECT_TRUE(rows.empty()) << name;
    }
    EXPECT_FALSE(vexa::datastore::get_latest_rows_provider_data({"cpu"}, rows, "n1' OR 1=1 --"));
    EXPECT_TRUE(rows.empty());

    EXPECT_EQ(vexa::test::contents_of(file), before);
}

// A writer process inserts while this process reads the same file through a
// read-only instance: every read succeeds, counts only grow, and the last
// read finds every row the writer wrote.
TEST_F(SqliteEndToEnd, ReaderProcessQueriesWhileWriterProcessInserts) {
    std::string const file = home_dir_.file("shared.db");
    vexa::test::open_sqlite("setup", sqlite_params(file, false));
    DataStoreParseUtility::clear_db_vector();  // no connection may cross the fork
    constexpr int kRows = 1500;

    vexa::test::ChildProcess writer([&file](vexa::test::ChildProcess&) {
        int code = 0;
        try {
            vexa::test::open_sqlite("writer", sqlite_params(file, false));
            for (int i = 1; i <= kRows && code == 0; ++i) {
                if (write_run("writer", provider_run("cpu", "n" + std::to_string(i % 7), i)) != 1) {
                    code = 2;
                }
            }
            DataStoreParseUtility::clear_db_vector();
        } catch (...) {
            code = 3;
        }
        return code;
    });

    vexa::test::open_sqlite("reader", sqlite_params(file, true));
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    std::size_t last_count = 0;
    int reads = 0;
    int partial_reads = 0;  // reads that met the writer half-way
    std::optional<int> writer_status;
    std::vector<Row> rows;
    for (bool writer_done = false; !writer_done;) {
        writer_status = writer.finished();
        writer_done = writer_status.has_value();
        rows.clear();
        int const code = vexa::test::select_query("reader", "SELECT * FROM vexa_1", rows);
        ASSERT_EQ(code, 0) << "read " << reads;
        ASSERT_GE(rows.size(), last_count);
        last_count = rows.size();
        ++reads;
        partial_reads += last_count > 0 && last_count < kRows ? 1 : 0;
        if (std::chrono::steady_clock::now() > deadline) {
            writer.kill();
            FAIL() << "the writer did not finish in time";
        }
    }

    EXPECT_GT(partial_reads, 0);
    ASSERT_NE(*writer_status, -1) << "the writer did not exit normally";
    EXPECT_EQ(*writer_status, 0);
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(kRows));
    std::set<std::int64_t> stamps;
    for (Row const& row : rows) {
        stamps.insert(row.Unique_timestamp - 1'700'000'000'000'000);
    }
    EXPECT_EQ(stamps.size(), static_cast<std::size_t>(kRows));
    EXPECT_EQ(*stamps.begin(), 1);
    EXPECT_EQ(*stamps.rbegin(), kRows);
}

}  // namespace
