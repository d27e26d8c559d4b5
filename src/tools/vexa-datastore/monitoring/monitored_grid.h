// The health grid of what the open datastores hold, for the commands that
// watch a cluster: report, metrics and check.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_MONITORED_GRID_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_MONITORED_GRID_H_

#include <cstdint>
#include <string>
#include <vector>

#include "monitoring/health_grid.h"

namespace vexa::tool {

// The latest result of `providers` (every stored provider when empty) on
// every host, from the open datastores of the registry, as of `now`, with
// since when each failing result has been failing.
// Throws std::runtime_error naming the datastore whose query failed.
HealthGrid read_health_grid(std::vector<std::string> const& providers, std::int64_t now,
                            std::int64_t stale_after);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_MONITORED_GRID_H_
