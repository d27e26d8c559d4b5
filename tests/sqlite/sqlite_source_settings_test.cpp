// What the SQLite plug-in makes of source_parameters: the path opens the
// very file written (blanks and "*" included, variables and a leading "~"
// expanded), and a misspelt key, a value it does not know or a variable it
// cannot expand is an open failure whose reason is logged.
#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "sqlite_datastores.h"
#include "test_support.h"

namespace {

using vexa::datastore::Row;
using vexa::test::extension_of;
using vexa::test::open_failed_text;
using vexa::test::open_sqlite;
using vexa::test::ScopedEnv;
using vexa::test::select_query;
using vexa::test::StderrCapture;
using vexa::test::thrown_text;

constexpr int kOk = vexa::datastore::DataStoreExtension::OPERATION_SUCCESSFULL;

class SqliteSourceSettings : public ::testing::Test {
  protected:
    void TearDown() override { vexa::datastore::DataStoreParseUtility::clear_db_vector(); }

    // Opening `params` fails; returns what was logged meanwhile.
    static std::string open_failure(std::string const& params) {
        StderrCapture captured;
        EXPECT_EQ(thrown_text([&] { open_sqlite("refused", params); }),
                  open_failed_text("refused"));
        return captured.text();
    }

    // The files and directories directly in `dir`, sorted.
    static std::vector<std::string> entries(std::string const& dir) {
        std::vector<std::string> names;
        for (auto const& entry : std::filesystem::directory_iterator(dir)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    vexa::test::ScopedLogLevel log_level_{4};
    vexa::test::TempDir dir_;
};

TEST_F(SqliteSourceSettings, BlanksAndPatternCharactersNameThatVeryFile) {
    std::string const spaced = dir_.file("x y/a b.db");
    std::string const starred = dir_.file("*.db");
    vexa::test::write_file(dir_.file("other.db"), "");

    open_sqlite("spaced", "source=" + spaced + "|read_only=false");
    open_sqlite("starred", "source=\"" + starred + "\"");

    EXPECT_EQ(extension_of("spaced")->describe(), "sqlite3 " + spaced + " (read-write)");
    EXPECT_EQ(extension_of("starred")->describe(), "sqlite3 " + starred + " (read-write)");
    EXPECT_TRUE(vexa::test::exists(spaced));
    EXPECT_TRUE(vexa::test::exists(starred));
    EXPECT_FALSE(vexa::test::exists(dir_.file("x")));
    EXPECT_EQ(vexa::test::read_file(dir_.file("other.db")), "");
}

TEST_F(SqliteSourceSettings, VariablesAndALeadingTildeAreExpanded) {
    ScopedEnv home("HOME", dir_.path());
    ScopedEnv sub("VEXA_SETTINGS_SUB", "in side");

    open_sqlite("tilde", "source=~/t.db");
    open_sqlite("braced", "source=${HOME}/${VEXA_SETTINGS_SUB}/b.db");
    open_sqlite("plain", "source=$HOME/p$.db");

    EXPECT_EQ(extension_of("tilde")->describe(), "sqlite3 " + dir_.file("t.db") + " (read-write)");
    EXPECT_EQ(extension_of("braced")->describe(),
              "sqlite3 " + dir_.file("in side/b.db") + " (read-write)");
    EXPECT_EQ(extension_of("plain")->describe(), "sqlite3 " + dir_.file("p$.db") + " (read-write)");
    EXPECT_TRUE(vexa::test::exists(dir_.file("in side/b.db")));
}

TEST_F(SqliteSourceSettings, AnUnsetOrEmptyHomeIsAnOpenFailureNamingIt) {
    vexa::test::ScopedCurrentDirectory here(dir_.path());
    {
        ScopedEnv home("HOME", std::nullopt);
        EXPECT_EQ(open_failure("read_only=false"),
                  "sqlite3: cannot expand \"$HOME/.vexa/2021.4.0/vexa.db\": variable HOME is not "
                  "set\n");
        EXPECT_EQ(open_failure("source=~/x.db"),
                  "sqlite3: cannot expand \"~/x.db\": variable HOME is not set\n");
    }
    ScopedEnv home("HOME", "");
    EXPECT_EQ(open_failure(""),
              "sqlite3: cannot expand \"$HOME/.vexa/2021.4.0/vexa.db\": variable HOME is empty\n");
    EXPECT_TRUE(entries(dir_.path()).empty());
}

TEST_F(SqliteSourceSettings, AnUnsetVariableInTheSourceIsAnOpenFailureNamingIt) {
    ScopedEnv unset("VEXA_SETTINGS_UNSET", std::nullopt);
    std::string const source = dir_.path() + "/${VEXA_SETTINGS_UNSET}/x.db";
    EXPECT_EQ(
        open_failure("source=" + source),
        "sqlite3: cannot expand \"" + source + "\": variable VEXA_SETTINGS_UNSET is not set\n");
    EXPECT_TRUE(entries(dir_.path()).empty());
}

TEST_F(SqliteSourceSettings, AnUnknownKeyIsRefusedRatherThanOpeningTheDefault) {
    ScopedEnv home("HOME", dir_.path());
    std::string const params = "sorce=" + dir_.file("x.db");
    EXPECT_EQ(open_failure(params),
              "sqlite3: unknown key \"sorce\" in source parameters \"" + params + "\"\n");
    EXPECT_TRUE(entries(dir_.path()).empty());
}

TEST_F(SqliteSourceSettings, ReadOnlyTakesTrueOrFalseOnly) {
    std::string const file = dir_.file("x.db");
    for (std::string const value : {"maybe", "TRUE", "\"true\"", ""}) {
        EXPECT_EQ(open_failure("source=" + file + "|read_only=" + value),
                  "sqlite3: read_only must be false or true, not \"" + value + "\"\n");
    }
    EXPECT_TRUE(entries(dir_.path()).empty());
}

TEST_F(SqliteSourceSettings, SynchronousFullFlushesEveryCommit) {
    open_sqlite("normal", "source=" + dir_.file("n.db") + "|synchronous=normal");
    open_sqlite("full", "source=" + dir_.file("f.db") + "|read_only=false|synchronous=full");

    // PRAGMA synchronous reads 1 for NORMAL and 2 for FULL.
    std::map<std::string, int> const fields{
        {"synchronous", vexa::datastore::column_index_map.at("num_nodes")}};
    std::vector<Row> rows;
    ASSERT_EQ(select_query("normal", "PRAGMA synchronous;", rows, fields), kOk);
    ASSERT_EQ(select_query("full", "PRAGMA synchronous;", rows, fields), kOk);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].num_nodes, 1);
    EXPECT_EQ(rows[1].num_nodes, 2);

    EXPECT_EQ(open_failure("source=" + dir_.file("o.db") + "|synchronous=off"),
              "sqlite3: synchronous must be normal or full, not \"off\"\n");
    EXPECT_FALSE(vexa::test::exists(dir_.file("o.db")));
}

}  // namespace
