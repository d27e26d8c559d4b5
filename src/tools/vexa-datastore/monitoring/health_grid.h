// The latest result of every provider on every host as a grid of states,
// the common ground of the status page, the metrics and the check.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_HEALTH_GRID_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_HEALTH_GRID_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <datastore/datastore.h>

namespace vexa::tool {

// Worst first: a host ranks by its worst cell.
enum class CellState { failed, stale, never, passed };

struct GridCell {
    CellState state = CellState::never;
    datastore::Row const* row = nullptr;  // into HealthGrid::rows; null when never reported
};

// Cells point into `rows`, so a grid is moved, never copied.
struct HealthGrid {
    HealthGrid() = default;
    HealthGrid(HealthGrid&&) = default;
    HealthGrid& operator=(HealthGrid&&) = default;
    HealthGrid(HealthGrid const&) = delete;
    HealthGrid& operator=(HealthGrid const&) = delete;

    std::vector<std::string> providers;  // in name order
    // Failing hosts first, then stale, never reported and passed ones; in
    // natural name order (node2 before node10) within each group.
    std::vector<std::string> hosts;
    std::vector<datastore::Row> rows;  // the latest rows the cells point into
    std::vector<GridCell> cells;       // hosts.size() x providers.size(), host by host
    // Per row, since when its pair has been failing (nullopt: passed or
    // unknown); empty when nobody looked it up.
    std::vector<std::optional<std::int64_t>> failing_since;

    GridCell const& at(std::size_t host, std::size_t provider) const {
        return cells[host * providers.size() + provider];
    }
    // Since when the result of `cell` has been failing, if known.
    std::optional<std::int64_t> since(GridCell const& cell) const {
        if (cell.row == nullptr || failing_since.empty()) {
            return std::nullopt;
        }
        return failing_since[static_cast<std::size_t>(cell.row - rows.data())];
    }
};

// Builds the grid of `providers` (sorted; rows of other providers are
// ignored) over every host that has a row. A row older than `stale_after`
// seconds before `now` is stale whatever its exit status, since it no longer
// tells how the host is; otherwise it passed (exit status 0) or failed.
// `stale_after` <= 0: nothing is stale. Of rows tied for one cell (the same
// newest time in several datastores) the worst counts.
HealthGrid make_health_grid(std::vector<datastore::Row> latest_rows,
                            std::vector<std::string> providers, std::int64_t now,
                            std::int64_t stale_after);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_HEALTH_GRID_H_
