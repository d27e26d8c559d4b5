// The status page: one self-contained HTML file (inline style and script, no
// request to any network) showing a health grid of hosts by providers.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_REPORT_HTML_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_REPORT_HTML_H_

#include <cstdint>
#include <ostream>

#include "monitoring/health_grid.h"

namespace vexa::tool {

// Writes the page of `grid`, made at `now` (seconds since the epoch), whose
// results turned stale after `stale_after` seconds. Each cell shows its
// state by colour and symbol; its time, exit status, since when it has been
// failing, duration, datastore and an excerpt of its output appear on hover
// or keyboard focus. The page's
// script counts the cells per state, provider and host, and filters by
// provider and state.
void write_html_report(HealthGrid const& grid, std::int64_t now, std::int64_t stale_after,
                       std::ostream& out);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_REPORT_HTML_H_
