// The commands that watch a cluster: report (the status page), metrics (for
// a Prometheus-compatible agent) and check (a monitoring plug-in).
#ifndef VEXA_TOOLS_VEXA_DATASTORE_MONITORING_COMMANDS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_MONITORING_COMMANDS_H_

#include "command_line.h"

namespace vexa::tool {

void add_report_command(CommandLine& line);
void add_metrics_command(CommandLine& line);
void add_check_command(CommandLine& line);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_MONITORING_COMMANDS_H_
