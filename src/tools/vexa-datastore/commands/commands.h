// The commands of vexa-datastore, one file each in this folder, named as the
// command. A command's add function adds its subcommand, its options and its
// action to the command line; the action returns the process's exit status
// and throws std::exception (UsageError for exit status 2) for a failure that
// the user caused, which main() reports in one line.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_COMMANDS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_COMMANDS_H_

#include "support/command_line.h"

namespace vexa::tool {

using AddCommand = void(CommandLine& line);

AddCommand add_demo_command, add_summary_command, add_latest_command, add_host_command,
    add_select_command, add_hosts_command, add_providers_command, add_stale_command,
    add_sql_command, add_insert_command, add_prune_command, add_datastores_command,
    add_load_sql_command, add_report_command, add_metrics_command, add_check_command;

// Every command, in the order --help lists them.
inline AddCommand* const kCommands[] = {
    add_demo_command,       add_summary_command,   add_latest_command, add_host_command,
    add_select_command,     add_hosts_command,     add_providers_command, add_stale_command,
    add_sql_command,        add_insert_command,    add_prune_command, add_datastores_command,
    add_load_sql_command,   add_report_command,    add_metrics_command, add_check_command};

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_COMMANDS_COMMANDS_H_
