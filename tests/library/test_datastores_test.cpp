// Test datastores: SQLite files built from SQL scripts (one statement per
// line) and registered through the SQLite plug-in, and configurations
// registered as they stand.
#include <gtest/gtest.h>

#include <sqlite3.h>

#include <stdexcept>
#include <string>
#include <vector>

#include <datastore/datastore.h>

#include "steered_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreConfig;
using vexa::datastore::DataStoreParseUtility;
using vexa::datastore::Row;
using vexa::test::ScopedEnv;
using vexa::test::TempDir;
using vexa::test::write_file;

// The directory of the SQLite plug-in in the build tree.
std::string const plugin_directory = VEXA_BUILD_ROOT "/datastore/quarn64";

// The values of the first column of `query` over `db_file`, as text.
std::vector<std::string> column_of(std::string const& db_file, std::string const& query) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(db_file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        sqlite3_close(db);
        throw std::runtime_error("cannot open " + db_file);
    }
    std::vector<std::string> values;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, query.c_str(), -1, &statement, nullptr) == SQLITE_OK) {
        while (sqlite3_step(statement) == SQLITE_ROW) {
            unsigned char const* text = sqlite3_column_text(statement, 0);
            values.emplace_back(text != nullptr ? reinterpret_cast<char const*>(text) : "");
        }
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return values;
}

using vexa::test::runtime_error_of;

using Strings = std::vector<std::string>;

class CreateFromSqlFileTest : public ::testing::Test {
  protected:
    TempDir dir;
    std::string const script = dir.file("script.sql");
    std::string const db = dir.file("test.db");
};

TEST_F(CreateFromSqlFileTest, RunsEveryLineAsOneCommand) {
    write_file(script,
               "CREATE TABLE t(a TEXT);\n"
               "INSERT INTO t VALUES('one');\n"
               "INSERT INTO t VALUES('two'); INSERT INTO t VALUES('three');\n");

    DataStoreParseUtility::create_from_sqlfile(script, db);

    EXPECT_EQ(column_of(db, "SELECT a FROM t ORDER BY rowid"), (Strings{"one", "two", "three"}));
}

TEST_F(CreateFromSqlFileTest, AStatementOverTwoLinesFailsOnItsFirstLine) {
    write_file(script,
               "CREATE TABLE t(a TEXT);\n"
               "INSERT INTO t\n"
               "VALUES('x');\n");

    EXPECT_EQ(runtime_error_of([&] { DataStoreParseUtility::create_from_sqlfile(script, db); }),
              "SQL command error: INSERT INTO t");
    // What ran before the failing line stays in the file.
    EXPECT_EQ(column_of(db, "SELECT name FROM sqlite_master"), (Strings{"t"}));
    EXPECT_TRUE(column_of(db, "SELECT a FROM t").empty());
}

TEST_F(CreateFromSqlFileTest, AnEmptyLineIsIssuedAndTheConnectionAcceptsIt) {
    write_file(script, "CREATE TABLE t(a TEXT);\n\nINSERT INTO t VALUES('after');\n");

    DataStoreParseUtility::create_from_sqlfile(script, db);

    EXPECT_EQ(column_of(db, "SELECT a FROM t"), (Strings{"after"}));
}

TEST_F(CreateFromSqlFileTest, AFailingLineIsQuotedExactlyAsRead) {
    write_file(script,
               "CREATE TABLE t(a TEXT);\n   BOGUS STATEMENT ;  \nINSERT INTO t VALUES('x');\n");

    EXPECT_EQ(runtime_error_of([&] { DataStoreParseUtility::create_from_sqlfile(script, db); }),
              "SQL command error:    BOGUS STATEMENT ;  ");
    EXPECT_TRUE(column_of(db, "SELECT a FROM t").empty());
}

TEST_F(CreateFromSqlFileTest, AMissingScriptIsNamed) {
    std::string const missing = dir.file("missing.sql");

    EXPECT_EQ(runtime_error_of([&] { DataStoreParseUtility::create_from_sqlfile(missing, db); }),
              "Unable to open sql file for reading " + missing);
}

TEST_F(CreateFromSqlFileTest, ADatabaseThatCannotBeOpenedIsNamed) {
    write_file(script, "CREATE TABLE t(a TEXT);\n");
    std::string const unreachable = dir.file("no-such-directory/test.db");

    EXPECT_EQ(
        runtime_error_of([&] { DataStoreParseUtility::create_from_sqlfile(script, unreachable); }),
        "Unable to open datastore file " + unreachable);
}

// ---- registration ---------------------------------------------------------

class LoadUtestTest : public vexa::test::RegistryTest {
  protected:
    // Each run of the script adds one host record.
    LoadUtestTest() {
        write_file(script,
                   "CREATE TABLE IF NOT EXISTS hosts(Provider TEXT, Hostname TEXT);\n"
                   "INSERT INTO hosts VALUES('uname', 'n1');\n");
    }

    TempDir dir;
    std::string const script = dir.file("hosts.sql");
    std::string const db = dir.file("hosts.db");
    ScopedEnv plugin_path{"VEXA_DSE_PATH", plugin_directory};
};

TEST_F(LoadUtestTest, ReadOnlyRegistersTheSourceFirstAndUnquoted) {
    DataStoreParseUtility::load_utest_sql_file(script, db, true, "utest_ro", true);

    ASSERT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 1u);
    DataStoreConfig const& config = DataStoreParseUtility::get_datastore_vector()[0].first;
    EXPECT_EQ(config.type, vexa::datastore::sqlite3);
    EXPECT_EQ(config.instance_name, "utest_ro");
    EXPECT_EQ(config.extension_name, "libsqlite.so");
    EXPECT_EQ(config.extension_path, plugin_directory);
    EXPECT_EQ(config.source_parameters, "source=" + db + "|read_only=true");
    // Left empty here; the controller's completion sets the data bit.
    EXPECT_EQ(config.source_types, vexa::test::data_only());
}

TEST_F(LoadUtestTest, TheRegisteredDatabaseAnswersQueries) {
    DataStoreParseUtility::load_utest_sql_file(script, db, true, "utest_query", true);

    std::vector<Row> rows;
    EXPECT_TRUE(vexa::datastore::select_data("SELECT Provider, Hostname FROM hosts", rows,
                                             vexa::datastore::column_index_map));

    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].Provider, "uname");
    EXPECT_EQ(rows[0].Hostname, "n1");
    EXPECT_EQ(rows[0].datastore_source, "utest_query");
}

TEST_F(LoadUtestTest, WritableRegistersReadOnlyFalse) {
    DataStoreParseUtility::load_utest_sql_file(script, db, false, "utest_rw", false);

    ASSERT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 1u);
    EXPECT_EQ(DataStoreParseUtility::get_datastore_vector()[0].first.source_parameters,
              "source=" + db + "|read_only=false");
    EXPECT_FALSE(DataStoreParseUtility::get_datastore_vector()[0].second.expired());
}

TEST_F(LoadUtestTest, TheDseVariableIsRequired) {
    ScopedEnv no_plugin_path("VEXA_DSE_PATH", std::nullopt);

    EXPECT_THROW(DataStoreParseUtility::load_utest_sql_file(script, db, false, "utest_env", true),
                 std::logic_error);

    // The database was built before the record failed; nothing was registered.
    EXPECT_EQ(column_of(db, "SELECT Hostname FROM hosts"), (Strings{"n1"}));
    EXPECT_TRUE(DataStoreParseUtility::get_datastore_vector().empty());
}

TEST_F(LoadUtestTest, ASecondCallForAnOpenNameRebuildsTheFileThenFailsInTheController) {
    DataStoreParseUtility::load_utest_sql_file(script, db, false, "utest_twice", true);

    EXPECT_EQ(runtime_error_of([&] {
                  DataStoreParseUtility::load_utest_sql_file(script, db, false, "utest_twice",
                                                             true);
              }),
              "Extension name/path " + plugin_directory +
                  "/libsqlite.so, instance utest_twice already open");

    EXPECT_EQ(column_of(db, "SELECT Hostname FROM hosts"), (Strings{"n1", "n1"}));
    EXPECT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 1u);
}

TEST_F(LoadUtestTest, ResetClosesAndForgetsEarlierInstances) {
    vexa::test::register_steered("utest_earlier", "");
    std::weak_ptr<vexa::datastore::DataStoreExtension> const earlier =
        DataStoreParseUtility::get_datastore_vector()[0].second;

    DataStoreParseUtility::load_utest_sql_file(script, db, true, "utest_reset", true);

    EXPECT_TRUE(earlier.expired());
    ASSERT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 1u);
    EXPECT_EQ(DataStoreParseUtility::get_datastore_vector()[0].first.instance_name, "utest_reset");
}

TEST_F(LoadUtestTest, WithoutResetEarlierInstancesStay) {
    vexa::test::register_steered("utest_earlier", "");

    DataStoreParseUtility::load_utest_sql_file(script, db, false, "utest_added", true);

    ASSERT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 2u);
    EXPECT_EQ(DataStoreParseUtility::get_datastore_vector()[0].first.instance_name,
              "utest_earlier");
    EXPECT_EQ(DataStoreParseUtility::get_datastore_vector()[1].first.instance_name, "utest_added");
}

TEST_F(LoadUtestTest, AFailingScriptRegistersNothingAfterTheReset) {
    vexa::test::register_steered("utest_earlier", "");
    write_file(script, "CREATE TABLE broken(\n);\n");

    EXPECT_EQ(runtime_error_of([&] {
                  DataStoreParseUtility::load_utest_sql_file(script, db, true, "utest_broken",
                                                             true);
              }),
              "SQL command error: CREATE TABLE broken(");
    EXPECT_TRUE(DataStoreParseUtility::get_datastore_vector().empty());
}

class LoadUtestConfigTest : public vexa::test::RegistryTest {};

TEST_F(LoadUtestConfigTest, RegistersTheConfigurationAsItStands) {
    vexa::test::register_steered("cfg_earlier", "");
    DataStoreConfig const config = vexa::test::plugin_config(
        VEXA_PLUGIN_STEERED_PLUGIN, "cfg_given", "row=p/h/1", vexa::test::data_only());

    EXPECT_EQ(DataStoreParseUtility::load_utest_config(config, false), 0);

    ASSERT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 2u);
    DataStoreConfig const& registered = DataStoreParseUtility::get_datastore_vector()[1].first;
    EXPECT_EQ(registered.instance_name, "cfg_given");
    EXPECT_EQ(registered.type, config.type);
    EXPECT_EQ(registered.extension_path, config.extension_path);
    EXPECT_EQ(registered.extension_name, config.extension_name);
    EXPECT_EQ(registered.source_parameters, "row=p/h/1");
    EXPECT_EQ(registered.source_types, config.source_types);
}

TEST_F(LoadUtestConfigTest, ResetClosesEarlierInstancesFirst) {
    vexa::test::register_steered("cfg_earlier", "");
    std::weak_ptr<vexa::datastore::DataStoreExtension> const earlier =
        DataStoreParseUtility::get_datastore_vector()[0].second;

    EXPECT_EQ(DataStoreParseUtility::load_utest_config(
                  vexa::test::plugin_config(VEXA_PLUGIN_STEERED_PLUGIN, "cfg_after_reset", "",
                                            vexa::test::data_only()),
                  true),
              0);

    EXPECT_TRUE(earlier.expired());
    ASSERT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 1u);
    EXPECT_EQ(DataStoreParseUtility::get_datastore_vector()[0].first.instance_name,
              "cfg_after_reset");
}

TEST_F(LoadUtestConfigTest, VacantFieldsAreLeftToTheController) {
    DataStoreConfig config =
        vexa::test::plugin_config(VEXA_PLUGIN_STEERED_PLUGIN, "cfg_vacant", "", std::bitset<2>());

    EXPECT_EQ(DataStoreParseUtility::load_utest_config(config, true), 0);

    ASSERT_EQ(DataStoreParseUtility::get_datastore_vector().size(), 1u);
    EXPECT_EQ(DataStoreParseUtility::get_datastore_vector()[0].first.source_types,
              vexa::test::data_only());
}

}  // namespace
