// The SQLite plug-in on real files, reached through the controller and the
// registry as the front end reaches it: opening in both modes, failures that
// leave files alone, reading columns by name, writing with bound values, the
// latest-row index, and files shared with the sqlite3 program.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "child_process.h"
#include "sqlite_datastores.h"
#include "sqlite_schema.h"
#include "test_support.h"

namespace {

using vexa::datastore::column_index_map;
using vexa::datastore::InsertRequest;
using vexa::datastore::ReadParameters;
using vexa::datastore::Row;
using vexa::datastore::SQLParameters;
using vexa::test::contents_of;
using vexa::test::control;
using vexa::test::extension_of;
using vexa::test::insert_run;
using vexa::test::open_failed_text;
using vexa::test::open_sqlite;
using vexa::test::PlainConnection;
using vexa::test::provider_run;
using vexa::test::select_query;
using vexa::test::sqlite_params;
using vexa::test::thrown_text;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;
constexpr int kFailed = vexa::datastore::DataStoreExtension::OPERATION_UNSUCCESSFULL;

// The text SQLite keeps in sqlite_master for one of the default DDL
// statements: without "IF NOT EXISTS " and the closing semicolon.
std::string stored_ddl(std::string statement) {
    statement.erase(statement.find("IF NOT EXISTS "), 14);
    statement.pop_back();
    return statement;
}

class SqlitePlugin : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    // The plug-in's own select(), called directly.
    static vexa::datastore::interface& sql_extension(std::string const& name) {
        return dynamic_cast<vexa::datastore::interface&>(*extension_of(name));
    }

    vexa::test::TempDir dir_;
};

// --- opening ---------------------------------------------------------------------

TEST_F(SqlitePlugin, WritableOpenCreatesParentDirectoriesFileAndTheDefaultSchema) {
    std::string const file = dir_.file("a/b/c/store.db");
    open_sqlite("rw", sqlite_params(file, false));

    ASSERT_TRUE(vexa::test::exists(file));
    EXPECT_TRUE(extension_of("rw")->is_ready());
    std::vector<std::string> const state_schema = vexa::datastore::common::sqlite_state_schema();
    PlainConnection db(file);
    EXPECT_EQ(
        db.rows("SELECT type, name, sql FROM sqlite_master ORDER BY name;"),
        (std::vector<std::string>{
            "table|baseline_datastore|" +
                stored_ddl(vexa::datastore::default_create_baseline_query),
            "table|provider_datastore|" + stored_ddl(vexa::datastore::default_create_table_query),
            "index|provider_datastore_latest|CREATE UNIQUE INDEX provider_datastore_latest ON "
            "provider_datastore(Provider, Hostname, OptionID, Unique_timestamp DESC)",
            "index|provider_datastore_passed|CREATE INDEX provider_datastore_passed ON "
            "provider_datastore(Provider, Hostname, OptionID, Unique_timestamp) WHERE "
            "Exit_status = 0",
            "table|provider_datastore_state|" + stored_ddl(state_schema[0] + ";"),
            "trigger|provider_datastore_state_delete|" + stored_ddl(state_schema[4] + ";"),
            "trigger|provider_datastore_state_insert_null_key|" + stored_ddl(state_schema[3] + ";"),
            "trigger|provider_datastore_state_insert_pair|" + stored_ddl(state_schema[2] + ";"),
            "index|provider_datastore_state_pair|" + stored_ddl(state_schema[1] + ";"),
            "trigger|provider_datastore_state_update|" + stored_ddl(state_schema[5] + ";"),
            "view|vexa_1|" + stored_ddl(vexa::datastore::default_create_view_query),
        }));
    EXPECT_EQ(db.rows("PRAGMA journal_mode;"), std::vector<std::string>{"wal"});
}

TEST_F(SqlitePlugin, ReopeningAWritableFileKeepsItsRows) {
    std::string const file = dir_.file("store.db");
    open_sqlite("first", sqlite_params(file, false));
    ASSERT_EQ(insert_run("first", provider_run("cpu", "n1", 1)), kOk);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();

    open_sqlite("second", sqlite_params(file, false));
    std::vector<Row> rows;
    ASSERT_EQ(select_query("second", "SELECT * FROM vexa_1", rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    vexa::test::expect_row_of(rows[0], provider_run("cpu", "n1", 1));
}

TEST_F(SqlitePlugin, QuotedDefaultSourceIsUnquotedAndHomeExpanded) {
    vexa::test::ScopedEnv home("HOME", dir_.path());
    open_sqlite("home", "read_only=false|source=\"$HOME/.vexa/2021.4.0/vexa.db\"");

    EXPECT_TRUE(vexa::test::exists(dir_.file(".vexa/2021.4.0/vexa.db")));
    EXPECT_EQ(extension_of("home")->describe(),
              "sqlite3 " + dir_.path() + "/.vexa/2021.4.0/vexa.db (read-write)");
}

TEST_F(SqlitePlugin, DescribeNamesTheReadOnlyMode) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    open_sqlite("ro", sqlite_params(file, true));
    EXPECT_EQ(extension_of("ro")->describe(), "sqlite3 " + file + " (read-only)");
    EXPECT_TRUE(extension_of("ro")->is_ready());
}

TEST_F(SqlitePlugin, ReadOnlyOpenOfAMissingFileFailsAndCreatesNothing) {
    std::string const file = dir_.file("missing/none.db");
    vexa::test::StderrCapture captured;
    EXPECT_EQ(thrown_text([&] { open_sqlite("ro", sqlite_params(file, true)); }),
              open_failed_text("ro"));
    EXPECT_EQ(captured.text(), "sqlite3 " + file + ": unable to open database file\n");
    EXPECT_FALSE(vexa::test::exists(dir_.file("missing")));
    EXPECT_TRUE(vexa::datastore::DataStoreParseUtility::get_datastore_vector().empty());
}

TEST_F(SqlitePlugin, FileThatIsNotADatabaseFailsInBothModesAndStaysUntouched) {
    std::string const file = dir_.file("notes.db");
    std::string const text(4096, 'x');
    vexa::test::write_file(file, text);

    for (bool const read_only : {false, true}) {
        vexa::test::StderrCapture captured;
        EXPECT_EQ(thrown_text([&] { open_sqlite("bad", sqlite_params(file, read_only)); }),
                  open_failed_text("bad"));
        EXPECT_EQ(captured.text(), "sqlite3 " + file + ": file is not a database\n");
        EXPECT_EQ(vexa::test::read_file(file), text);
    }
    EXPECT_FALSE(vexa::test::exists(file + "-wal"));
}

TEST_F(SqlitePlugin, DatabaseWithABrokenHeaderFailsToOpen) {
    std::string const file = dir_.file("broken.db");
    open_sqlite("rw", sqlite_params(file, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    std::string damaged = vexa::test::read_file(file);
    damaged.replace(0, 16, "not a database!!");
    vexa::test::write_file(file, damaged);

    vexa::test::StderrCapture captured;
    EXPECT_EQ(thrown_text([&] { open_sqlite("rw", sqlite_params(file, false)); }),
              open_failed_text("rw"));
    EXPECT_EQ(captured.text(), "sqlite3 " + file + ": file is not a database\n");
    EXPECT_EQ(vexa::test::read_file(file), damaged);
}

TEST_F(SqlitePlugin, DirectoryAsSourceFailsInBothModes) {
    vexa::test::StderrCapture captured;
    EXPECT_EQ(thrown_text([&] { open_sqlite("dir", sqlite_params(dir_.path(), false)); }),
              open_failed_text("dir"));
    EXPECT_EQ(thrown_text([&] { open_sqlite("dir", sqlite_params(dir_.path(), true)); }),
              open_failed_text("dir"));
    EXPECT_EQ(captured.text(), "sqlite3 " + dir_.path() + ": unable to open database file\n" +
                                   "sqlite3 " + dir_.path() + ": disk I/O error\n");
}

TEST_F(SqlitePlugin, PathBelowAFileFailsWithoutCreatingAnything) {
    std::string const plain_file = dir_.file("plain.txt");
    vexa::test::write_file(plain_file, "text");
    vexa::test::StderrCapture captured;
    EXPECT_EQ(thrown_text([&] { open_sqlite("odd", sqlite_params(plain_file + "/x.db", false)); }),
              open_failed_text("odd"));
    EXPECT_EQ(captured.text(), "sqlite3 " + plain_file + "/x.db: cannot create directory " +
                                   plain_file + ": Not a directory\n");
    EXPECT_EQ(vexa::test::read_file(plain_file), "text");
}

TEST_F(SqlitePlugin, MalformedSourceParametersFailToOpen) {
    std::string const params = "source=" + dir_.file("x.db") + "|junk";
    vexa::test::StderrCapture captured;
    EXPECT_EQ(thrown_text([&] { open_sqlite("junk", params); }), open_failed_text("junk"));
    EXPECT_EQ(captured.text(), "sqlite3: malformed source parameters \"" + params + "\"\n");
    EXPECT_FALSE(vexa::test::exists(dir_.file("x.db")));
}

// Permissions bind root only in name, so the attempts run in a child process
// that gives up root first (as an ordinary user they run as that user).
TEST_F(SqlitePlugin, PathsWithoutPermissionFailToOpenAndStayUntouched) {
    ASSERT_EQ(chmod(dir_.path().c_str(), 0755), 0);
    std::string const locked_dir = dir_.file("locked");
    std::string const locked_file = locked_dir + "/store.db";
    std::string const protected_file = dir_.file("protected.db");
    open_sqlite("setup1", sqlite_params(locked_file, false));
    open_sqlite("setup2", sqlite_params(protected_file, false));
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    ASSERT_EQ(chmod(locked_dir.c_str(), 0), 0);
    ASSERT_EQ(chmod(protected_file.c_str(), 0444), 0);
    std::string const protected_bytes = vexa::test::read_file(protected_file);

    int const status = vexa::test::in_child_process([&] {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) {
            return 10;
        }
        vexa::test::StderrCapture captured;
        bool const all_failed =
            thrown_text([&] { open_sqlite("a", sqlite_params(locked_file, false)); }) ==
                open_failed_text("a") &&
            thrown_text([&] { open_sqlite("b", sqlite_params(locked_file, true)); }) ==
                open_failed_text("b") &&
            thrown_text([&] {
                open_sqlite("c", sqlite_params(locked_dir + "/new/x.db", false));
            }) == open_failed_text("c") &&
            // Writable asked, but the file is write-protected: SQLite would
            // quietly read only, the plug-in refuses.
            thrown_text([&] { open_sqlite("d", sqlite_params(protected_file, false)); }) ==
                open_failed_text("d");
        std::string const expected_log =
            "sqlite3 " + locked_file + ": unable to open database file\n" + "sqlite3 " +
            locked_file + ": unable to open database file\n" + "sqlite3 " + locked_dir +
            "/new/x.db: cannot create directory " + locked_dir + "/new: Permission denied\n" +
            "sqlite3 " + protected_file + ": attempt to write a readonly database\n";
        if (!all_failed) {
            return 11;
        }
        return captured.text() == expected_log ? 0 : 12;
    });

    ASSERT_EQ(chmod(locked_dir.c_str(), 0755), 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(vexa::test::read_file(protected_file), protected_bytes);
    EXPECT_FALSE(vexa::test::exists(locked_dir + "/new"));
}

// --- writing and reading rows ----------------------------------------------------

TEST_F(SqlitePlugin, InsertedRowReadsBackWithEveryMember) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    InsertRequest const first = provider_run("cpu", "n1", 11);
    InsertRequest const second = provider_run("mem", "n2", 12, "opt-b");
    ASSERT_EQ(insert_run("rw", first), kOk);
    ASSERT_EQ(insert_run("rw", second), kOk);

    std::vector<Row> rows;
    ASSERT_EQ(select_query("rw", "SELECT * FROM vexa_1 ORDER BY rowid", rows), kOk);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].rowid, 1);
    EXPECT_EQ(rows[1].rowid, 2);
    vexa::test::expect_row_of(rows[0], first);
    vexa::test::expect_row_of(rows[1], second);
    EXPECT_EQ(rows[0].datastore_source, "");
}

TEST_F(SqlitePlugin, ExtremeNumbersRoundTripExactly) {
    open_sqlite("rw", sqlite_params(dir_.file("store.db"), false));
    InsertRequest run = provider_run("cpu", "n1", 1);
    run.header.Unique_timestamp = std::numeric_limits<std::int64_t>::max();
    run.header.Timestamp = std::numeric_limits<std::int64_t>::min();
    run.header.Exit_status = -2147483647 - 1;
    run.header.num_nodes = vexa::datastore::max_num_nodes;
    run.header.Duration = 0.1 + 0.2;
    run.header.version = -1;
    run.header.Encoding = vexa::provider::raw;
    ASSERT_EQ(insert_run("rw", run), kOk);
    InsertRequest negative = provider_run("cpu", "n2", 2);
    negative.header.Unique_timestamp = -3;
    ASSERT_EQ(insert_run("rw", negative), kOk);

    std::vector<Row> rows;
    ASSERT_EQ(select_query("rw", "SELECT * FROM vexa_1 ORDER BY rowid", rows), kOk);
    ASSERT_EQ(rows.size(), 2u);
    vexa::test::expect_row_of(rows[0], run);
    vexa::test::expect_row_of(rows[1], negative);
}

TEST_F(SqlitePlugin, QuotesAndBinaryLookingTextAreStoredExactly) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    std::string binary;
    for (int byte = 1; byte < 256; ++byte) {
        binary += static_cast<char>(byte);
    }
    InsertRequest run = provider_run("it's \"quoted\"", "n'1", 1, "o'; --");
    run.stdout_text = binary;
    run.stderr_text = "'); DROP TABLE provider_datastore; --";
    run.header.Username = "\\' OR ''='";
    ASSERT_EQ(insert_run("rw", run), kOk);

    std::vector<Row> rows;
    ASSERT_EQ(select_query("rw", "SELECT * FROM vexa_1", rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    vexa::test::expect_row_of(rows[0], run);
    PlainConnection db(file);
    EXPECT_EQ(
        db.rows("SELECT Provider, length(CAST(STDOUT AS BLOB)), STDERR FROM vexa_1;"),
        std::vector<std::string>{"it's \"quoted\"|255|'); DROP TABLE provider_datastore; --"});
}

TEST_F(SqlitePlugin, NodeNamesAreStoredAsOneCommaJoinedText) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    InsertRequest none = provider_run("cpu", "n1", 1);
    none.header.node_names.clear();
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 2)), kOk);
    ASSERT_EQ(insert_run("rw", none), kOk);

    PlainConnection db(file);
    EXPECT_EQ(db.rows("SELECT node_names FROM provider_datastore ORDER BY rowid;"),
              (std::vector<std::string>{"n1,n1-peer1,n1-peer2", ""}));
    std::vector<Row> rows;
    ASSERT_EQ(select_query("rw", "SELECT * FROM vexa_1 ORDER BY rowid", rows), kOk);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].node_names, (std::vector<std::string>{"n1", "n1-peer1", "n1-peer2"}));
    EXPECT_TRUE(rows[1].node_names.empty());
}

TEST_F(SqlitePlugin, ColumnsMatchFieldNamesIgnoringCaseAndUnknownColumnsAreSkipped) {
    open_sqlite("rw", sqlite_params(dir_.file("store.db"), false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 4)), kOk);

    std::vector<Row> rows;
    ASSERT_EQ(select_query("rw",
                           "SELECT Version, PROVIDER, hostname, MAX(unique_timestamp), 5 AS extra "
                           "FROM vexa_1",
                           rows),
              kOk);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].version, 42);
    EXPECT_EQ(rows[0].Provider, "cpu");
    EXPECT_EQ(rows[0].Hostname, "n1");
    EXPECT_EQ(rows[0].Unique_timestamp, 0);
    EXPECT_EQ(rows[0].rowid, 0);
    EXPECT_EQ(rows[0].STDOUT, "");
}

TEST_F(SqlitePlugin, TheCallersFieldMapDecidesWhereAColumnLands) {
    open_sqlite("rw", sqlite_params(dir_.file("store.db"), false));
    std::vector<Row> rows;
    std::map<std::string, int> const fields{{"Label", 2}, {"stamp", 14}, {"beyond", 99}};
    ASSERT_EQ(select_query("rw", "SELECT 'x' AS LABEL, 77 AS Stamp, 'y' AS beyond, 'z' AS Provider",
                           rows, fields),
              kOk);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].Hostname, "x");
    EXPECT_EQ(rows[0].Unique_timestamp, 77);
    EXPECT_EQ(rows[0].Provider, "");
}

TEST_F(SqlitePlugin, NullColumnsReadAsEmptyTextsAndZeros) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    PlainConnection(file, false).execute("INSERT INTO provider_datastore(rowid) VALUES(7);");

    open_sqlite("ro", sqlite_params(file, true));
    std::vector<Row> rows;
    ASSERT_EQ(select_query("ro", "SELECT * FROM vexa_1", rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    vexa::test::expect_row_of(rows[0], InsertRequest{});
    EXPECT_EQ(rows[0].rowid, 7);
}

TEST_F(SqlitePlugin, OnlyTheFirstStatementOfATextRuns) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);

    std::vector<Row> rows;
    EXPECT_EQ(select_query("rw", "SELECT * FROM vexa_1; DROP TABLE provider_datastore;", rows),
              kOk);
    EXPECT_EQ(rows.size(), 1u);
    EXPECT_EQ(PlainConnection(file).rows("SELECT count(*) FROM provider_datastore;"),
              std::vector<std::string>{"1"});
}

TEST_F(SqlitePlugin, SqlErrorFailsWithSqlitesOwnText) {
    open_sqlite("rw", sqlite_params(dir_.file("store.db"), false));
    std::vector<Row> rows;
    EXPECT_EQ(select_query("rw", "SELECT * FROM nowhere", rows), kFailed);
    EXPECT_EQ(thrown_text([&] {
                  sql_extension("rw").select("SELECT * FROM nowhere", rows, column_index_map);
              }),
              "no such table: nowhere");
    EXPECT_EQ(thrown_text([&] { sql_extension("rw").select("SELEC 1", rows, column_index_map); }),
              "near \"SELEC\": syntax error");
    EXPECT_TRUE(rows.empty());
}

TEST_F(SqlitePlugin, StatementsThatWriteAreRefusedBySelect) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    std::vector<Row> rows;
    EXPECT_EQ(thrown_text([&] {
                  sql_extension("rw").select("DELETE FROM provider_datastore", rows,
                                             column_index_map);
              }),
              "not a read-only statement: DELETE FROM provider_datastore");
    EXPECT_EQ(select_query("rw", "DROP VIEW vexa_1", rows), kFailed);
    // eleven schema objects (the four of the defaults, the state table, its
    // index and four triggers, the index of passing runs) and the row
    EXPECT_EQ(contents_of(file).size(), 12u);
}

TEST_F(SqlitePlugin, TextWithoutAStatementSucceedsWithNoRows) {
    open_sqlite("rw", sqlite_params(dir_.file("store.db"), false));
    std::vector<Row> rows;
    EXPECT_TRUE(sql_extension("rw").select("  -- nothing here\n", rows, column_index_map));
    EXPECT_TRUE(rows.empty());
}

TEST_F(SqlitePlugin, SelectAppendsToRowsAlreadyThere) {
    open_sqlite("rw", sqlite_params(dir_.file("store.db"), false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    std::vector<Row> rows(2);
    rows[0].Provider = "kept";
    ASSERT_TRUE(sql_extension("rw").select("SELECT * FROM vexa_1", rows, column_index_map));
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].Provider, "kept");
    EXPECT_EQ(rows[2].Provider, "cpu");
}

// --- the read compositions over the plug-in ----------------------------------------

TEST_F(SqlitePlugin, LatestRowsAreWholeRecordsOfTheGreatestStampPerOptionHostAndProvider) {
    open_sqlite("rw", sqlite_params(dir_.file("store.db"), false));
    for (auto const& run :
         {provider_run("cpu", "n1", 5, "a"), provider_run("cpu", "n1", 9, "a"),
          provider_run("cpu", "n1", 7, "a"), provider_run("cpu", "n1", 3, "b"),
          provider_run("cpu", "n2", 2, "a"), provider_run("mem", "n1", 99, "a")}) {
        ASSERT_EQ(insert_run("rw", run), kOk);
    }

    ReadParameters parameters;
    parameters.providers = {"cpu"};
    std::vector<Row> rows;
    ASSERT_EQ(control("rw", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kOk);
    ASSERT_EQ(rows.size(), 3u);
    std::map<std::string, Row> by_key;
    for (Row const& row : rows) {
        by_key[row.OptionID + "/" + row.Hostname] = row;
    }
    vexa::test::expect_row_of(by_key["a/n1"], provider_run("cpu", "n1", 9, "a"));
    vexa::test::expect_row_of(by_key["b/n1"], provider_run("cpu", "n1", 3, "b"));
    vexa::test::expect_row_of(by_key["a/n2"], provider_run("cpu", "n2", 2, "a"));

    parameters.hostnames = {"n2"};
    ASSERT_EQ(control("rw", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].Unique_timestamp, provider_run("cpu", "n2", 2).header.Unique_timestamp);
}

TEST_F(SqlitePlugin, HostsQueryGivesTheLatestUnameRecordOfEveryHost) {
    open_sqlite("rw", sqlite_params(dir_.file("store.db"), false));
    for (auto const& run : {provider_run("uname", "n1", 1), provider_run("uname", "n1", 5, "b"),
                            provider_run("uname", "n2", 3), provider_run("cpu", "n3", 50)}) {
        ASSERT_EQ(insert_run("rw", run), kOk);
    }

    SQLParameters sql;
    ReadParameters parameters;
    parameters.sql = &sql;
    std::vector<Row> rows;
    ASSERT_EQ(control("rw", vexa::datastore::OP_SELECT_HOSTS, &parameters, &rows), kOk);
    ASSERT_EQ(rows.size(), 2u);
    vexa::test::sort_by_host(rows);
    vexa::test::expect_row_of(rows[0], provider_run("uname", "n1", 5, "b"));
    vexa::test::expect_row_of(rows[1], provider_run("uname", "n2", 3));
}

TEST_F(SqlitePlugin, ProviderSelectionAppliesTheCondition) {
    open_sqlite("rw", sqlite_params(dir_.file("store.db"), false));
    for (auto const& run : {provider_run("cpu", "n1", 1), provider_run("cpu", "n2", 2),
                            provider_run("mem", "n1", 3)}) {
        ASSERT_EQ(insert_run("rw", run), kOk);
    }
    SQLParameters sql;
    sql.filter = "Hostname = 'n2'";
    ReadParameters parameters;
    parameters.providers = {"cpu", "mem"};
    parameters.sql = &sql;
    std::vector<Row> rows;
    ASSERT_EQ(control("rw", vexa::datastore::OP_SELECT, &parameters, &rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    vexa::test::expect_row_of(rows[0], provider_run("cpu", "n2", 2));
}

// --- read-only instances and hostile texts ------------------------------------------

TEST_F(SqlitePlugin, ReadOnlyInstanceRefusesInsertAndLeavesTheFileByteIdentical) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n2", 2)), kOk);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    std::string const before = vexa::test::read_file(file);

    open_sqlite("ro", sqlite_params(file, true));
    EXPECT_EQ(insert_run("ro", provider_run("cpu", "n3", 3)), kFailed);
    EXPECT_FALSE(sql_extension("ro").insert(provider_run("cpu", "n3", 3).header, "o", "x", "y"));
    std::vector<Row> rows;
    EXPECT_EQ(select_query("ro", "SELECT * FROM vexa_1", rows), kOk);
    EXPECT_EQ(rows.size(), 2u);
    ReadParameters parameters;
    parameters.providers = {"cpu"};
    EXPECT_EQ(control("ro", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kOk);
    EXPECT_EQ(rows.size(), 2u);
    EXPECT_EQ(select_query("ro", "DELETE FROM provider_datastore", rows), kFailed);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();

    EXPECT_EQ(vexa::test::read_file(file), before);
}

TEST_F(SqlitePlugin, InjectionTextsInNamesChangeNothingAndFindNothing) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    ASSERT_EQ(insert_run("rw", provider_run("a", "n1", 1)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("b", "n1", 2)), kOk);
    std::vector<std::string> const before = contents_of(file);

    SQLParameters sql;
    ReadParameters parameters;
    parameters.sql = &sql;
    std::vector<Row> rows;
    // Breaks the composed statement: an error, not every row.
    parameters.providers = {"x') OR 1=1 --"};
    EXPECT_EQ(control("rw", vexa::datastore::OP_SELECT, &parameters, &rows), kFailed);
    EXPECT_EQ(control("rw", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kFailed);
    EXPECT_TRUE(rows.empty());
    // Completes the statement and appends another: only the first one runs.
    parameters.providers = {"x') ); DROP TABLE provider_datastore; --"};
    EXPECT_EQ(control("rw", vexa::datastore::OP_SELECT, &parameters, &rows), kOk);
    EXPECT_TRUE(rows.empty());
    parameters.providers = {"; DROP TABLE provider_datastore;"};
    EXPECT_EQ(control("rw", vexa::datastore::OP_SELECT, &parameters, &rows), kOk);
    EXPECT_EQ(control("rw", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kOk);
    EXPECT_TRUE(rows.empty());
    parameters.providers = {"x'; DROP TABLE provider_datastore; --"};
    EXPECT_EQ(control("rw", vexa::datastore::OP_SELECT, &parameters, &rows), kFailed);
    EXPECT_EQ(control("rw", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kFailed);
    parameters.providers = {"a"};
    parameters.hostnames = {"x' OR 1=1 --"};
    EXPECT_EQ(control("rw", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kFailed);
    EXPECT_TRUE(rows.empty());

    EXPECT_EQ(contents_of(file), before);
}

// --- the latest-row index and the planner ---------------------------------------------

std::string plan_of(PlainConnection& db, std::string const& query) {
    std::string plan;
    for (std::string const& line : db.rows("EXPLAIN QUERY PLAN " + query)) {
        plan += line.substr(line.rfind('|') + 1) + "\n";
    }
    return plan;
}

std::string provider_list(int count) {
    std::string list;
    for (int p = 0; p < count; ++p) {
        list += (p == 0 ? "'p" : ",'p") + std::to_string(p) + "'";
    }
    return list;
}

TEST_F(SqlitePlugin, LatestRowQueryUsesTheIndexAndWholeTableReadsScanOnceAnalysed) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    std::int64_t stamp = 0;
    for (int run = 0; run < 10; ++run) {
        for (int host = 0; host < 10; ++host) {
            for (int p = 0; p < 20; ++p) {
                ASSERT_EQ(insert_run("rw", provider_run("p" + std::to_string(p),
                                                        "n" + std::to_string(host), ++stamp)),
                          kOk);
            }
        }
    }
    std::string const every_provider =
        "SELECT * FROM vexa_1 WHERE (Provider IN (" + provider_list(20) + ") )";
    {
        // Without statistics SQLite takes any equality on Provider for
        // selective, even one that covers the whole table.
        PlainConnection db(file);
        EXPECT_EQ(plan_of(db, every_provider),
                  "SEARCH provider_datastore USING INDEX provider_datastore_latest (Provider=?)\n");
    }
    vexa::datastore::DataStoreParseUtility::clear_db_vector();
    open_sqlite("rw", sqlite_params(file, false));  // analyses the grown table

    PlainConnection db(file);
    EXPECT_EQ(db.rows("SELECT stat FROM sqlite_stat1 WHERE idx = 'provider_datastore_latest';"),
              std::vector<std::string>{"2000 100 10 10 1"});
    EXPECT_EQ(plan_of(db,
                      "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE (Provider IN ('p3') "
                      ")GROUP BY OptionID, Hostname, Provider;"),
              "SEARCH provider_datastore USING INDEX provider_datastore_latest (Provider=?)\n");
    EXPECT_EQ(plan_of(db,
                      "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE (Provider IN "
                      "('p3','p4') ) AND  (Hostname IN ('n1') )GROUP BY OptionID, "
                      "Hostname, Provider;"),
              "SEARCH provider_datastore USING INDEX provider_datastore_latest (Provider=? AND "
              "Hostname=?)\n");
    EXPECT_EQ(plan_of(db, every_provider), "SCAN provider_datastore\n");
}

TEST_F(SqlitePlugin, HostsQueryUsesTheIndex) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    PlainConnection db(file);
    EXPECT_EQ(plan_of(db,
                      "SELECT *, MAX(unique_timestamp) FROM vexa_1 WHERE Provider = 'uname' "
                      "GROUP BY Hostname;"),
              "SEARCH provider_datastore USING INDEX provider_datastore_latest (Provider=?)\n");
}

// --- files shared with the sqlite3 program ----------------------------------------------

TEST_F(SqlitePlugin, Sqlite3ProgramReadsAFileThePluginWrote) {
    std::string const file = dir_.file("store.db");
    open_sqlite("rw", sqlite_params(file, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 1)), kOk);
    ASSERT_EQ(insert_run("rw", provider_run("mem", "n2", 2, "it's")), kOk);
    vexa::datastore::DataStoreParseUtility::clear_db_vector();

    std::string output;
    ASSERT_EQ(vexa::test::run_sqlite3_program(
                  file,
                  "PRAGMA journal_mode;\n"
                  "SELECT rowid, Provider, Hostname, node_names, OptionID, Version, "
                  "Unique_timestamp FROM vexa_1 ORDER BY rowid;\n",
                  output),
              0);
    EXPECT_EQ(output,
              "wal\n"
              "1|cpu|n1|n1,n1-peer1,n1-peer2|opt-a|42|1700000000000001\n"
              "2|mem|n2|n2,n2-peer1,n2-peer2|it's|43|1700000000000002\n");
}

TEST_F(SqlitePlugin, PluginReadsAFileTheSqlite3ProgramWroteWithTheDefaultDdl) {
    std::string const file = dir_.file("cli.db");
    std::string output;
    ASSERT_EQ(vexa::test::run_sqlite3_program(
                  file,
                  vexa::datastore::default_create_table_query + "\n" +
                      vexa::datastore::default_create_baseline_query + "\n" +
                      vexa::datastore::default_create_view_query + "\n" +
                      "INSERT INTO provider_datastore VALUES(NULL, 'cpu', 'n1', 2, 'n1,n2', 3, "
                      "1700000000, 1.25, 1, 'out', 'err', 'opt', 7, 'me', 9007199254740993);\n",
                  output),
              0)
        << output;

    open_sqlite("ro", sqlite_params(file, true));
    std::vector<Row> rows;
    ASSERT_EQ(select_query("ro", "SELECT * FROM vexa_1", rows), kOk);
    ASSERT_EQ(rows.size(), 1u);
    Row const& row = rows[0];
    EXPECT_EQ(row.rowid, 1);
    EXPECT_EQ(row.Provider, "cpu");
    EXPECT_EQ(row.Hostname, "n1");
    EXPECT_EQ(row.num_nodes, 2);
    EXPECT_EQ(row.node_names, (std::vector<std::string>{"n1", "n2"}));
    EXPECT_EQ(row.Exit_status, 3);
    EXPECT_EQ(row.Timestamp, 1700000000);
    EXPECT_EQ(row.Duration, 1.25);
    EXPECT_EQ(row.Encoding, vexa::provider::base64);
    EXPECT_EQ(row.STDOUT, "out");
    EXPECT_EQ(row.STDERR, "err");
    EXPECT_EQ(row.OptionID, "opt");
    EXPECT_EQ(row.version, 7);
    EXPECT_EQ(row.Username, "me");
    EXPECT_EQ(row.Unique_timestamp, 9007199254740993);

    // A writable instance adopts the file as it is and adds its index.
    open_sqlite("rw", sqlite_params(file, false));
    ASSERT_EQ(insert_run("rw", provider_run("cpu", "n1", 2)), kOk);
    ReadParameters parameters;
    parameters.providers = {"cpu"};
    ASSERT_EQ(control("rw", vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows), kOk);
    EXPECT_EQ(rows.size(), 2u);  // two option identifiers
}

}  // namespace
