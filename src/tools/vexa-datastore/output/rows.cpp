#include "output/rows.h"

#include <algorithm>

#include "output/time_text.h"
#include "support/name_of.h"

namespace vexa::tool {

using datastore::Row;

namespace {

bool several_datastores() {
    return datastore::DataStoreParseUtility::get_datastore_vector().size() > 1;
}

}  // namespace

std::vector<std::string> row_columns(GlobalOptions const& global) {
    if (global.format != Format::table) {
        return {"rowid",      "Provider",    "Hostname",         "num_nodes",
                "node_names", "Exit_status", "Timestamp",        "Duration",
                "Encoding",   "STDOUT",      "STDERR",           "OptionID",
                "version",    "Username",    "Unique_timestamp", "datastore_source"};
    }
    std::vector<std::string> columns{"Provider",  "Hostname", "Exit_status",
                                     "Timestamp", "STDOUT",   "STDERR"};
    if (several_datastores()) {
        columns.push_back("datastore");
    }
    return columns;
}

std::vector<Cell> row_cells(Row const& row, GlobalOptions const& global) {
    if (global.format != Format::table) {
        return {row.rowid,           row.Provider,   row.Hostname,
                row.num_nodes,       row.node_names, row.Exit_status,
                row.Timestamp,       row.Duration,   name_of(datastore::encoding_map, row.Encoding),
                row.STDOUT,          row.STDERR,     row.OptionID,
                row.version,         row.Username,   row.Unique_timestamp,
                row.datastore_source};
    }
    std::vector<Cell> cells{row.Provider,    row.Hostname,
                            row.Exit_status, time_cell(row.Timestamp, global),
                            row.STDOUT,      row.STDERR};
    if (several_datastores()) {
        cells.emplace_back(row.datastore_source);
    }
    return cells;
}

void order_rows(std::vector<Row>& rows, GlobalOptions const& global) {
    if (global.sort_by_time) {
        std::stable_sort(rows.begin(), rows.end(), [](Row const& a, Row const& b) {
            return a.Timestamp != b.Timestamp ? a.Timestamp < b.Timestamp
                                              : a.Unique_timestamp < b.Unique_timestamp;
        });
    }
}

void print_rows(std::vector<Row>& rows, GlobalOptions const& global) {
    order_rows(rows, global);
    auto output = open_output(row_columns(global), global);
    for (auto const& row : rows) {
        output->row(row_cells(row, global));
    }
    output->finish();
}

}  // namespace vexa::tool
