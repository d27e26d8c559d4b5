// The health summary: the latest result per provider and host, counted.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUMMARY_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUMMARY_H_

#include "commands.h"

namespace vexa::tool {

// One line per provider (those named in `options`, or every provider stored):
// hosts with a result, how many passed (exit status 0) and failed, the
// newest time stamp, and with list_failed the failed hosts. Reads the open
// datastores of the registry.
void print_summary(GlobalOptions const& global, SummaryOptions const& options);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUMMARY_H_
