// The library's vocabulary: enumerations, the tables that map names to them,
// and the named defaults (table names, default data source, DDL).
//
// All tables are ordered maps keyed by the exact, case-sensitive spelling.
// Everything here is built when the library is loaded and read-only after.
#ifndef VEXA_DATASTORE_VOCABULARY_H_
#define VEXA_DATASTORE_VOCABULARY_H_

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include <datastore/export.h>
#include <provider/header.h>

namespace vexa {

namespace postprocessor {
// Spaced by four on purpose.
enum Severity : std::int32_t { informational = 0, warning = 4, critical = 8 };
}  // namespace postprocessor

enum nodelist_method_t : std::int32_t {
    none = 0,
    rotate_right = 1,
    rotate_left = 2,
    round_robin = 3,
    random = 4
};

enum ScaleType : std::int32_t { constant = 0, linear = 1, squared = 2, logarithmic = 3 };

namespace datastore {

// Backend kind of a datastore; decides its default plug-in and data source.
enum DatabaseType : std::int32_t { sqlite3 = 0, odbc = 1, other = 2 };

// Kinds of data a datastore holds; the values are bit positions in
// DataStoreConfig::source_types.
enum Source_Type : std::int32_t { data = 0, stream = 1 };

// Attribute names of a datastore configuration file. The gaps (no 1 or 2)
// are part of the numbering.
enum DBFields : std::int32_t {
    instance_name = 0,
    source_parameters = 3,
    type = 4,
    source_types = 5
};

// Column name of the provider table to column number, "rowid" 0 to
// "Unique_timestamp" 14, spelled as the table spells them.
extern VEXA_DATASTORE_EXPORT const std::map<std::string, int> column_index_map;
// Level name to syslog priority, "alert" 1 to "debug" 7; no entry for 0.
extern VEXA_DATASTORE_EXPORT const std::map<std::string, int> log_level_map;
// Severity name to (lowest score, highest score, enumerator), on 0 to 100.
extern VEXA_DATASTORE_EXPORT const
    std::map<std::string, std::tuple<int, int, postprocessor::Severity>>
        severity_map;
extern VEXA_DATASTORE_EXPORT const std::map<std::string, provider::encoding> encoding_map;
extern VEXA_DATASTORE_EXPORT const std::map<std::string, nodelist_method_t> nodelist_method_map;
extern VEXA_DATASTORE_EXPORT const std::map<std::string, ScaleType> scale_type_map;
extern VEXA_DATASTORE_EXPORT const std::map<std::string, DatabaseType> database_type_map;
extern VEXA_DATASTORE_EXPORT const std::map<std::string, Source_Type> source_type_map;
extern VEXA_DATASTORE_EXPORT const std::map<std::string, DBFields> db_fields_map;

// Display names indexed by nodelist_method_t ("NONE" ... "RANDOM").
extern VEXA_DATASTORE_EXPORT const std::array<std::string, 5> NODELIST_METHOD_NAMES;
extern VEXA_DATASTORE_EXPORT const std::array<std::string, 10> NODE_ROLE_NAMES;
extern VEXA_DATASTORE_EXPORT const std::string PROVIDER_ERROR_CODE;

// Named defaults.
extern VEXA_DATASTORE_EXPORT const std::string table_name;        // "provider_datastore"
extern VEXA_DATASTORE_EXPORT const std::string table_view;        // "vexa_1"
extern VEXA_DATASTORE_EXPORT const std::string table_baseline;    // "baseline_datastore"
extern VEXA_DATASTORE_EXPORT const std::string odbc_default_dsn;  // "odbc_default_dsn"
// "$HOME/.vexa/2021.4.0/vexa.db"; "$HOME" is expanded by whoever opens it.
extern VEXA_DATASTORE_EXPORT const std::string DEFAULT_DATA_SOURCE;
extern VEXA_DATASTORE_EXPORT const std::string DEFAULT_DATASTORE_NAME;  // "vexa_default"
extern VEXA_DATASTORE_EXPORT const std::string DEFAULT_DATASTORE_SQLITE_EXTENSION_NAME;
extern VEXA_DATASTORE_EXPORT const std::string DEFAULT_DATASTORE_ODBC_EXTENSION_NAME;
extern VEXA_DATASTORE_EXPORT const std::string DEFAULT_EXTENSION_PATH;  // "/datastore/quarn64/"
// DDL of the provider table, the baseline table and the view every read goes
// through.
extern VEXA_DATASTORE_EXPORT const std::string default_create_table_query;
extern VEXA_DATASTORE_EXPORT const std::string default_create_baseline_query;
extern VEXA_DATASTORE_EXPORT const std::string default_create_view_query;

}  // namespace datastore
}  // namespace vexa

#endif  // VEXA_DATASTORE_VOCABULARY_H_
