// Rows read from the datastores, printed as records.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_ROWS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_ROWS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <datastore/datastore.h>

#include "output/output.h"
#include "support/options.h"

namespace vexa::tool {

// In table form the columns people scan (provider, host, exit status,
// readable time, output, and the datastore when several are open); in the
// other formats every member of the row, named as the row names it, with
// node_names as an array (joined with "," in csv), Encoding by name and
// times as the stored numbers, so json lines fit `insert` again.
std::vector<std::string> row_columns(GlobalOptions const& global);
std::vector<Cell> row_cells(datastore::Row const& row, GlobalOptions const& global);

// Orders `rows` by time (Timestamp, then Unique_timestamp) when
// global.sort_by_time is set; keeps their order otherwise.
void order_rows(std::vector<datastore::Row>& rows, GlobalOptions const& global);

// Writes `rows` to standard output row by row, in the order of order_rows.
void print_rows(std::vector<datastore::Row>& rows, GlobalOptions const& global);

// Writes latest `rows` in their order, as print_rows does, and when any of
// them failed, a last column "failing since" ("failing_since" outside
// tables) with since when each has been failing: since[i] for rows[i], an
// empty cell (null) for a row that passed or whose start is unknown.
void print_latest_rows(std::vector<datastore::Row> const& rows,
                       std::vector<std::optional<std::int64_t>> const& since,
                       GlobalOptions const& global);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_ROWS_H_
