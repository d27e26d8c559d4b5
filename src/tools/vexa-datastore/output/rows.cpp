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

// A member as the row's cell: Encoding by name, everything else as stored.
struct MemberCell {
    Cell operator()(provider::encoding value) const {
        return name_of(datastore::encoding_map, value);
    }
    template <typename Value>
    Cell operator()(Value const& value) const {
        return value;
    }
};

}  // namespace

std::vector<std::string> row_columns(GlobalOptions const& global) {
    if (global.format != Format::table) {
        std::vector<std::string> columns;
        for (datastore::Column const& column : datastore::record_columns) {
            columns.emplace_back(column.name);
        }
        columns.emplace_back("datastore_source");
        return columns;
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
        std::vector<Cell> cells;
        for (datastore::Column const& column : datastore::record_columns) {
            cells.push_back(visit_member(row, column.member, MemberCell{}));
        }
        cells.emplace_back(row.datastore_source);
        return cells;
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

void print_latest_rows(std::vector<Row> const& rows,
                       std::vector<std::optional<std::int64_t>> const& since,
                       GlobalOptions const& global) {
    bool const any_failed =
        std::any_of(rows.begin(), rows.end(), [](Row const& row) { return row.Exit_status != 0; });
    auto columns = row_columns(global);
    if (any_failed) {
        columns.emplace_back(global.format == Format::table ? "failing since" : "failing_since");
    }
    auto output = open_output(std::move(columns), global);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        auto cells = row_cells(rows[i], global);
        if (any_failed) {
            cells.push_back(since[i] ? time_cell(*since[i], global) : Cell());
        }
        output->row(cells);
    }
    output->finish();
}

}  // namespace vexa::tool
