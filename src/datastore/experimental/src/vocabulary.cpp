#include <datastore/vocabulary.h>

// The registry's start-up values are copies of these defaults and live in
// another file; building this file's objects first makes that order certain.
#define VEXA_BUILT_FIRST __attribute__((init_priority(1000)))

namespace vexa::datastore {

VEXA_BUILT_FIRST const std::map<std::string, int> column_index_map = {
    {"rowid", 0},      {"Provider", 1},    {"Hostname", 2},          {"num_nodes", 3},
    {"node_names", 4}, {"Exit_status", 5}, {"Timestamp", 6},         {"Duration", 7},
    {"Encoding", 8},   {"STDOUT", 9},      {"STDERR", 10},           {"OptionID", 11},
    {"version", 12},   {"Username", 13},   {"Unique_timestamp", 14},
};

VEXA_BUILT_FIRST const std::map<std::string, int> log_level_map = {
    {"debug", 7}, {"info", 6},     {"notice", 5}, {"warning", 4},
    {"error", 3}, {"critical", 2}, {"alert", 1},
};

VEXA_BUILT_FIRST const std::map<std::string, std::tuple<int, int, postprocessor::Severity>>
    severity_map = {
        {"informational", {0, 24, postprocessor::informational}},
        {"warning", {25, 74, postprocessor::warning}},
        {"critical", {75, 100, postprocessor::critical}},
};

VEXA_BUILT_FIRST const std::map<std::string, provider::encoding> encoding_map = {
    {"none", provider::none}, {"base64", provider::base64}, {"raw", provider::raw}};

VEXA_BUILT_FIRST const std::map<std::string, nodelist_method_t> nodelist_method_map = {
    {"none", vexa::none},         {"rotate_right", rotate_right}, {"rotate_left", rotate_left},
    {"round_robin", round_robin}, {"random", vexa::random},
};

VEXA_BUILT_FIRST const std::map<std::string, ScaleType> scale_type_map = {
    {"constant", constant}, {"linear", linear}, {"squared", squared}, {"logarithmic", logarithmic}};

VEXA_BUILT_FIRST const std::map<std::string, DatabaseType> database_type_map = {
    {"sqlite3", sqlite3}, {"odbc", odbc}, {"other", other}};

VEXA_BUILT_FIRST const std::map<std::string, Source_Type> source_type_map = {{"data", data},
                                                                             {"stream", stream}};

VEXA_BUILT_FIRST const std::map<std::string, DBFields> db_fields_map = {
    {"instance_name", DBFields::instance_name},
    {"source_parameters", DBFields::source_parameters},
    {"type", DBFields::type},
    {"source_types", DBFields::source_types},
};

VEXA_BUILT_FIRST const std::array<std::string, 5> NODELIST_METHOD_NAMES = {
    "NONE", "ROTATE_RIGHT", "ROTATE_LEFT", "ROUND_ROBIN", "RANDOM"};

VEXA_BUILT_FIRST const std::array<std::string, 10> NODE_ROLE_NAMES = {
    "default-subcluster", "boot",  "compute",         "enhanced", "external", "head",
    "job_schedule",       "login", "network_address", "storage"};

VEXA_BUILT_FIRST const std::string PROVIDER_ERROR_CODE = "provider-error-code";

// Built in this order: the data source and the DDL texts are composed from
// the names defined before them.
VEXA_BUILT_FIRST const std::string table_name = "provider_datastore";
VEXA_BUILT_FIRST const std::string table_view = "vexa_1";
VEXA_BUILT_FIRST const std::string table_baseline = "baseline_datastore";
VEXA_BUILT_FIRST const std::string odbc_default_dsn = "odbc_default_dsn";
// "$HOME" stays literal here; whoever opens the file expands it.
VEXA_BUILT_FIRST const std::string DEFAULT_DATA_SOURCE =
    std::string("$HOME/.vexa/") + "2021.4.0" + "/vexa.db";
VEXA_BUILT_FIRST const std::string DEFAULT_DATASTORE_NAME = "vexa_default";
VEXA_BUILT_FIRST const std::string DEFAULT_DATASTORE_SQLITE_EXTENSION_NAME = "libsqlite.so";
VEXA_BUILT_FIRST const std::string DEFAULT_DATASTORE_ODBC_EXTENSION_NAME = "libodbc.so";
VEXA_BUILT_FIRST const std::string DEFAULT_EXTENSION_PATH = "/datastore/quarn64/";

// No blank between a table name and its column list; the view's select list
// has irregular blanks and spells "Version". All three texts are kept exactly.
VEXA_BUILT_FIRST const std::string default_create_table_query =
    "CREATE TABLE IF NOT EXISTS " + table_name +
    "(rowid INTEGER PRIMARY KEY, Provider TEXT, Hostname TEXT, num_nodes INTEGER, node_names "
    "TEXT, Exit_status INTEGER, Timestamp INTEGER, Duration REAL, Encoding INTEGER, STDOUT TEXT, "
    "STDERR TEXT, OptionID TEXT, version INTEGER, Username TEXT, Unique_timestamp INTEGER);";
VEXA_BUILT_FIRST const std::string default_create_baseline_query =
    "CREATE TABLE IF NOT EXISTS " + table_baseline +
    "(rowid INTEGER PRIMARY KEY, baseline_id TEXT, datastore_rowid INTEGER, fwd_name TEXT, "
    "provider_checksum TEXT, command_checksum TEXT);";
VEXA_BUILT_FIRST const std::string default_create_view_query =
    "CREATE VIEW IF NOT EXISTS " + table_view +
    " AS SELECT rowid,Provider,Hostname,num_nodes,node_names,Exit_status,Timestamp, "
    "Duration,Encoding,STDOUT,STDERR, OptionID,Version,Username,Unique_timestamp from " +
    table_name + ";";

}  // namespace vexa::datastore
