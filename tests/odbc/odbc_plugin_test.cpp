// The ODBC plug-in against a real PostgreSQL server and SQLite through its
// ODBC driver, reached through the controller as the front end reaches it:
// the plug-in file itself, the schema it creates, reading and writing every
// member, read-only instances, and threads sharing one instance.
#include <dlfcn.h>
#include <link.h>

#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "odbc_test_support.h"
#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::InsertRequest;
using vexa::datastore::Row;
using vexa::test::expect_row_of;
using vexa::test::extension_of;
using vexa::test::fresh_database;
using vexa::test::insert_run;
using vexa::test::open_odbc;
using vexa::test::pg_source;
using vexa::test::provider_run;
using vexa::test::psql;
using vexa::test::select_query;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

std::string const all_rows = "SELECT * FROM vexa_1 ORDER BY rowid";

class OdbcPlugin : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    vexa::test::TempDir dir_;
};

// A run that exercises the edges of every member.
InsertRequest awkward_run(std::string const& stdout_text) {
    InsertRequest run = provider_run("p'quote", "h\xc3\xa9te \xe2\x82\xac", -5);
    run.header.Timestamp = -1'700'000'000'123;
    run.header.Unique_timestamp = 1'700'000'000'000'001;
    run.header.Duration = 0.1 + 0.2;  // not a short decimal: every bit counts
    run.header.Exit_status = std::numeric_limits<std::int32_t>::min();
    run.header.version = std::numeric_limits<std::int32_t>::max();
    run.stdout_text = stdout_text;
    run.stderr_text = "it's \"quoted\"; -- not a comment";
    return run;
}

// --- the plug-in file ------------------------------------------------------------

TEST(OdbcPluginFile, DlopenByPathLoadsThePluginNotTheDriverManager) {
    void* handle = dlopen(VEXA_ODBC_PLUGIN, RTLD_LAZY);
    ASSERT_NE(handle, nullptr) << dlerror();
    link_map* map = nullptr;
    ASSERT_EQ(dlinfo(handle, RTLD_DI_LINKMAP, &map), 0);
    EXPECT_EQ(vexa::test::real_path(map->l_name), vexa::test::real_path(VEXA_ODBC_PLUGIN));

    void* create = dlsym(handle, "create");
    ASSERT_NE(create, nullptr);
    Dl_info where{};
    ASSERT_NE(dladdr(create, &where), 0);
    EXPECT_EQ(vexa::test::real_path(where.dli_fname), vexa::test::real_path(VEXA_ODBC_PLUGIN));

    // The driver manager came in as the plug-in's dependency, under its own name.
    void* connect = dlsym(handle, "SQLDriverConnect");
    ASSERT_NE(connect, nullptr);
    ASSERT_NE(dladdr(connect, &where), 0);
    EXPECT_NE(std::string(where.dli_fname).find("libodbc.so.2"), std::string::npos)
        << where.dli_fname;
    dlclose(handle);
}

// --- opening ---------------------------------------------------------------------

TEST_F(OdbcPlugin, WritableOpenCreatesThePostgresqlSchemaWithWideColumnsAndTheIndex) {
    std::string const db = fresh_database();
    open_odbc("pg", pg_source(db));

    EXPECT_EQ(psql(db,
                   "SELECT column_name, data_type FROM information_schema.columns "
                   "WHERE table_name = 'provider_datastore' ORDER BY ordinal_position;"),
              "rowid|bigint\nprovider|text\nhostname|text\nnum_nodes|integer\n"
              "node_names|text\nexit_status|integer\ntimestamp|bigint\n"
              "duration|double precision\nencoding|integer\nstdout|text\nstderr|text\n"
              "optionid|text\nversion|integer\nusername|text\nunique_timestamp|bigint\n");
    EXPECT_EQ(psql(db,
                   "SELECT table_name FROM information_schema.views "
                   "WHERE table_schema = 'public';"),
              "vexa_1\n");
    EXPECT_EQ(psql(db, "SELECT count(*) FROM baseline_datastore;"), "0\n");
    EXPECT_EQ(psql(db,
                   "SELECT indexdef FROM pg_indexes WHERE indexname = "
                   "'provider_datastore_latest';"),
              "CREATE UNIQUE INDEX provider_datastore_latest ON public.provider_datastore USING "
              "btree (provider, hostname, optionid, unique_timestamp DESC)\n");
}

TEST_F(OdbcPlugin, DescribeNamesTheDatabaseSystemItsVersionTheSourceAndTheMode) {
    std::string const db = fresh_database();
    open_odbc("pg", pg_source(db));
    std::string const version = psql(db, "SHOW server_version;");
    EXPECT_EQ(extension_of("pg")->describe(),
              "odbc PostgreSQL " + version.substr(0, version.find(' ')) +
                  " connection=DSN=vexa_pg;Database=" + db + " (read-write)");
}

TEST_F(OdbcPlugin, ReopeningAnExistingSchemaKeepsItsRows) {
    std::string const db = fresh_database();
    open_odbc("first", pg_source(db));
    ASSERT_EQ(insert_run("first", provider_run("p", "h", 1)), kOk);
    open_odbc("second", pg_source(db));
    std::vector<Row> rows;
    ASSERT_EQ(select_query("second", all_rows, rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    expect_row_of(rows[0], provider_run("p", "h", 1));
}

// --- reading and writing ---------------------------------------------------------

class OdbcRoundTrip : public OdbcPlugin, public ::testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        source_ = GetParam() ? vexa::test::sqlite_odbc_source(dir_.file("rt.db"))
                             : pg_source(fresh_database());
    }
    // A writable instance "rt" on PostgreSQL (false) or SQLite through ODBC (true).
    void open_store() { open_odbc("rt", source_); }

    std::string source_;
};

TEST_P(OdbcRoundTrip, EveryMemberComesBackExactly) {
    open_store();
    InsertRequest const run = awkward_run(std::string(1 << 20, 'x') + "\xc3\xa9nd");
    ASSERT_EQ(insert_run("rt", run), kOk);
    std::vector<Row> rows;
    ASSERT_EQ(select_query("rt", all_rows, rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    expect_row_of(rows[0], GetParam() ? vexa::test::as_sqlite_driver_keeps_it(run) : run);
    EXPECT_EQ(rows[0].rowid, 1);
}

TEST_P(OdbcRoundTrip, A64MiBOutputComesBackByteExact) {
    open_store();
    std::string text(64u << 20, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char>('a' + i % 26);
    }
    InsertRequest run = provider_run("big", "h", 1);
    run.stdout_text = text;
    ASSERT_EQ(insert_run("rt", run), kOk);
    std::vector<Row> rows;
    ASSERT_EQ(select_query("rt", all_rows, rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_TRUE(rows[0].STDOUT == text) << "read " << rows[0].STDOUT.size() << " bytes";
}

// Cells are read into buffers of 4 KiB and a longer one again whole: texts
// on both sides of that size, in rows that follow each other, come back
// exactly and do not leak into the next row.
TEST_P(OdbcRoundTrip, TextsAroundTheReadBufferSizeComeBackExactly) {
    open_store();
    std::vector<std::size_t> const sizes{0, 1, 4094, 4095, 4096, 4097, 9000, 3, 8191, 8192, 2};
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        InsertRequest run = provider_run("p", "h", static_cast<int>(i) + 1);
        run.stdout_text = std::string(sizes[i], static_cast<char>('a' + i));
        run.stderr_text = std::string(sizes[sizes.size() - 1 - i], static_cast<char>('A' + i));
        ASSERT_EQ(insert_run("rt", run), kOk);
    }
    std::vector<Row> rows;
    ASSERT_EQ(select_query("rt", "SELECT * FROM vexa_1 ORDER BY Unique_timestamp", rows), kOk);
    ASSERT_EQ(rows.size(), sizes.size());
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        EXPECT_EQ(rows[i].STDOUT, std::string(sizes[i], static_cast<char>('a' + i))) << "row " << i;
        EXPECT_EQ(rows[i].STDERR,
                  std::string(sizes[sizes.size() - 1 - i], static_cast<char>('A' + i)))
            << "row " << i;
        EXPECT_EQ(rows[i].Provider, "p");
    }
}

// Rows are fetched many at a time where the driver allows: long texts and
// NULLs anywhere in a result of several fetches come back in their own rows.
TEST_P(OdbcRoundTrip, LongTextsAndNullsAnywhereInAResultOfManyFetchesComeBackExactly) {
    open_store();
    constexpr int count = 700;
    auto stdout_of = [](int i) {
        return std::string(i % 7 == 3 ? 5000 + i : i % 50, static_cast<char>('a' + i % 26));
    };
    auto stderr_of = [](int i) { return std::string(i % 11 == 0 ? 4096 : 4095, 'e'); };
    ASSERT_EQ(vexa::test::control("rt", vexa::datastore::OP_BEGIN_BATCH, nullptr, nullptr), kOk);
    for (int i = 0; i < count; ++i) {
        InsertRequest run = provider_run("p", "h", i);
        run.stdout_text = stdout_of(i);
        run.stderr_text = stderr_of(i);
        ASSERT_EQ(insert_run("rt", run), kOk);
    }
    ASSERT_EQ(vexa::test::control("rt", vexa::datastore::OP_COMMIT_BATCH, nullptr, nullptr), kOk);
    std::vector<Row> rows;
    ASSERT_EQ(select_query("rt",
                           "SELECT rowid, CASE WHEN rowid % 13 = 0 THEN NULL ELSE STDOUT END "
                           "AS STDOUT, STDERR, CASE WHEN rowid % 5 = 0 THEN NULL ELSE "
                           "Unique_timestamp END AS Unique_timestamp FROM vexa_1 ORDER BY rowid",
                           rows),
              kOk);
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        Row const& row = rows[static_cast<std::size_t>(i)];
        ASSERT_EQ(row.rowid, i + 1);
        EXPECT_EQ(row.STDOUT, row.rowid % 13 == 0 ? "" : stdout_of(i)) << "row " << i;
        EXPECT_EQ(row.STDERR, stderr_of(i)) << "row " << i;
        EXPECT_EQ(row.Unique_timestamp,
                  row.rowid % 5 == 0 ? 0 : provider_run("p", "h", i).header.Unique_timestamp)
            << "row " << i;
    }
}

TEST_P(OdbcRoundTrip, ColumnsMapCaseInsensitivelyAndUnknownOnesAreSkipped) {
    open_store();
    ASSERT_EQ(insert_run("rt", provider_run("p", "h", 7)), kOk);
    std::vector<Row> rows;
    ASSERT_EQ(select_query("rt",
                           "SELECT PROVIDER, hostname AS HostName, 42 AS junk, "
                           "unique_timestamp AS UNIQUE_TIMESTAMP FROM vexa_1",
                           rows),
              kOk);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].Provider, "p");
    EXPECT_EQ(rows[0].Hostname, "h");
    EXPECT_EQ(rows[0].Unique_timestamp, provider_run("p", "h", 7).header.Unique_timestamp);
    EXPECT_EQ(rows[0].num_nodes, 0);
    EXPECT_TRUE(rows[0].STDOUT.empty());
}

TEST_P(OdbcRoundTrip, ANodeNameHoldingACommaIsRefusedAndNothingIsStored) {
    open_store();
    InsertRequest run = provider_run("p", "h", 1);
    run.header.node_names = {"n1", "n2,n3"};
    EXPECT_EQ(insert_run("rt", run), kFailed);
    std::vector<Row> rows;
    ASSERT_EQ(select_query("rt", all_rows, rows), kOk);
    EXPECT_TRUE(rows.empty());
}

TEST_P(OdbcRoundTrip, AReadOnlyInstanceRefusesEveryWrite) {
    open_store();
    ASSERT_EQ(insert_run("rt", provider_run("p", "h", 1)), kOk);
    open_odbc("ro", source_ + "|read_only=true");
    EXPECT_EQ(insert_run("ro", provider_run("p", "h", 2)), kFailed);
    std::vector<Row> rows;
    EXPECT_EQ(select_query("ro", "DELETE FROM provider_datastore", rows), kFailed);
    ASSERT_EQ(select_query("ro", all_rows, rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    expect_row_of(rows[0], provider_run("p", "h", 1));
}

INSTANTIATE_TEST_SUITE_P(Backends, OdbcRoundTrip, ::testing::Values(false, true),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "SqliteThroughOdbc" : "Postgresql";
                         });

TEST_F(OdbcPlugin, NullCellsReadAsEmptyTextsAndZeros) {
    std::string const db = fresh_database();
    open_odbc("pg", pg_source(db));
    psql(db, "INSERT INTO provider_datastore(Provider) VALUES ('only');");
    std::vector<Row> rows;
    ASSERT_EQ(select_query("pg", all_rows, rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].Provider, "only");
    EXPECT_EQ(rows[0].Hostname, "");
    EXPECT_TRUE(rows[0].node_names.empty());
    EXPECT_EQ(rows[0].Timestamp, 0);
    EXPECT_EQ(rows[0].Duration, 0.0);
    EXPECT_EQ(rows[0].Unique_timestamp, 0);
}

TEST_F(OdbcPlugin, ALargeStampSurvivesTheLatestRowQueryOnPostgresql) {
    std::string const db = fresh_database();
    open_odbc("pg", pg_source(db));
    InsertRequest const old_run = provider_run("p", "h", 1);
    InsertRequest const new_run = provider_run("p", "h", 2);
    ASSERT_EQ(insert_run("pg", old_run), kOk);
    ASSERT_EQ(insert_run("pg", new_run), kOk);
    vexa::datastore::SQLParameters sql;
    vexa::datastore::ReadParameters parameters;
    parameters.providers = {"p"};
    parameters.sql = &sql;
    std::vector<Row> rows;
    ASSERT_EQ(vexa::test::control("pg", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows),
              kOk);
    ASSERT_EQ(rows.size(), 1u);
    expect_row_of(rows[0], new_run);
}

// The lines the fixture's server has logged so far (pg_server.sh keeps its
// log beside the server's data).
std::string server_log() {
    std::string const server_dir = vexa::test::read_file(vexa::test::odbc_state_dir() + "/server");
    return vexa::test::read_file(server_dir.substr(0, server_dir.find('\n')) + "/server.log");
}

TEST_F(OdbcPlugin, OpeningAndReadingTheLatestRowsLeaveNoErrorInTheServerLog) {
    std::string const db = fresh_database();
    std::string::size_type const logged_before = server_log().size();
    open_odbc("pg", pg_source(db));
    ASSERT_EQ(insert_run("pg", provider_run("p", "h", 1)), kOk);
    vexa::datastore::SQLParameters sql;
    vexa::datastore::ReadParameters parameters;
    parameters.providers = {"p"};
    parameters.sql = &sql;
    std::vector<Row> rows;
    ASSERT_EQ(vexa::test::control("pg", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows),
              kOk);
    ASSERT_EQ(rows.size(), 1u);
    // The server is shared with other suites: only this session's lines count.
    std::vector<Row> session;
    ASSERT_EQ(select_query("pg", "SELECT pg_backend_pid() AS rowid", session,
                           {{"rowid", vexa::datastore::rowid_member}}),
              kOk);
    ASSERT_EQ(session.size(), 1u);
    std::string const logged = server_log().substr(logged_before);
    EXPECT_EQ(logged.find("[" + std::to_string(session[0].rowid) + "] ERROR:"), std::string::npos)
        << logged;
}

// --- read-only instances ---------------------------------------------------------

TEST_F(OdbcPlugin, AReadOnlyInstanceCreatesNothingAndNeverWrites) {
    std::string const empty = fresh_database();
    open_odbc("ro-empty", pg_source(empty) + "|read_only=true");
    EXPECT_EQ(psql(empty,
                   "SELECT count(*) FROM pg_class WHERE relname IN "
                   "('provider_datastore', 'vexa_1', 'baseline_datastore');"),
              "0\n");

    std::string const db = fresh_database();
    open_odbc("rw", pg_source(db));
    ASSERT_EQ(insert_run("rw", provider_run("p", "h", 1)), kOk);
    open_odbc("ro", pg_source(db) + "|read_only=true");
    EXPECT_EQ(extension_of("ro")->describe().substr(extension_of("ro")->describe().size() - 12),
              " (read-only)");
    EXPECT_EQ(insert_run("ro", provider_run("p", "h", 2)), kFailed);
    std::vector<Row> rows;
    EXPECT_EQ(select_query("ro", "DELETE FROM provider_datastore", rows), kFailed);
    ASSERT_EQ(select_query("ro", all_rows, rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    expect_row_of(rows[0], provider_run("p", "h", 1));
}

// --- threads ---------------------------------------------------------------------

TEST_F(OdbcPlugin, ThreadsSharingOneInstanceEachStoreAndReadTheirOwnRows) {
    std::string const db = fresh_database();
    open_odbc("pg", pg_source(db));
    constexpr int threads = 4;
    constexpr int per_thread = 50;
    std::vector<std::thread> workers;
    std::vector<int> failures(threads, 0);
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([t, &failures] {
            for (int i = 0; i < per_thread; ++i) {
                if (insert_run("pg", provider_run("p" + std::to_string(t), "h", i)) != kOk) {
                    ++failures[t];
                }
                std::vector<Row> rows;
                if (select_query(
                        "pg", "SELECT * FROM vexa_1 WHERE Provider = 'p" + std::to_string(t) + "'",
                        rows) != kOk ||
                    rows.size() != static_cast<std::size_t>(i + 1)) {
                    ++failures[t];
                }
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(failures, std::vector<int>(threads, 0));
    EXPECT_EQ(psql(db,
                   "SELECT count(*), count(DISTINCT (Provider, Unique_timestamp)) FROM "
                   "provider_datastore;"),
              "200|200\n");
}

}  // namespace
