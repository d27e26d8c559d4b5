#include <datastore/vocabulary.h>

#include <array>
#include <map>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace {

namespace ds = vexa::datastore;

static_assert(sizeof(ds::DatabaseType) == 4 && sizeof(ds::Source_Type) == 4 &&
                  sizeof(ds::DBFields) == 4 && sizeof(vexa::provider::encoding) == 4 &&
                  sizeof(vexa::postprocessor::Severity) == 4 &&
                  sizeof(vexa::nodelist_method_t) == 4 && sizeof(vexa::ScaleType) == 4,
              "the enumerations are 32 bits wide");

TEST(ColumnIndexMap, NumbersTheFifteenColumnsAsTheTableSpellsThem) {
    std::map<std::string, int> const expected = {
        {"rowid", 0},      {"Provider", 1},    {"Hostname", 2},          {"num_nodes", 3},
        {"node_names", 4}, {"Exit_status", 5}, {"Timestamp", 6},         {"Duration", 7},
        {"Encoding", 8},   {"STDOUT", 9},      {"STDERR", 10},           {"OptionID", 11},
        {"version", 12},   {"Username", 13},   {"Unique_timestamp", 14},
    };
    EXPECT_EQ(ds::column_index_map, expected);
}

TEST(ColumnIndexMap, LooksUpNamesCaseSensitively) {
    EXPECT_EQ(ds::column_index_map.find("provider"), ds::column_index_map.end());
    EXPECT_EQ(ds::column_index_map.at("Provider"), 1);
    EXPECT_EQ(ds::column_index_map.find("Version"), ds::column_index_map.end());
    EXPECT_EQ(ds::column_index_map.find("exit_status"), ds::column_index_map.end());
}

TEST(LogLevelMap, NamesTheSevenSyslogPriorities) {
    std::map<std::string, int> const expected = {
        {"debug", 7}, {"info", 6},     {"notice", 5}, {"warning", 4},
        {"error", 3}, {"critical", 2}, {"alert", 1},
    };
    EXPECT_EQ(ds::log_level_map, expected);
    EXPECT_EQ(ds::log_level_map.size(), 7u);
}

TEST(LogLevelMap, HasNoNameForPriorityZero) {
    for (auto const& [name, priority] : ds::log_level_map) {
        EXPECT_NE(priority, 0) << name;
    }
    EXPECT_EQ(ds::log_level_map.count("emergency"), 0u);
    EXPECT_EQ(ds::log_level_map.count("emerg"), 0u);
}

TEST(LogLevelMap, HasNoAbbreviations) {
    for (char const* abbreviation : {"warn", "err", "crit", "dbg", "Warning", "DEBUG"}) {
        EXPECT_EQ(ds::log_level_map.count(abbreviation), 0u) << abbreviation;
    }
}

TEST(SeverityMap, GivesScoreRangesAndEnumeratorsSpacedByFour) {
    using Entry = std::tuple<int, int, vexa::postprocessor::Severity>;
    std::map<std::string, Entry> const expected = {
        {"informational", Entry{0, 24, vexa::postprocessor::informational}},
        {"warning", Entry{25, 74, vexa::postprocessor::warning}},
        {"critical", Entry{75, 100, vexa::postprocessor::critical}},
    };
    EXPECT_EQ(ds::severity_map, expected);
    EXPECT_EQ(vexa::postprocessor::informational, 0);
    EXPECT_EQ(vexa::postprocessor::warning, 4);
    EXPECT_EQ(vexa::postprocessor::critical, 8);
}

TEST(EncodingMap, NamesTheThreeEncodings) {
    std::map<std::string, vexa::provider::encoding> const expected = {
        {"none", vexa::provider::none},
        {"base64", vexa::provider::base64},
        {"raw", vexa::provider::raw}};
    EXPECT_EQ(ds::encoding_map, expected);
    EXPECT_EQ(vexa::provider::none, 0);
    EXPECT_EQ(vexa::provider::base64, 1);
    EXPECT_EQ(vexa::provider::raw, 2);
}

TEST(NodelistMethodMap, TakesTheLowerCaseNames) {
    std::map<std::string, vexa::nodelist_method_t> const expected = {
        {"none", vexa::none},
        {"rotate_right", vexa::rotate_right},
        {"rotate_left", vexa::rotate_left},
        {"round_robin", vexa::round_robin},
        {"random", vexa::random},
    };
    EXPECT_EQ(ds::nodelist_method_map, expected);
    EXPECT_EQ(vexa::none, 0);
    EXPECT_EQ(vexa::rotate_right, 1);
    EXPECT_EQ(vexa::rotate_left, 2);
    EXPECT_EQ(vexa::round_robin, 3);
    EXPECT_EQ(vexa::random, 4);
}

TEST(NodelistMethodNames, AreTheUpperCaseDisplayFormsInEnumeratorOrder) {
    std::array<std::string, 5> const expected = {"NONE", "ROTATE_RIGHT", "ROTATE_LEFT",
                                                 "ROUND_ROBIN", "RANDOM"};
    EXPECT_EQ(ds::NODELIST_METHOD_NAMES, expected);
    EXPECT_EQ(ds::NODELIST_METHOD_NAMES[vexa::round_robin], "ROUND_ROBIN");
}

TEST(ScaleTypeMap, NamesTheFourScales) {
    std::map<std::string, vexa::ScaleType> const expected = {{"constant", vexa::constant},
                                                             {"linear", vexa::linear},
                                                             {"squared", vexa::squared},
                                                             {"logarithmic", vexa::logarithmic}};
    EXPECT_EQ(ds::scale_type_map, expected);
    EXPECT_EQ(vexa::constant, 0);
    EXPECT_EQ(vexa::linear, 1);
    EXPECT_EQ(vexa::squared, 2);
    EXPECT_EQ(vexa::logarithmic, 3);
}

TEST(DatabaseTypeMap, NamesTheThreeBackends) {
    std::map<std::string, ds::DatabaseType> const expected = {
        {"sqlite3", ds::sqlite3}, {"odbc", ds::odbc}, {"other", ds::other}};
    EXPECT_EQ(ds::database_type_map, expected);
    EXPECT_EQ(ds::sqlite3, 0);
    EXPECT_EQ(ds::odbc, 1);
    EXPECT_EQ(ds::other, 2);
}

TEST(SourceTypeMap, GivesBitPositions) {
    std::map<std::string, ds::Source_Type> const expected = {{"data", ds::data},
                                                             {"stream", ds::stream}};
    EXPECT_EQ(ds::source_type_map, expected);
    EXPECT_EQ(ds::data, 0);
    EXPECT_EQ(ds::stream, 1);
}

TEST(DbFieldsMap, KeepsTheGapInTheNumbering) {
    std::map<std::string, ds::DBFields> const expected = {
        {"instance_name", ds::DBFields::instance_name},
        {"source_parameters", ds::DBFields::source_parameters},
        {"type", ds::DBFields::type},
        {"source_types", ds::DBFields::source_types},
    };
    EXPECT_EQ(ds::db_fields_map, expected);
    EXPECT_EQ(ds::DBFields::instance_name, 0);
    EXPECT_EQ(ds::DBFields::source_parameters, 3);
    EXPECT_EQ(ds::DBFields::type, 4);
    EXPECT_EQ(ds::DBFields::source_types, 5);
}

TEST(NodeRoleNames, AreTheTenRolesInOrder) {
    std::array<std::string, 10> const expected = {
        "default-subcluster", "boot",  "compute",         "enhanced", "external", "head",
        "job_schedule",       "login", "network_address", "storage"};
    EXPECT_EQ(ds::NODE_ROLE_NAMES, expected);
}

TEST(ProviderErrorCode, IsItsFixedText) {
    EXPECT_EQ(ds::PROVIDER_ERROR_CODE, "provider-error-code");
}

TEST(NamedDefaults, HaveTheirFixedValues) {
    EXPECT_EQ(ds::table_name, "provider_datastore");
    EXPECT_EQ(ds::table_view, "vexa_1");
    EXPECT_EQ(ds::table_baseline, "baseline_datastore");
    EXPECT_EQ(ds::odbc_default_dsn, "odbc_default_dsn");
    EXPECT_EQ(ds::DEFAULT_DATASTORE_NAME, "vexa_default");
    EXPECT_EQ(ds::DEFAULT_DATASTORE_SQLITE_EXTENSION_NAME, "libsqlite.so");
    EXPECT_EQ(ds::DEFAULT_DATASTORE_ODBC_EXTENSION_NAME, "libodbc.so");
    EXPECT_EQ(ds::DEFAULT_EXTENSION_PATH, "/datastore/quarn64/");
}

TEST(DefaultDataSource, KeepsHomeUnexpanded) {
    EXPECT_EQ(ds::DEFAULT_DATA_SOURCE, "$HOME/.vexa/2021.4.0/vexa.db");
}

TEST(DefaultCreateTableQuery, IsTheProviderTableDdl) {
    EXPECT_EQ(ds::default_create_table_query,
              "CREATE TABLE IF NOT EXISTS provider_datastore(rowid INTEGER PRIMARY KEY, Provider "
              "TEXT, Hostname TEXT, num_nodes INTEGER, node_names TEXT, Exit_status INTEGER, "
              "Timestamp INTEGER, Duration REAL, Encoding INTEGER, STDOUT TEXT, STDERR TEXT, "
              "OptionID TEXT, version INTEGER, Username TEXT, Unique_timestamp INTEGER);");
}

TEST(DefaultCreateTableQuery, HasNoBlankBetweenTheTableNameAndTheColumnList) {
    std::string const head = "CREATE TABLE IF NOT EXISTS ";
    EXPECT_EQ(ds::default_create_table_query.substr(0, head.size() + ds::table_name.size() + 6),
              head + ds::table_name + "(rowid");
    EXPECT_EQ(ds::default_create_table_query.find(ds::table_name + " ("), std::string::npos);
}

TEST(DefaultCreateBaselineQuery, IsTheBaselineTableDdl) {
    EXPECT_EQ(ds::default_create_baseline_query,
              "CREATE TABLE IF NOT EXISTS baseline_datastore(rowid INTEGER PRIMARY KEY, "
              "baseline_id TEXT, datastore_rowid INTEGER, fwd_name TEXT, provider_checksum TEXT, "
              "command_checksum TEXT);");
}

TEST(DefaultCreateViewQuery, KeepsItsIrregularBlanksAndTheSpellingVersion) {
    EXPECT_EQ(ds::default_create_view_query,
              "CREATE VIEW IF NOT EXISTS vexa_1 AS SELECT "
              "rowid,Provider,Hostname,num_nodes,node_names,Exit_status,Timestamp, "
              "Duration,Encoding,STDOUT,STDERR, OptionID,Version,Username,Unique_timestamp from "
              "provider_datastore;");
    EXPECT_NE(ds::default_create_view_query.find(",Version,"), std::string::npos);
    EXPECT_EQ(ds::default_create_view_query.find(",version,"), std::string::npos);
}

}  // namespace
