// The columns of a stored record: the one table from which the plug-ins,
// the tool and the benchmarks make their column lists, statements and
// readers, so that a column is named, typed and tied to its Row member once.
#ifndef VEXA_DATASTORE_COLUMNS_H_
#define VEXA_DATASTORE_COLUMNS_H_

#include <array>
#include <cstddef>
#include <string>
#include <utility>

#include <datastore/records.h>

namespace vexa::datastore {

// Row members by their index in column_index_map.
enum RowMember : int {
    rowid_member = 0,
    provider_member,
    hostname_member,
    num_nodes_member,
    node_names_member,
    exit_status_member,
    timestamp_member,
    duration_member,
    encoding_member,
    stdout_member,
    stderr_member,
    option_id_member,
    version_member,
    username_member,
    unique_timestamp_member,
};

struct Column {
    char const* name;      // as the provider table spells it
    char const* sql_type;  // its type in the provider table's DDL
    RowMember member;
};

// The provider table's columns in their order, which is the order of Row's
// members and of column_index_map's numbers.
inline constexpr std::array<Column, 15> record_columns = {{
    {"rowid", "INTEGER PRIMARY KEY", rowid_member},
    {"Provider", "TEXT", provider_member},
    {"Hostname", "TEXT", hostname_member},
    {"num_nodes", "INTEGER", num_nodes_member},
    {"node_names", "TEXT", node_names_member},
    {"Exit_status", "INTEGER", exit_status_member},
    {"Timestamp", "INTEGER", timestamp_member},
    {"Duration", "REAL", duration_member},
    {"Encoding", "INTEGER", encoding_member},
    {"STDOUT", "TEXT", stdout_member},
    {"STDERR", "TEXT", stderr_member},
    {"OptionID", "TEXT", option_id_member},
    {"version", "INTEGER", version_member},
    {"Username", "TEXT", username_member},
    {"Unique_timestamp", "INTEGER", unique_timestamp_member},
}};

// The columns a new record is stored in: all but rowid, which the database
// numbers.
inline constexpr std::size_t first_stored_column = 1;

// Calls `visit` with the member of `row` that `member` names, as its own
// type: std::int32_t, std::string, std::vector<std::string> (node_names),
// std::int64_t, double or provider::encoding; const when `row` is. Returns
// what `visit` returns.
//   visit_member(row, duration_member, [](auto& value) { ... value is double& ... });
template <typename AnyRow, typename Visitor>
decltype(auto) visit_member(AnyRow& row, RowMember member, Visitor&& visit) {
    switch (member) {
        case rowid_member:
            return std::forward<Visitor>(visit)(row.rowid);
        case provider_member:
            return std::forward<Visitor>(visit)(row.Provider);
        case hostname_member:
            return std::forward<Visitor>(visit)(row.Hostname);
        case num_nodes_member:
            return std::forward<Visitor>(visit)(row.num_nodes);
        case node_names_member:
            return std::forward<Visitor>(visit)(row.node_names);
        case exit_status_member:
            return std::forward<Visitor>(visit)(row.Exit_status);
        case timestamp_member:
            return std::forward<Visitor>(visit)(row.Timestamp);
        case duration_member:
            return std::forward<Visitor>(visit)(row.Duration);
        case encoding_member:
            return std::forward<Visitor>(visit)(row.Encoding);
        case stdout_member:
            return std::forward<Visitor>(visit)(row.STDOUT);
        case stderr_member:
            return std::forward<Visitor>(visit)(row.STDERR);
        case option_id_member:
            return std::forward<Visitor>(visit)(row.OptionID);
        case version_member:
            return std::forward<Visitor>(visit)(row.version);
        case username_member:
            return std::forward<Visitor>(visit)(row.Username);
        case unique_timestamp_member:
            break;
    }
    return std::forward<Visitor>(visit)(row.Unique_timestamp);
}

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_COLUMNS_H_
