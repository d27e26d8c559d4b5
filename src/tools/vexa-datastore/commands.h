// The commands of vexa-datastore, one file each. Each adds itself to the
// command line; its action returns the process's exit status and throws
// std::exception (UsageError for exit status 2) for a failure that the user
// caused, which main() reports in one line.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_H_

#include "command_line.h"

namespace vexa::tool {

void add_demo_command(CommandLine& line);
void add_summary_command(CommandLine& line);
void add_latest_command(CommandLine& line);
void add_host_command(CommandLine& line);
void add_select_command(CommandLine& line);
void add_hosts_command(CommandLine& line);
void add_providers_command(CommandLine& line);
void add_stale_command(CommandLine& line);
void add_sql_command(CommandLine& line);
void add_insert_command(CommandLine& line);
void add_prune_command(CommandLine& line);
void add_datastores_command(CommandLine& line);
void add_load_sql_command(CommandLine& line);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_H_
