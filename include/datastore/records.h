// The records that carry provider data through the library, and the limits
// that bound what a row may hold.
#ifndef VEXA_DATASTORE_RECORDS_H_
#define VEXA_DATASTORE_RECORDS_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <datastore/export.h>
#include <datastore/vocabulary.h>
#include <provider/header.h>

namespace vexa::datastore {

// One record of the provider table; the members mirror its columns in order,
// then `datastore_source`, the instance name of the datastore the row was
// read from (set by the front end, empty in rows an extension produces).
// A plain value type: copies are deep, moved-from rows are empty.
struct Row {
    std::int32_t rowid = 0;
    std::string Provider;
    std::string Hostname;
    std::int32_t num_nodes = 0;
    std::vector<std::string> node_names;
    std::int32_t Exit_status = 0;
    std::int64_t Timestamp = 0;
    double Duration = 0.0;
    provider::encoding Encoding = provider::none;
    std::string STDOUT;
    std::string STDERR;
    std::string OptionID;
    std::int32_t version = 0;
    std::string Username;
    std::int64_t Unique_timestamp = 0;
    std::string datastore_source;
};

// SQL-level details of a read request. A fresh one has both texts empty and
// `fields` a copy of the default column map.
struct SQLParameters {
    std::string filter;  // extra condition of a provider selection
    std::string query;   // a complete query text
    std::map<std::string, int> fields = column_index_map;  // column name to Row member index
};

// Input of the read operations sent to every datastore. `sql` is not owned:
// it points at a record that lives beside this one in the caller's frame.
struct ReadParameters {
    std::vector<std::string> providers;  // empty: no provider filter
    std::vector<std::string> hostnames;  // empty: all hosts
    SQLParameters* sql = nullptr;
};

// Published bounds on row contents; the library itself enforces none.
extern VEXA_DATASTORE_EXPORT const std::int32_t default_backend;      // 0, sqlite3
extern VEXA_DATASTORE_EXPORT const std::int32_t max_provider_size;    // 64
extern VEXA_DATASTORE_EXPORT const std::int32_t max_hostname_size;    // 256
extern VEXA_DATASTORE_EXPORT const std::int32_t max_num_nodes;        // 262144
extern VEXA_DATASTORE_EXPORT const std::int32_t max_node_names_size;  // 262144 * 258
extern VEXA_DATASTORE_EXPORT const std::int32_t max_std_stream_size;  // 1 GiB
extern VEXA_DATASTORE_EXPORT const std::int32_t max_option_id_size;   // 64
extern VEXA_DATASTORE_EXPORT const std::int32_t max_username_size;    // 64

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_RECORDS_H_
