#include "monitoring/monitored_grid.h"

#include "support/stored_data.h"

namespace vexa::tool {

HealthGrid read_health_grid(std::vector<std::string> const& providers, std::int64_t now,
                            std::int64_t stale_after) {
    auto names = providers.empty() ? stored_providers() : providers;
    auto rows = names.empty() ? std::vector<datastore::Row>{} : latest_rows(names, {});
    auto grid = make_health_grid(std::move(rows), std::move(names), now, stale_after);
    grid.failing_since = failing_since_of(grid.rows);
    return grid;
}

}  // namespace vexa::tool
