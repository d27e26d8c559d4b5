// The latest results in the Prometheus text exposition format, as a
// textfile collector or any compatible agent reads them.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_METRICS_TEXT_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_METRICS_TEXT_H_

#include <ostream>
#include <string>
#include <vector>

#include "monitoring/health_grid.h"

namespace vexa::tool {

struct DatastoreUp {
    std::string name;
    bool up = false;  // whether it opened and answered
};

// Three gauges per reported cell of `grid`, labelled provider, host and
// datastore: vexa_provider_exit_status, vexa_provider_last_run_timestamp_seconds
// and vexa_provider_duration_seconds; then, per failing cell whose start is
// known, vexa_provider_failing_since_timestamp_seconds with the same labels;
// then vexa_datastore_up per datastore.
// Each family has its HELP and TYPE lines; label values are escaped.
void write_metrics(HealthGrid const& grid, std::vector<DatastoreUp> const& datastores,
                   std::ostream& out);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_METRICS_TEXT_H_
