// The provider summary: the latest result per provider and host, counted.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_PROVIDER_SUMMARY_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_PROVIDER_SUMMARY_H_

#include <string>
#include <vector>

#include "support/options.h"

namespace vexa::tool {

struct SummaryOptions {
    std::vector<std::string> providers;  // empty: every provider stored
    std::vector<std::string> hosts;      // empty: every host
    bool only_failed = false;
};

// One line per provider (those named in `options`, or every provider stored):
// hosts with a result, how many passed (exit status 0) and failed, the
// newest time stamp. With only_failed, only providers with failures, each
// with every failed host and since when it has been failing: columns
// "failed_hosts" and "failing_since" (one time per host, null when unknown)
// in the other formats; in a table, a column "failing since" (the earliest
// of its hosts) and whole lines after it. Reads the open datastores of the
// registry.
void print_summary(GlobalOptions const& global, SummaryOptions const& options);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_PROVIDER_SUMMARY_H_
