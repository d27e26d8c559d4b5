#include "rows.h"

#include "name_of.h"
#include "time_text.h"

namespace vexa::tool {

using datastore::Row;

namespace {

std::vector<Cell> every_member(Row const& row) {
    return {row.rowid,           row.Provider,   row.Hostname,
            row.num_nodes,       row.node_names, row.Exit_status,
            row.Timestamp,       row.Duration,   name_of(datastore::encoding_map, row.Encoding),
            row.STDOUT,          row.STDERR,     row.OptionID,
            row.version,         row.Username,   row.Unique_timestamp,
            row.datastore_source};
}

std::vector<Cell> scanned_members(Row const& row) {
    return {row.Provider, row.Hostname, row.Exit_status, readable_time(row.Timestamp),
            row.STDOUT,   row.STDERR};
}

}  // namespace

Table rows_table(std::vector<Row> const& rows, Format format) {
    bool whole = format != Format::table;
    Table table;
    if (whole) {
        table.columns = {"rowid",      "Provider",    "Hostname",         "num_nodes",
                         "node_names", "Exit_status", "Timestamp",        "Duration",
                         "Encoding",   "STDOUT",      "STDERR",           "OptionID",
                         "version",    "Username",    "Unique_timestamp", "datastore_source"};
    } else {
        table.columns = {"Provider", "Hostname", "Exit_status", "Timestamp", "STDOUT", "STDERR"};
    }
    for (auto const& row : rows) {
        table.rows.push_back(whole ? every_member(row) : scanned_members(row));
    }
    return table;
}

}  // namespace vexa::tool
