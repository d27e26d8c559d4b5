// The page of the tool's `report` for a large cluster, opened in a headless
// Chromium without a network: how long until its grid is on screen.
#ifndef VEXA_BENCH_REPORT_BENCH_H_
#define VEXA_BENCH_REPORT_BENCH_H_

#include <string>
#include <vector>

#include "comparisons.h"
#include "report.h"

namespace vexa::bench {

// Lets `tool` create a datastore under a scratch $HOME, fills it with the
// latest results of the workload's hosts x providers, writes the page with
// `tool report --html` and loads it once to fill the file cache, then once
// per repetition; the figure is the time from the navigation to the first
// frame that shows the grid. Throws std::runtime_error when the tool or the
// browser fails.
std::vector<Figure> report_page_rendering(Comparisons const& comparisons, std::string const& tool);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_REPORT_BENCH_H_
