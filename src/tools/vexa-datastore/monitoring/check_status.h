// The verdict of the check command, in the exit-code convention of the
// usual monitoring systems.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_CHECK_STATUS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_CHECK_STATUS_H_

#include <string>
#include <vector>

#include "monitoring/health_grid.h"

namespace vexa::tool {

enum CheckStatus { check_ok = 0, check_warning = 1, check_critical = 2, check_unknown = 3 };

struct CheckThresholds {
    int warn = 0;  // WARNING when more hosts than this failed
    int crit = 0;  // CRITICAL when more hosts than this failed
};

struct CheckVerdict {
    CheckStatus status = check_unknown;
    // The status line with performance data, then one line per failing
    // host and one per stale host (failing hosts first).
    std::vector<std::string> lines;
};

// A host failed when the latest result of a provider in `grid` failed; it
// is stale when a result is stale or missing (the host reported other
// providers). CRITICAL when more than `crit` hosts failed, else WARNING when
// more than `warn` failed or any is stale, else OK; UNKNOWN when the grid
// has no host at all.
CheckVerdict check_health(HealthGrid const& grid, CheckThresholds thresholds);

// The one line of an UNKNOWN verdict that has no grid, e.g. a datastore
// that did not open.
std::string unknown_line(std::string const& reason);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_CHECK_STATUS_H_
